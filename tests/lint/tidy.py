"""clang-tidy over many sources, several in one run: tidy.py COMPILE-DATABASE JOBS < FILES

FILES are paths, each ended by a null byte. Most checks spend their time in the headers of the
standard library, which each source makes them walk anew. So neighbouring sources that are compiled in
the same way are included into one unit and looked at together; those that do not compile together
(each has a helper of the same name, say) are parted until they do. The static analyzer looks closely
at a unit's own functions only, so it takes each source by itself. Exit status 1 if anything was found.
"""

import json
import shlex
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

MOST_SOURCES = 16
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


def look(way, members, units):
    """What all checks but the analyzer's say of the sources."""
    checks = f"-{ANALYZER}*"
    if len(members) == 1:
        return tidy(way, checks, members[0])
    with tempfile.NamedTemporaryFile("w", suffix=".cpp", dir=units, delete=False) as unit:
        for source in members:
            unit.write(f'#include "{source}"  // NOLINT(bugprone-suspicious-include)\n')
    # One source's local name may be another's global one: that is for the compiler to find.
    said, clean = tidy(way, checks, unit.name, "-Wno-shadow")
    if "[clang-diagnostic-error]" in said:
        half = len(members) // 2
        parts = [look(way, some, units) for some in (members[:half], members[half:])]
        return "".join(said for said, _ in parts), all(clean for _, clean in parts)
    return said, clean


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
