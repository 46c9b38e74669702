#!/usr/bin/env python3
"""Checks what a shared library shows and needs: its dynamic symbols and its NEEDED entries must be
exactly those that are named, and nothing else.

    checkLibrary.py LIBRARY symbols NAME...   (C++ names demangled, without their arguments; no versions)
    checkLibrary.py LIBRARY needed NAME...    (file names, without versions; all are allowed, not all required)
"""
import re
import subprocess
import sys


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(library):
    """Every defined dynamic symbol, demangled, without its arguments and its version."""
    lines = output_of("nm", "-D", "--defined-only", "--demangle", library).splitlines()
    return {re.sub(r"(\(.*\))?(@@\w+)?$", "", line.split(maxsplit=2)[2]) for line in lines}


def needed(library):
    """The libraries that it asks the loader for."""
    entries = re.findall(r"\(NEEDED\).*\[(.*?)\.so.*\]", output_of("readelf", "-d", library))
    return set(entries)


def main():
    library, what, *names = sys.argv[1:]
    if what == "symbols":
        found, wanted = symbols(library), set(names)
        wrong = found ^ wanted
    else:
        found, wanted = needed(library), set(names)
        wrong = found - wanted
    for name in sorted(wrong):
        print(f"{library}: {'unexpected' if name in found else 'missing'} in {what}: {name}")
    if not found:
        sys.exit(f"{library}: no {what} at all")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
