#!/usr/bin/env python3
"""Fails unless the newest version of the changelog is that of the project, every version is newer than
the one below it, and the days of a version's lines never go back.

    checkChangelog.py CHANGELOG VERSION
"""
import itertools
import pathlib
import re
import sys


def number(version):
    return tuple(int(part) for part in version.split("."))


def main():
    path, current = pathlib.Path(sys.argv[1]), sys.argv[2]
    sections = re.split(r"^## ", path.read_text(encoding="utf-8"), flags=re.MULTILINE)[1:]
    versions = [section.partition("\n")[0] for section in sections]
    wrong = []
    if versions[:1] != [current]:
        wrong.append(f"its newest version is {versions[:1]}, the project's is {current}")
    for newer, older in itertools.pairwise(versions):
        if number(newer) <= number(older):
            wrong.append(f"{newer} stands above {older}")
    for version, section in zip(versions, sections):
        lines = re.findall(r"^- (.*)$", section, flags=re.MULTILINE)
        days = [re.match(r"(\d{4}-\d\d-\d\d): ", line) for line in lines]
        wrong += [f"{version}: no day: {line}" for line, day in zip(lines, days) if not day]
        for (earlier, later), line in zip(itertools.pairwise(days), lines[1:]):
            if earlier and later and later[1] < earlier[1]:
                wrong.append(f"{version}: out of order: {line}")
        if not lines:
            wrong.append(f"{version}: nothing changed")
    for line in wrong:
        print(f"{path}: {line}")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
