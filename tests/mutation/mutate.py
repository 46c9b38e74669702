#!/usr/bin/env python3
"""Makes small faults in the state machine, one at a time, and runs the tests on each. Fails if one
survives that is not listed in survivors.txt, or if a listed one dies.

    mutate.py [--list] [--again] [--jobs N] [--folder BUILD-FOLDER] [FILTER]
"""
import argparse
import json
import pathlib
import queue
import re
import sys
import threading
import time

import mutants
import report
import survivors
import workshop

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LISTED = pathlib.Path(__file__).with_name("survivors.txt")


def arguments():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.splitlines()[0])
    parser.add_argument("filter", nargs="?", default="", metavar="FILTER",
                        help="only mutants whose FILE:FUNCTION:KIND matches this regular expression")
    parser.add_argument("--list", action="store_true", help="print the mutants, run none")
    parser.add_argument("--again", action="store_true",
                        help="only those that are new, or survived last time")
    parser.add_argument("--jobs", type=int, default=1, help="how many run at the same time")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build" / "mutate",
                        help="where to build")
    return parser.parse_args()


def allMutants():
    names = mutants.namesIn(ROOT / "Pim", ROOT / "platform")
    return mutants.mutantsOf(ROOT / "Pim", names)


def chosen(made, options):
    """The mutants to run."""
    part = [mutant for mutant in made if re.search(
        options.filter, f"{mutant.file}:{mutant.function}:{mutant.kind}")]
    if options.again:
        last = lastResults(options)
        part = [mutant for mutant in part if last.get(nameOf(mutant)) in (None, "survived")]
    return part


def nameOf(mutant):
    """What tells a mutant from others of an unchanged source."""
    return f"{mutant.file}:{mutant.start}:{mutant.end}:{mutant.text}"


def lastResults(options):
    """What became of each mutant in the last run, and in those of a part of them since then."""
    path = options.folder / "results.json"
    return json.loads(path.read_text()) if path.exists() else {}


def show(mutant, key):
    print(f"{key}\n- {mutant.before}\n+ {mutant.after}", flush=True)


class Run:
    """Runs mutants, each on the first workshop that is free."""

    def __init__(self, made, keys, options, before):
        self.made, self.keys, self.before = made, keys, before
        self.ends = {}
        self.path = options.folder / "results.json"
        self.todo = queue.Queue()
        for file in dict.fromkeys(mutant.file for mutant in made):
            self.todo.put(file)
        self.shops = [workshop.Workshop(ROOT, options.folder / str(job))
                      for job in range(options.jobs)]
        self._checkUnchanged()

    def all(self):
        """Runs them; gives each with its end."""
        threads = [threading.Thread(target=self._work, args=(shop,)) for shop in self.shops]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self._checkUnchanged()
        return [(mutant, self.ends[nameOf(mutant)]) for mutant in self.made]

    def keep(self):
        """Writes the results so far, and those from before: a run that is stopped can go on."""
        ends = {**self.before, **self.ends}
        self.path.write_text(json.dumps(ends))
        return ends

    def _checkUnchanged(self):
        """Mutants tell something only if what is not changed passes, before and after them."""
        for file in ("MembershipJoinStatusSm/Root.cpp", "MembershipJoinStatusSm/Root.h"):
            if not self.shops[0].checkUnchanged(file):
                sys.exit("the tests fail without any mutant")

    def _work(self, shop):
        while True:
            try:
                file = self.todo.get_nowait()
            except queue.Empty:
                break
            for mutant, end in shop.run(file, [m for m in self.made if m.file == file]):
                self.ends[nameOf(mutant)] = end
                if end == "survived":
                    show(mutant, self.keys[mutant])
                if len(self.ends) % 50 == 0:
                    print(f"... {len(self.ends)} of {len(self.made)}", flush=True)
                    self.keep()
        shop.close()


def judge(results, keys, listed):
    """Whether each survivor is listed, and each listed one survives; says which are not."""
    alive = {keys[mutant] for mutant, end in results if end == "survived"}
    run = {keys[mutant] for mutant, _ in results}
    unlisted = sorted(key for key in alive if key not in listed)
    dead = sorted(key for key in listed if key in run and key not in alive)
    for key in unlisted:
        print("survives, and is not listed:\n" + survivors.paragraph(key, "(why?)"))
    for key in dead:
        print("dies, and is listed:\n" + survivors.paragraph(key, listed[key]))
    return not unlisted and not dead


def conclude(made, keys, ends, listed):
    """Prints the counts, once there is a result for every mutant. Returns whether the list names
    only mutants that there are."""
    results = [(mutant, ends.get(nameOf(mutant))) for mutant in made]
    if not all(end for _, end in results):
        return True
    unknown = sorted(set(listed) - set(keys.values()))
    for key in unknown:
        print("listed, and not made:\n" + survivors.paragraph(key, listed[key]))
    print(report.tables(results))
    return judge(results, keys, listed) and not unknown


def main():
    options = arguments()
    options.folder = options.folder.resolve()
    made = allMutants()
    keys = survivors.keysOf(made)
    part = chosen(made, options)
    if options.list:
        for mutant in part:
            show(mutant, keys[mutant])
        print(f"{len(part)} mutants")
        return
    listed = survivors.read(LISTED)
    begin = time.monotonic()
    run = Run(part, keys, options, lastResults(options) if len(part) < len(made) else {})
    results = run.all()
    ends = run.keep()
    minutes = round((time.monotonic() - begin) / 60)
    compiled = [end for _, end in results if end != "not compiled"]
    print(f"{len(results)} mutants, {len(compiled)} compile, {compiled.count('survived')} survive; "
          f"{minutes} minutes")
    inOrder = judge(results, keys, listed)
    if not conclude(made, keys, ends, listed) or not inOrder:
        sys.exit(1)


if __name__ == "__main__":
    main()
