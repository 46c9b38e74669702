#!/usr/bin/env python3
"""Tells how much of the code the tests ran, and fails where that is too little.

    llvm-cov export PROGRAM... | check.py ROOT EXCEPTIONS

Of Pim/, every line must have run, every branch must have gone both ways, and every condition must
have decided the outcome of its decision by itself (MC/DC). What cannot is listed in EXCEPTIONS, one
gap a line, as "FILE: GAP: REASON", FILE and GAP as they are printed here; a gap that is listed and
is none fails, too. Of platform/, 95 % of lines and of branches must have run. Instances of one
template count as one: what any of them did was done.
"""
import collections
import json
import pathlib
import re
import sys

ENOUGH = {"lines": 0.95, "branches": 0.95}


class File:
    """What ran of one source file."""

    def __init__(self, path, coverage):
        self.text = path.read_text(encoding="utf-8").splitlines()
        self.lines = line_counts(coverage["segments"])
        self.branches = collections.defaultdict(lambda: [0, 0])
        for branch in coverage["branches"]:
            # What the compiler writes for a defaulted comparison is no branch of the source.
            if "= default;" in self.text[branch[0] - 1]:
                continue
            # It counts no run of the ellipsis of a fold, though it takes that for a condition.
            if self.source(branch[:4]) == "...":
                continue
            arms = self.branches[tuple(branch[:4])]
            arms[0] += branch[4]
            arms[1] += branch[5]
        self.decisions = {}
        for record in coverage.get("mcdc_records", []):
            place, conditions = tuple(record[:4]), record[-1]
            before = self.decisions.get(place, [False] * len(conditions))
            self.decisions[place] = [a or b for a, b in zip(before, conditions)]

    def source(self, place):
        """The code at a place, on one line."""
        first, begin, last, end = place
        lines = self.text[first - 1:last]
        lines[-1] = lines[-1][:end - 1]
        lines[0] = lines[0][begin - 1:]
        return " ".join(" ".join(lines).split())

    def figures(self):
        """What ran and what there is, of each measure."""
        arms = [arm > 0 for arms in self.branches.values() for arm in arms]
        conditions = [shown for decision in self.decisions.values() for shown in decision]
        return collections.Counter({
            "lines run": sum(count > 0 for count in self.lines.values()),
            "lines": len(self.lines),
            "branches run": sum(arms),
            "branches": len(arms),
            "conditions run": sum(conditions),
            "conditions": len(conditions),
        })

    def gaps(self):
        """Everything that the tests left out, as text, in the order of the file."""
        for line, count in sorted(self.lines.items()):
            if count == 0:
                yield line, f"never run: {self.text[line - 1].strip()}"
        for place, arms in sorted(self.branches.items()):
            for arm, name in zip(arms, ("true", "false")):
                if arm == 0:
                    yield place[0], f"never {name}: {self.source(place)}"
        for place, conditions in sorted(self.decisions.items()):
            for number, shown in enumerate(conditions, 1):
                if not shown:
                    text = f"condition {number} never decides: {self.source(place)}"
                    yield place[0], text


def line_counts(segments):
    """How often each line that holds code ran, from the segments of a file."""
    by_line = collections.defaultdict(list)
    for line, _, count, has_count, is_entry, is_gap in segments:
        by_line[line].append((count, has_count, is_entry, is_gap))
    counts = {}
    wrapped = None
    for line in range(min(by_line, default=1), max(by_line, default=0) + 1):
        here = by_line.get(line, [])
        starts = [segment for segment in here if segment[1] and segment[2] and not segment[3]]
        is_skipped = bool(here) and not here[0][1] and here[0][2]
        is_wrapped = wrapped is not None and wrapped[1]
        if starts or (is_wrapped and not is_skipped):
            counts[line] = max([wrapped[0] if is_wrapped else 0] + [start[0] for start in starts])
        if here:
            wrapped = here[-1]
    return counts


def read_exceptions(path):
    """The gaps that are listed: (FILE, GAP) to how often each may be there."""
    listed = collections.Counter()
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        entry = re.fullmatch(r"(\S+): (never \w+: .+?|condition \d+ never decides: .+?): (\S.*)",
                             line)
        if not entry:
            sys.exit(f"{path}:{number}: not FILE: GAP: REASON")
        listed[entry[1], entry[2]] += 1
    return listed


def share(figures, measure):
    """A measure in per cent, with what it counts."""
    run, there = figures[f"{measure} run"], figures[measure]
    return f"{100 * run / there if there else 100:6.2f} % of {there:5} {measure}"


def is_enough(figures, measure):
    """Whether enough of a folder ran, by one measure."""
    return figures[f"{measure} run"] >= ENOUGH[measure] * figures[measure]


def main():
    root, exceptions = map(pathlib.Path, sys.argv[1:])
    root = root.resolve()
    listed = read_exceptions(exceptions)
    wrong = []
    totals = collections.defaultdict(collections.Counter)
    for coverage in json.load(sys.stdin)["data"][0]["files"]:
        path = pathlib.Path(coverage["filename"]).resolve()
        name = str(path.relative_to(root)) if path.is_relative_to(root) else ""
        folder = name.split("/")[0]
        if folder not in ("Pim", "platform"):
            continue
        file = File(path, coverage)
        totals[folder] += file.figures()
        for line, gap in file.gaps() if folder == "Pim" else ():
            if listed[name, gap]:
                listed[name, gap] -= 1
            else:
                wrong.append(f"{name}:{line}: {gap}")
    wrong += [f"{name}: {gap}: listed in {exceptions}, but it is none"
              for (name, gap), left in listed.items() if left]
    for folder in ("Pim", "platform"):
        measures = ("conditions", "branches", "lines")[0 if folder == "Pim" else 1:]
        for measure in measures:
            print(f"{folder + '/':10}{share(totals[folder], measure)}")
            if folder == "platform" and not is_enough(totals[folder], measure):
                wrong.append(f"platform/: less than {ENOUGH[measure]:.0%} of {measure}")
    if not all(totals[folder]["lines"] for folder in ("Pim", "platform")):
        wrong.append("nothing was measured")
    for line in wrong:
        print(line)
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
