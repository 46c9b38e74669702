#!/usr/bin/env python3
"""Fails unless the manual page and the completion of bash know the subcommands and options that the
command has, and the manual the events that recordings can hold; and no others.

    checkManual.py IRBMC MANUAL COMPLETION EVENTREADER
"""
import re
import subprocess
import sys


def read(name):
    with open(name, encoding="utf-8") as file:
        return file.read()


def printed(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def options(irbmc, command):
    """The long options of a subcommand, as it tells them itself."""
    return set(re.findall(r"^ +(?:-\w,)?(--[\w-]+)", printed(irbmc, "help", command), re.MULTILINE))


def manual_options(manual, command):
    """Those that the list behind "The options of COMMAND" has."""
    found = re.search(rf"^The options of\n\.Cm {command}\n(.*?)^\.El$", manual,
                      re.MULTILINE | re.DOTALL)
    if not found:
        return set()
    return set(re.findall(r"^\.It Fl (?:\w , )?(-[\w-]+)", found[1], re.MULTILINE))


def manual_ops(manual):
    """The ops of the list of events: before each parenthesis, separated by commas."""
    events = re.search(r"^Events, with the default.*?^\.Bl.*?$(.*?)^\.El$", manual,
                       re.MULTILINE | re.DOTALL)[1]
    ops = set()
    for item in re.findall(r"^\.It (.*)$", events, re.MULTILINE):
        for part in re.sub(r"\(.*?\)", "", item).split(";"):
            ops.update(op.strip() for op in part.split(","))
    return ops


def completed(completion, *words):
    """What bash completes behind these words, the last of which is begun."""
    script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _irbmc; ' \
             'printf "%s\\n" "${COMPREPLY[@]}"'
    return set(printed("bash", "-c", script, "bash", completion, *words).split())


def main():
    irbmc, manual_file, completion, event_reader = sys.argv[1:]
    manual = read(manual_file)
    wrong = []

    def compare(what, has, knows):
        wrong.extend(f"{what}: lacks {name}" for name in sorted(has - knows))
        wrong.extend(f"{what}: there is no {name}" for name in sorted(knows - has))

    usage = printed(irbmc, "--help")
    commands = set(re.findall(r"^  (\w+)  ", usage.split("Subcommands:")[1], re.MULTILINE))
    synopsis = set(re.findall(r"^\.Nm\n\.Cm (\w+)$", manual, re.MULTILINE))
    compare("synopsis", commands, synopsis)
    compare("completion", commands | {"--help", "--version"}, completed(completion, "irbmc", ""))
    for command in sorted(commands):
        known = options(irbmc, command)
        compare(f"manual, {command}", known - {"--help"},
                {"-" + name for name in manual_options(manual, command)})
        compare(f"completion, {command}", known, completed(completion, "irbmc", command, "-"))
    ops = set(re.findall(r'^        \{"([\w.]+)",', read(event_reader), re.MULTILINE))
    compare("manual, events", ops, manual_ops(manual))
    compare("completion, --mode", {"include", "exclude"},
            completed(completion, "irbmc", "show", "--mode", ""))
    compare("completion, --color a", {"auto", "always"},
            completed(completion, "irbmc", "show", "--color", "a"))
    if len(ops) < 30:
        wrong.append(f"{event_reader}: only {len(ops)} ops are found")
    for line in wrong:
        print(line)
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
