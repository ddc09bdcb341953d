"""Draws changes of one token, builds the tests with each, and says which of them no test notices; see scripts/mutate.

mutate.py ROOT SIDE SEED COUNT JOBS [FILE:LINE]
"""

import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

import mutants
import testmap


class Worker:
    """A folder with the side's programs, into which those that a mutant concerns are linked."""

    def __init__(self, side, number):
        self.side = side
        self.build = side.root / "build" / side.build
        self.folder = side.root / "build" / "mutate" / f"{side.name}-{number}"
        self.prefix = self.folder / "wine"
        shutil.rmtree(self.folder / "bin", ignore_errors=True)
        shutil.copytree(self.build / "bin", self.folder / "bin", copy_function=os.link)
        with open(self.build / "compile_commands.json") as commands:
            self.compile_commands = {entry["file"]: entry["command"] for entry in json.load(commands)}
        self.link_commands = [self.link_command(target) for target in side.linked]

    def link_command(self, target):
        """The target's, with a place for the mutant before the libraries, whose own version is then not taken."""
        commands = subprocess.run(["ninja", "-C", str(self.build), "-t", "commands", target], capture_output=True, text=True, check=True).stdout
        wanted = next(part for line in commands.splitlines() for part in line.split(" && ") if re.search(rf" -o bin/{target}(\.\w+)?( |$)", part))
        wanted = re.sub(r" -o bin/(\S+)", rf" -o {self.folder}/bin/\1", wanted)
        wanted = re.sub(r"--out-implib,\S+", f"--out-implib,{self.folder}/import.a", wanted)
        output = pathlib.Path(re.search(r" -o (\S+)", wanted).group(1))
        checks = "" if self.side.wine else " -fsanitize=leak"
        return output, re.sub(r" (\S+/)?src/\w+/libtovix_", r" MUTANT\g<0>", wanted, count=1) + " -s" + checks

    def run(self, command):
        return subprocess.run(command, shell=True, cwd=self.build, stdin=subprocess.DEVNULL, capture_output=True).returncode == 0

    def compile(self, file, text, name):
        """The object of the source `file` with other text; None where it does not compile."""
        source = self.folder / "source" / pathlib.Path(file).name
        target = self.folder / name
        source.parent.mkdir(exist_ok=True)
        source.write_text(text)
        command = self.compile_commands[str(self.side.root / file)]
        command = re.sub(r" -o \S+ -c \S+$", f" -w -g0 -o {target} -c {source}", command)
        return target if self.run(command) else None

    def link(self, target):
        for output, command in self.link_commands:
            output.unlink(missing_ok=True)  # a link to the build's own
            if not self.run(command.replace(" MUTANT", f" {target}")):
                return False
        return True

    def test(self, tests, seconds):
        """What noticed the mutant: a test's name, or what became of the program; None if nothing did."""
        quick = sorted(test for test in tests if seconds.get(test, 0) < 3)
        slow = sorted(set(tests).difference(quick))
        # The program has an order of its own.
        return self.run_tests(quick, seconds) or self.run_tests(slow, seconds)

    def run_tests(self, tests, seconds):
        if not tests:
            return None
        # The counters slowed the tests down when their seconds were taken.
        limit = 20 + sum(seconds.get(test, 0) for test in tests)
        command = self.side.command(self.folder / "bin", self.prefix)
        command += ["--gtest_fail_fast", "--gtest_brief=1", "--gtest_filter=" + ":".join(tests)]
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   env=dict(os.environ, LSAN_OPTIONS="allocator_may_return_null=1:hard_rss_limit_mb=6000"),
                                   start_new_session=True)
        try:
            output = process.communicate(timeout=limit)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return f"no end within {limit:.0f} s"
        if process.returncode == 0 and "[  PASSED  ]" in output:
            return None
        if failed := re.search(r"\[  FAILED  \] ([\w./]+)", output):
            return failed.group(1)
        return "memory leaks" if "detected memory leaks" in output else "the program crashes"


