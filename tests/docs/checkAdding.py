#!/usr/bin/env python3
"""Fails where something that the code has is missing in a place where docs/adding.md says that it
belongs: toggles, ops of recordings, subcommands.

    checkAdding.py SOURCE-FOLDER
"""
import pathlib
import re
import sys

TOGGLE_PLACES = ["tests/Pim/Fabric.cpp", "tests/model/Model.cpp", "tests/model/Trial.cpp",
                 "fuzz/events/EventsFuzz.cpp", "README.md", "docs/irbmc.1"]
OP_PLACES = ["irbmc/Replay/EventReader.cpp", "tests/model/Event.cpp", "fuzz/replay/dictionary",
             "docs/irbmc.1"]
# What a table holds is compared at a recording's end; no input, so nothing for the model to do.
OPS_NOT_OF_THE_MODEL = {"expect"}


def textOf(root, place):
    return (root / place).read_text(encoding="utf-8")


def missingToggles(root):
    code = textOf(root, "Pim/MembershipJoinStatusSm/FeatureToggles.cpp")
    names = re.findall(r'FeatureToggle \w+\("[\w.]+", "(\w+)"', code)
    return names, [f"the toggle {name} is not in {place}" for name in names
                   for place in TOGGLE_PLACES if name not in textOf(root, place)]


def missingOps(root):
    ops = re.findall(r'^ *\{"([a-z][a-z.0-9]*)",(?= |$)', textOf(root, "irbmc/Replay/EventReader.cpp"),
                     re.MULTILINE)
    return ops, [f"the op {op} is not in {place}" for op in ops for place in OP_PLACES
                 if not (op in OPS_NOT_OF_THE_MODEL and place.startswith("tests/model"))
                 and not re.search(rf"\b{re.escape(op)}(?![\w.])", textOf(root, place))]


def missingCommands(root):
    names = [path.name.removesuffix("Command.h").lower()
             for path in sorted((root / "irbmc").glob("?*Command.h"))]
    tests = "".join(path.read_text(encoding="utf-8")
                    for path in (root / "tests/irbmc/Command").glob("*.cpp"))
    manual = textOf(root, "docs/irbmc.1")
    wrong = [f"the subcommand {name} is not in docs/irbmc.1" for name in names
             if not re.search(rf"\b{name}\b", manual)]
    wrong += [f"the subcommand {name} has no test in tests/irbmc/Command" for name in names
              if f'"{name}"' not in tests]
    return names, wrong


def main():
    root = pathlib.Path(sys.argv[1])
    wrong = []
    for find, atLeast in ((missingToggles, 2), (missingOps, 25), (missingCommands, 3)):
        names, missing = find(root)
        if len(names) < atLeast:
            wrong.append(f"{find.__name__} found only {names}")
        wrong += missing
    for line in wrong:
        print(line)
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
