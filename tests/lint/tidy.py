"""clang-tidy over many sources, several in one run: tidy.py COMPILE-DATABASE JOBS < FILES

FILES are paths, each ended by a null byte. Most checks spend their time in the headers of the
standard library, which each source makes them walk anew. So neighbouring sources that are compiled in
the same way are included into one unit and looked at together; those that do not compile after the
others (each has a helper of the same name, say) are looked at in another. The static analyzer looks
closely at a unit's own functions only, so it takes each source by itself. Exit status 1 if anything
was found.
"""

import json
import shlex
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

MOST_SOURCES = 40
ANALYZER = "clang-analyzer-"


def configuration(folder):
    """The nearest .clang-tidy: units lie elsewhere than the sources that they include."""
    return next(str(up / ".clang-tidy") for up in [folder, *folder.parents]
                if (up / ".clang-tidy").exists())


def analysis(settings):
    """Those checks of a configuration that are the analyzer's; nothing if there are none."""
    checks = Path(settings).read_text(encoding="utf-8").partition("\nChecks:")[2].split()
    return "".join("," + word.strip(",") for word in checks
                   if word.removeprefix("-").startswith(ANALYZER))


def arguments(entry):
    """How a source is compiled, without itself and what is made of it."""
    words = shlex.split(entry["command"])[1:]
    kept = []
    while words:
        word = words.pop(0)
        if word in ("-o", "-c"):
            words.pop(0)
        else:
            kept.append(word)
    return tuple(kept)


def alike(database, sources):
    """The sources by their configuration and how they are compiled."""
    entries = {Path(entry["file"]): entry for entry in json.loads(database.read_text())}
    ways = {}
    for source in sorted(sources):
        if source not in entries:
            sys.exit(f"tidy: {source} is not in {database}")
        way = (configuration(source.parent), arguments(entries[source]))
        ways.setdefault(way, []).append(source)
    return ways


def tidy(way, checks, file, *more):
    """What clang-tidy says of a file, and whether it found nothing."""
    settings, how = way
    done = subprocess.run(
        ["clang-tidy-14", "--quiet", f"--config-file={settings}", f"--checks={checks}", str(file),
         "--", *how, *more], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    return done.stdout if done.returncode == 0 else done.stdout + done.stderr, done.returncode == 0


def colliding(how, unit, members):
    """The sources that cannot be in one unit with those before them, as the compiler says."""
    done = subprocess.run(["clang++-14", *how, "-w", "-fsyntax-only", "-ferror-limit=0", unit],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    if done.returncode == 0:
        return []
    wrong = [line.partition(":")[0] for line in done.stderr.splitlines() if " error: " in line]
    apart = [source for source in members[1:] if str(source) in wrong]
    return apart or members[len(members) // 2:]


def look(way, members, units):
    """What all checks but the analyzer's say of the sources."""
    checks = f"-{ANALYZER}*"
    if len(members) == 1:
        return tidy(way, checks, members[0])
    with tempfile.NamedTemporaryFile("w", suffix=".cpp", dir=units, delete=False) as unit:
        for source in members:
            unit.write(f'#include "{source}"  // NOLINT(bugprone-suspicious-include)\n')
    apart = colliding(way[1], unit.name, members)
    if apart:
        together = [source for source in members if source not in apart]
        parts = [look(way, some, units) for some in (together, apart)]
        return "".join(said for said, _ in parts), all(clean for _, clean in parts)
    # One source's local name may be another's global one: that is for the compiler to find.
    return tidy(way, checks, unit.name, "-Wno-shadow")


def main():
    database, jobs = Path(sys.argv[1]), int(sys.argv[2])
    sources = [Path(name).resolve() for name in sys.stdin.read().split("\0") if name]
    ways = alike(database, sources)
    analyses = {settings: analysis(settings) for settings, _ in ways}
    clean = True
    with tempfile.TemporaryDirectory(dir=database.parent) as units, \
            ThreadPoolExecutor(jobs) as pool:
        work = [pool.submit(look, way, members[first:first + MOST_SOURCES], units)
                for way, members in ways.items()
                for first in range(0, len(members), MOST_SOURCES)]
        work += [pool.submit(tidy, way, f"-*{analyses[way[0]]}", source)
                 for way, members in ways.items() if analyses[way[0]] for source in members]
        for one in work:
            said, fine = one.result()
            clean = clean and fine
            print(said, end="", flush=True)
    sys.exit(0 if clean else 1)


main()
