#!/usr/bin/env python3
"""Fails unless each of the files given is shown, whole and to the letter, in a page.

    checkReadme.py PAGE FILE...
"""
import re
import sys


def main():
    page, *files = sys.argv[1:]
    with open(page, encoding="utf-8") as text:
        blocks = re.findall(r"^```\w*\n(.*?)^```$", text.read(), re.MULTILINE | re.DOTALL)
    absent = []
    for file in files:
        with open(file, encoding="utf-8") as text:
            if text.read() not in blocks:
                absent.append(file)
    for file in absent:
        print(f"{page} does not show {file} as it is")
    sys.exit(1 if absent else 0)


if __name__ == "__main__":
    main()
