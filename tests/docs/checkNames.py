#!/usr/bin/env python3
"""Fails unless each function that a page names beside a file is in that file, and each file that it
names exists. A function stands beside a file where only bars, blanks or "in" are between the two:
`Class::function` | `folder/File.cpp`.

    checkNames.py PAGE
"""
import pathlib
import re
import sys

FILE = r"(?:platform|Pim|irbmc|tests|docs|examples|bench)/[\w./-]*"


def main():
    page = pathlib.Path(sys.argv[1])
    root = page.resolve().parent.parent
    text = page.read_text(encoding="utf-8")
    wrong = [f"no file {file}" for file in re.findall(rf"`({FILE})`", text)
             if not (root / file).exists()]
    pairs = re.findall(rf"`((?:\w+::)*\w+)`[\s|(]*(?:in )?`({FILE}\.\w+)`", text)
    for function, file in pairs:
        # A member is defined as Class::function, a free function by its name alone.
        definition = "::".join(function.split("::")[-2:])
        code = (root / file).read_text(encoding="utf-8") if (root / file).exists() else ""
        if not re.search(rf"\b{definition}\(", code):
            wrong.append(f"no {function} in {file}")
    for line in wrong:
        print(f"{page}: {line}")
    if len(pairs) < 5:
        sys.exit(f"{page}: only {len(pairs)} functions are named beside their files")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
