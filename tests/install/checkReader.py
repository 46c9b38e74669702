#!/usr/bin/env python3
"""Runs a reader of the table, as an example shows it, beside `irbmc`, which writes the table meanwhile,
and checks what it prints.

    checkReader.py IRBMC READER
"""
import json
import signal
import subprocess
import sys
import tempfile

SECONDS = 60


def line(op, **fields):
    return json.dumps({"op": op, "t": 1, **fields}) + "\n"


def join(op, source):
    return line(op, vlan=10, group="232.1.1.1", source=source, mode="include", intf="swp1")


FABRIC = line("l3.set", intf="vlan10", vrf="red")
START = line("start", domain=1, app=1, name="default")


def expect(reader, wanted):
    """Reads on until a line begins so."""
    for text in reader.stdout:
        if text.startswith(wanted):
            return
    sys.exit(f"the reader ended without a line '{wanted}...'")


def main():
    irbmc, program = sys.argv[1:]
    signal.alarm(SECONDS)
    with tempfile.TemporaryDirectory() as folder:
        replay = [irbmc, "replay", "--quiet", "--table", folder + "/table", "-"]
        subprocess.run(replay, input=FABRIC + join("join", "10.0.0.1") + START, text=True, check=True,
                       stdout=subprocess.DEVNULL)
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "text": True, "bufsize": 1}
        with subprocess.Popen([program, folder + "/table"], **pipes) as reader:
            expect(reader, "= red: (10.0.0.1, 232.1.1.1) on vlan10")
            with subprocess.Popen(replay, **pipes) as writer:
                writer.stdin.write(FABRIC + join("join", "10.0.0.1") + START)
                writer.stdin.flush()
                # The next writer makes the reader walk again.
                expect(reader, "= red: (10.0.0.1, 232.1.1.1) on vlan10")
                writer.stdin.write(join("join", "10.0.0.2"))
                writer.stdin.flush()
                expect(reader, "+ red: (10.0.0.2, 232.1.1.1) on vlan10")
                writer.stdin.write(join("leave", "10.0.0.1"))
                writer.stdin.flush()
                expect(reader, "- red: (10.0.0.1, 232.1.1.1) on vlan10")
            reader.stdin.close()
            reader.send_signal(signal.SIGTERM if program.endswith("follow") else 0)
            status = reader.wait()
    if status not in (0, -signal.SIGTERM):
        sys.exit(f"the reader ended with status {status}")


if __name__ == "__main__":
    main()
