"""The page with the last result."""
import collections
import datetime

ORDER = ["not compiled", "tests of the file", "other tests of Pim", "the model",
         "faults from outside", "timeout", "survived"]
HEADS = ["made", "not compiled", "its own tests", "other tests of Pim", "the model", "faults",
         "no end", "survive"]


def table(first, rows):
    """A table of counts: one row for each name, and their sum."""
    lines = [f"| {first} | " + " | ".join(HEADS) + " |",
             "| --- |" + " ---: |" * len(HEADS)]
    total = collections.Counter()
    for name, counts in [*sorted(rows.items()), ("all", total)]:
        cells = [sum(counts.values())] + [counts[end] for end in ORDER]
        lines.append(f"| {name} | " + " | ".join(str(cell) for cell in cells) + " |")
        total.update(counts)
    return "\n".join(lines)


def count(results, nameOf):
    rows = collections.defaultdict(collections.Counter)
    for mutant, end in results:
        rows[nameOf(mutant)][end] += 1
    return rows


def page(results, survivors):
    kinds = count(results, lambda mutant: mutant.kind)
    files = count(results, lambda mutant: f"`{mutant.file}`")
    alive = {(m.file, m.function, m.before, m.after) for m, end in results if end == "survived"}
    listed = "\n\n".join(
        f"`{s.file}`, `{s.function}`:\n\n```\n- {s.before}\n+ {s.after}\n```\n\n{s.reason}"
        for key, s in survivors.items() if key in alive)
    today = datetime.date.today().isoformat()
    compiled = sum(end != "not compiled" for _, end in results)
    killed = sum(end not in ("not compiled", "survived") for _, end in results)
    return f"""# Mutation

`./dev mutate` makes a small fault in the state machine, compiles it, runs the tests and takes the
fault back, one after the other, wherever one can be made. A mutant whose tests still pass shows what
no test looks at: every one dies, or is listed in `tests/mutation/survivors.txt` with the reason why
it cannot matter. The command fails on a survivor that is not listed, and on a listed one that dies,
and writes this page.

The last result, of {today}: {len(results)} mutants, of which {compiled} compile; {killed} of these
die, and {compiled - killed} survive, each for one of the reasons below. A run of a part of them
replaces the results of that part.

A mutant meets the tests of its own file first, then the other tests of `tests/Pim`, then random
events beside the independent model, 12,000 for each setting of the toggles, and last the tests of
faults from outside, which are slow. The columns say which of them killed it; one that takes 30 s of
a processor has no end, and dies of that.

## By kind of fault

{table("fault", kinds)}

## By file

{table("file", files)}

## The survivors

{listed}
"""
