"""Where mutants are made into programs and run: a build of the tests in a folder of its own, in
which one source after the other is compiled anew from a changed copy. The work tree is read while
this is built, and not touched any more."""
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess

import multiplexed
from source import Source

SECONDS = 30  # of a processor; none of the runs below takes a quarter: who takes more does not end
PATIENCE = 600  # in seconds of the clock: who waits for longer waits for ever
MEMORY = 2 << 30
SLOW = "Faults.*"  # they take longer than all others: only who survives everything else meets them
DIFFERENTIAL = "*RandomEventsEndAlike*"
EVENTS = {"RC_PARAMS": "seed=1 max_success=4"}


class Workshop:
    def __init__(self, root, folder):
        self.root, self.folder = root, folder
        self.copies = folder / "source"
        self.copy = self.copies / "Pim"
        self.object = folder / "mutant.o"
        self.multiplexed = folder / "multiplexed.cpp"
        self.choice = folder / "choice.o"
        self.tests = folder / "bin" / "pimMutantTest"
        self._build()
        self._copySources()
        self._suites = {}
        self.environment = {**os.environ, **EVENTS, "TMPDIR": str(folder / "temporary")}

    def run(self, file, mutants):
        """What became of each mutant of a file: "not compiled", who killed it, or "survived"; gives
        a pair as soon as one is known. Those inside the functions of a source are compiled all at
        once, and one of them is chosen when a program starts."""
        alone, together = mutants, []
        if file.endswith(".cpp"):
            source = Source((self.copy / file).read_text())
            together = [m for m in mutants if multiplexed.bodyAround(source, m)]
            alone = [m for m in mutants if m not in together]
        for mutant in alone:
            yield mutant, self._alone(mutant)
        if together:
            yield from self._together(file, source, together)

    def checkUnchanged(self, file):
        """Whether a source that is compiled in the same way, but not changed, passes."""
        return self._compile(file) and self._link(file) and self._test(file) == "survived"

    def _alone(self, mutant):
        """Compiles the changed file, and takes the change back."""
        original = self.copy / mutant.file
        before = original.read_text()
        times = original.stat()
        original.write_text(before[:mutant.start] + mutant.text + before[mutant.end:])
        isCompiled = self._compile(mutant.file)
        original.write_text(before)
        os.utime(original, ns=(times.st_atime_ns, times.st_mtime_ns))
        if not isCompiled or not self._link(mutant.file):
            return "not compiled"
        return self._test(mutant.file)

    def _together(self, file, source, mutants):
        left = dict(enumerate(mutants, 1))
        while left:
            self.multiplexed.write_text(multiplexed.text(file, source, left))
            compiled = self._compiler(file, "-ferror-limit=0", "-include-pch",
                                      self.folder / "ahead.pch", "-c", self.multiplexed,
                                      "-o", self.object)
            if compiled.returncode == 0:
                break
            wrong = multiplexed.wrongOnes(compiled.stderr)
            if not wrong:
                raise RuntimeError(f"{file} cannot be compiled:\n{compiled.stderr}")
            for number in wrong:
                yield left.pop(number), "not compiled"
        if not left:
            return
        if not self._link(file) or self._test(file) != "survived":
            raise RuntimeError(f"{file}: the tests fail without any mutant")
        for number, mutant in left.items():
            yield mutant, self._test(file, number)

    def close(self):
        """Leaves the library as it was built."""
        shutil.copyfile(self.library.with_suffix(".built"), self.library)

    def _test(self, file, number=0):
        own = self._suitesOf(file)
        model = [self.folder / "bin" / "differentialTest", f"--gtest_filter={DIFFERENTIAL}"]
        stages = {"tests of the file": [self.tests, f"--gtest_filter={own}"],
                  "other tests of Pim": [self.tests, f"--gtest_filter=-{own}:{SLOW}"],
                  "the model": model,
                  "faults from outside": [self.tests, f"--gtest_filter={SLOW}"]}
        for name, command in stages.items():
            end = self._ends([*command, "--gtest_fail_fast"], number)
            if end != "passed":
                return name if end == "failed" else "timeout"
        return "survived"

    def _build(self):
        environment = ["cmake", "-S", self.root, "-B", self.folder, "-G", "Ninja",
                       "-DCMAKE_CXX_COMPILER=clang++-14", "-DCMAKE_BUILD_TYPE=Debug",
                       "-DCMAKE_CXX_FLAGS_DEBUG=-O1", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
        subprocess.run(environment, check=True, stdout=subprocess.DEVNULL)
        targets = ["pimTest", "differentialTest"]
        subprocess.run(["cmake", "--build", self.folder, "--target", *targets], check=True,
                       stdout=subprocess.DEVNULL)
        # The file behind the library's names.
        self.library = (self.folder / "lib" / "libMembershipJoinStatusSm.so.0").resolve()
        shutil.copyfile(self.library, self.library.with_suffix(".built"))
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        prefix = str(self.root / "Pim") + "/"
        self.commands = {command["file"][len(prefix):]: shlex.split(command["command"])
                         for command in commands if command["file"].startswith(prefix)}
        self.links = {}

    def _copySources(self):
        """The sources that are changed, and all that they include, compiled ahead. A header is
        changed for every source: all of them are compiled as one."""
        shutil.rmtree(self.copies, ignore_errors=True)
        for part in ("Pim", "platform"):
            shutil.copytree(self.root / part, self.copies / part)
        sources = sorted(self.copy.rglob("*.cpp"))
        included = set()
        for file in sources:
            included.update(re.findall(r"^#include .*$", file.read_text(), re.MULTILINE))
        self.ahead = self.folder / "ahead.h"
        self.ahead.write_text("\n".join(sorted(included)) + "\n")
        self.together = self.folder / "together.cpp"
        self.together.write_text("".join(f'#include "{file}"\n' for file in sources))
        self._compiler(next(iter(self.commands)), "-fpch-instantiate-templates", "-x",
                       "c++-header", self.ahead, "-o", self.folder / "ahead.pch").check_returncode()
        choice = self.folder / "choice.cpp"
        choice.write_text(multiplexed.CHOICE)
        self._compiler(next(iter(self.commands)), "-c", choice,
                       "-o", self.choice).check_returncode()

    def _compile(self, file):
        if file.endswith(".h"):
            return self._compiler(next(iter(self.commands)), "-c", self.together,
                                  "-o", self.object).returncode == 0
        return self._compiler(file, "-include-pch", self.folder / "ahead.pch", "-c",
                              self.copy / file, "-o", self.object).returncode == 0

    def _compiler(self, file, *last):
        """Runs the file's compiler with its own options and these."""
        words = self.commands[file]
        words = words[:words.index("-o")]
        for part in ("Pim", "platform"):
            words = [word.replace(str(self.root / part), str(self.copies / part))
                     for word in words]
        return subprocess.run([*words, "-O0", "-w", *last], stderr=subprocess.PIPE, text=True,
                              cwd=self.folder)

    def _link(self, file):
        """Links the tests and the library again, with the mutant in place of the original."""
        return self._linkOne("bin/pimTest", self.tests, file) and \
            self._linkOne("lib/" + self.library.name, self.library, file)

    def _linkOne(self, target, output, file):
        if target not in self.links:
            text = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", target],
                                  check=True, capture_output=True, text=True).stdout
            self.links[target] = shlex.split(text.splitlines()[-1].split(" && ")[1])
        words = []
        for word in self.links[target]:
            source = re.fullmatch(r"Pim/CMakeFiles/.*?\.dir/(.*)\.o", word)
            if not source or (source[1] != file and not file.endswith(".h")):
                words.append(word)
        # First, so that its inline functions are those that count.
        at = words.index("-o")
        words = words[:at] + ["-fuse-ld=lld-14", str(self.object), str(self.choice),
                              "-o", str(output)] + words[at + 2:]
        return subprocess.run(words, stderr=subprocess.DEVNULL, cwd=self.folder).returncode == 0

    def _ends(self, command, number):
        temporary = self.folder / "temporary"
        shutil.rmtree(temporary, ignore_errors=True)
        temporary.mkdir()

        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))
            resource.setrlimit(resource.RLIMIT_DATA, (MEMORY, MEMORY))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        process = subprocess.Popen(command, cwd=temporary, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, preexec_fn=limit,
                                   start_new_session=True,
                                   env={**self.environment, multiplexed.VARIABLE: str(number)})
        try:
            end = process.wait(PATIENCE)
            return {0: "passed", -signal.SIGXCPU: "timeout", -signal.SIGKILL: "timeout"}.get(
                end, "failed")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            return "timeout"

    def _suitesOf(self, file):
        """A filter for the tests that stand in the file's own test sources."""
        stem = pathlib.PurePath(file).stem
        if stem not in self._suites:
            names = set()
            for source in (self.root / "tests" / "Pim").glob(f"{stem}*.cpp"):
                names.update(re.findall(r"^TEST(?:_F|_P)?\((\w+)", source.read_text(),
                                        re.MULTILINE))
            self._suites[stem] = ":".join(f"{name}.*:*/{name}.*" for name in sorted(names))
        return self._suites[stem] or "none.*"