class Run:
    """The drawn mutants, one after the other, until enough have been tried."""

    def __init__(self, side, seed, count, place):
        self.side = side
        self.count = count
        self.lock = threading.Lock()
        self.outcomes = []  # (mutant, outcome, detail)
        self.equal = read_equal(side.root)
        self.queue = iter(draw(side, seed, place))
        self.map = testmap.load_map(side, os.cpu_count())
        if self.map["failed"]:
            print("== left out, as they fail by themselves:", *self.map["failed"], flush=True)
        self.objects = {}

    def tests_of(self, mutant):
        """The tests that run the line; for one that is no code, such as a constant, those that run the file at all; for
        a file of constants all."""
        lines = self.map["lines"].get(mutant.file, {})
        own = lines.get(str(mutant.line)) or sorted({test for tests in lines.values() for test in tests})
        return own or list(self.map["seconds"])

    def is_listed(self, mutant):
        """Whether it is in the list of equal ones, by its file or by its place among the file's lines that read so."""
        lines = self.map["sources"][mutant.file].split("\n")[:mutant.line]
        place = sum(line.strip() == mutant.before.strip() for line in lines)
        return any((file, change_of(mutant)) in self.equal for file in (mutant.file, f"{mutant.file}#{place}"))

    def judge(self, worker, mutant):
        if self.is_listed(mutant):
            return "listed as equal", ""
        text = self.map["sources"][mutant.file]  # as it was when the lines were drawn
        lines = text.split("\n")
        lines[mutant.line - 1] = mutant.after
        target = worker.compile(mutant.file, "\n".join(lines), "mutant.o")
        if target is None:
            return "does not compile", ""
        if mutant.file not in worker.originals:
            original = worker.compile(mutant.file, text, "original.o")
            if original is None:
                return "does not compile", "nor does the source: has it changed since?"
            worker.originals[mutant.file] = original.read_bytes()
        if target.read_bytes() == worker.originals[mutant.file]:
            return "same code", ""
        if not worker.link(target):
            return "does not compile", ""
        tests = self.tests_of(mutant)
        noticed = worker.test(tests, self.map["seconds"]) if tests else None
        return ("caught", noticed) if noticed else ("survived", f"{len(tests)} tests")

    def work(self, number):
        worker = Worker(self.side, number)
        worker.originals = {}
        while True:
            with self.lock:
                tried = sum(outcome in ("caught", "survived") for _, outcome, _ in self.outcomes)
                mutant = next(self.queue, None) if tried < self.count else None
            if mutant is None:
                return
            started = time.monotonic()
            outcome, detail = self.judge(worker, mutant)
            with self.lock:
                self.outcomes.append((mutant, outcome, detail))
                self.report(mutant, outcome, detail, time.monotonic() - started)

    def report(self, mutant, outcome, detail, seconds):
        row = f"{outcome}: {mutant.file}:{mutant.line} ({mutant.kind}) {change_of(mutant)}"
        with open(self.side.root / "build" / "mutate" / f"{self.side.name}.log", "a") as log:
            print(f"{row}  [{detail}; {seconds:.1f} s]", file=log)
        if outcome == "survived":
            print(f"{row}  [{detail}]", flush=True)


def change_of(mutant):
    return f"{mutant.before.strip()} => {mutant.after.strip()}"


def read_equal(root):
    """{(file, change)} from lines of "FILE | LINE => CHANGED LINE | reason"; the file may be "FILE#2"."""
    rows = [line.split(" | ") for line in (root / "scripts/lib/equal-mutants.txt").read_text().splitlines()]
    return {(row[0], " | ".join(row[1:-1])) for row in rows if len(row) > 2 and not row[0].startswith("#")}


def draw(side, seed, place):
    """All mutants of one place; or, by the seed, of lines in turn one each."""
    by_line = {}
    for path in sorted((side.root / "src" / side.name).rglob("*.cpp")):
        name = str(path.relative_to(side.root))
        for mutant in mutants.mutants_of(name, path.read_text()):
            by_line.setdefault((name, mutant.line), []).append(mutant)
    if place:
        file, _, line = place.partition(":")
        return [mutant for key, found in by_line.items() if key[0] == file and line in ("", str(key[1])) for mutant in found]
    dice = random.Random(seed)
    lines = sorted(by_line)
    dice.shuffle(lines)
    return [dice.choice(by_line[line]) for line in lines]


def main():
    root, name, seed, count, jobs = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5])
    side = testmap.Side(root, name)
    (root / "build" / "mutate").mkdir(parents=True, exist_ok=True)
    run = Run(side, seed, count, sys.argv[6] if len(sys.argv) > 6 else None)
    workers = [threading.Thread(target=run.work, args=(number,)) for number in range(jobs)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    tally = {word: sum(outcome == word for _, outcome, _ in run.outcomes)
             for word in ("caught", "survived", "same code", "listed as equal", "does not compile")}
    tried = tally["caught"] + tally["survived"]
    print(f"{name}: seed {seed}: {tried} mutants, {tally['caught']} caught"
          f" ({100 * tally['caught'] / max(tried, 1):.1f} %), {tally['survived']} survived; besides these"
          f" {tally['same code']} of the same code, {tally['listed as equal']} listed as equal,"
          f" {tally['does not compile']} that do not compile")
    return 1 if tally["survived"] else 0


if __name__ == "__main__":
    sys.exit(main())
