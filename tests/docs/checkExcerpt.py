#!/usr/bin/env python3
"""Fails unless the blocks in one chapter of a page are lines, in order, of what a command prints.

    checkExcerpt.py PAGE CHAPTER COMMAND...
"""
import re
import subprocess
import sys


def main():
    page, chapter, *command = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        text = re.search(rf"^## {chapter}$(.*?)^## ", file.read(), re.MULTILINE | re.DOTALL)[1]
    shown = "".join(re.findall(r"^```\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)).splitlines()
    printed = iter(subprocess.run(command, check=True, capture_output=True, text=True)
                   .stdout.splitlines())
    for line in shown:
        if line not in printed:
            sys.exit(f"{page}: the command does not print, at this place: {line}")
    if not shown:
        sys.exit(f"{page}: nothing is shown in {chapter}")


if __name__ == "__main__":
    main()
