"""The list of mutants that no test can kill, and why each cannot matter."""
import collections
import textwrap


def keysOf(made):
    """What each of all mutants is listed by: "FILE: FUNCTION: KIND", and ", 2 of 5" where there are
    five of that kind in the function. How its lines are written does not matter; where a fault of the
    kind comes or goes, the function's reasons must be looked at again, and are not found."""
    places = collections.defaultdict(list)
    for mutant in made:
        places[f"{mutant.file}: {mutant.function}: {mutant.kind}"].append(mutant)
    keys = {}
    for place, alike in places.items():
        for number, mutant in enumerate(alike, 1):
            keys[mutant] = place if len(alike) == 1 else f"{place}, {number} of {len(alike)}"
    return keys


def read(path):
    """The reasons by the keys. Each is a paragraph: the key, and the reason in any number of
    lines."""
    reasons = {}
    for paragraph in path.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in paragraph.splitlines() if not line.startswith("#")]
        if not lines:
            continue
        if len(lines) < 2 or lines[0].count(": ") != 2 or lines[0] in reasons:
            raise ValueError(f"{path}: malformed, or there twice: {paragraph}")
        reasons[lines[0]] = " ".join(lines[1:])
    return reasons


def paragraph(key, reason):
    return "\n".join([key, *textwrap.wrap(reason, 100)])
