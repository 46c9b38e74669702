"""The counts of a run, as tables for docs/verification.md."""
import collections

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


def tables(results):
    """The counts by kind of fault and by file; docs/verification.md has those of the last whole
    run by kind."""
    kinds = count(results, lambda mutant: mutant.kind)
    files = count(results, lambda mutant: f"`{mutant.file}`")
    return table("fault", kinds) + "\n\n" + table("file", files)
