"""The list of mutants that no test can kill, and why each cannot matter."""
import collections
import textwrap

Survivor = collections.namedtuple("Survivor", "file function before after reason")


def keyOf(mutant):
    """What a mutant is listed by: no line numbers, which every change of a file moves."""
    return (mutant.file, mutant.function, mutant.before, mutant.after)


def read(path):
    """The listed survivors by their keys. Each is a paragraph: "FILE: FUNCTION", "- " and what
    stands there, "+ " and what the mutant has instead, and the reason, in any number of lines."""
    survivors = {}
    for paragraph in path.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in paragraph.splitlines() if not line.startswith("#")]
        if not lines:
            continue
        file, _, function = lines[0].partition(": ")
        reason = " ".join(lines[3:])
        if len(lines) < 4 or lines[1][:2] != "- " or lines[2][:2] != "+ ":
            raise ValueError(f"{path}: malformed: {paragraph}")
        survivor = Survivor(file, function, lines[1][2:], lines[2][2:], reason)
        survivors[survivor[:4]] = survivor
    return survivors


def paragraph(key, reason):
    file, function, before, after = key
    return "\n".join([f"{file}: {function}", f"- {before}", f"+ {after}",
                      *textwrap.wrap(reason, 100)])
