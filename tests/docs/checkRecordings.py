#!/usr/bin/env python3
"""Fails unless each recording that a page shows replays with every expectation met.

    checkRecordings.py PAGE IRBMC

A recording stands in a block marked jsonl; a line that is indented continues the one before it.
"""
import re
import subprocess
import sys


def main():
    page, irbmc = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        blocks = re.findall(r"^```jsonl\n(.*?)^```$", file.read(), re.MULTILINE | re.DOTALL)
    if not blocks or not all('"op":"expect"' in block for block in blocks):
        sys.exit(f"{page}: each recording must say what it expects, and there must be some")
    for block in blocks:
        done = subprocess.run([irbmc, "replay", "-"], input=re.sub(r"\n +", "", block),
                              capture_output=True, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{page}: exit status {done.returncode}:\n{block}\n{done.stdout}{done.stderr}")


if __name__ == "__main__":
    main()
