"""Which tests of a program run which line: each test runs alone in the coverage build, and gcov reads what it left."""

import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import tempfile
import time


class Side(object):
    """A part of the sources with the program that tests it. `wine` is the folder of a Wine prefix, or None."""

    def __init__(self, root, name):
        self.root = root
        self.name = name
        self.wine = name == "shell"
        self.build = "windows" if self.wine else "native"
        self.program = "tovix-windows-tests" if self.wine else "tovix-core-tests"
        self.linked = [self.program] + (["Tovix64", "tovix-effect-side", "tovix-effect-module"] if self.wine else [])
        self.ending = ".exe" if self.wine else ""
        self.gcov = "x86_64-w64-mingw32-gcov-posix" if self.wine else "gcov"

    def command(self, folder, prefix):
        """How to run the test program that is in the folder."""
        program = str(folder / (self.program + self.ending))
        return [str(self.root / "cmake/run-wine"), str(prefix), program] if self.wine else [program]

    def tests(self, command):
        """The names of all tests but the slow ones, and those that go step by step."""
        output = subprocess.run(command + ["--gtest_list_tests"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True).stdout
        names = []
        for line in output.splitlines():
            if not line.startswith(" "):
                suite = line.split("#")[0].strip()
            else:
                names.append(suite + line.split("#")[0].strip())
        return [name for name in names if not re.search(r"Slow\.|^RealtimeModule|DISABLED_", name)]


def lines_run(side, folder):
    """{file: [lines]} of what the counters below the folder say."""
    counters = []
    build = side.root / "build" / f"{side.build}-coverage"
    for path in folder.rglob("*.gcda"):
        notes = build / path.relative_to(folder / build.relative_to("/")).with_suffix(".gcno")
        if f"/src/{side.name}/" in str(path) and notes.exists():
            path.with_suffix(".gcno").symlink_to(notes)
            counters.append(str(path))
    found = {}
    if not counters:
        return found
    output = subprocess.run([side.gcov, "--json-format", "--stdout", *counters], cwd=folder, capture_output=True, check=True).stdout
    for document in output.splitlines():
        for entry in json.loads(document)["files"]:
            name = entry["file"]
            start = name.find("src/" + side.name)
            if start >= 0:
                run = found.setdefault(name[start:], set())
                run.update(line["line_number"] for line in entry["lines"] if line["count"])
    return found


def run_alone(side, test):
    """The test's seconds and the lines that it runs; None where it fails."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        environment = dict(os.environ, GCOV_PREFIX=("Z:" if side.wine else "") + name)
        build = side.root / "build" / f"{side.build}-coverage"
        command = side.command(build / "bin", build / "wine") + ["--gtest_filter=" + test]
        started = time.monotonic()
        try:
            result = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, timeout=300)
        except subprocess.TimeoutExpired:
            return None
        if result.returncode:
            return None
        return time.monotonic() - started, lines_run(side, folder)


def make_map(side, jobs):
    """{"seconds": {test: seconds}, "lines": {file: {line: [tests]}}, "failed": [tests]}"""
    build = side.root / "build" / f"{side.build}-coverage"
    tests = side.tests(side.command(build / "bin", build / "wine"))
    result = {"seconds": {}, "lines": {}, "failed": []}
    # The tests under Wine meet in objects of fixed names: one at a time.
    with concurrent.futures.ThreadPoolExecutor(1 if side.wine else jobs) as pool:
        for test, outcome in zip(tests, pool.map(lambda test: run_alone(side, test), tests)):
            if outcome is None:
                result["failed"].append(test)
                continue
            result["seconds"][test] = outcome[0]
            for file, lines in outcome[1].items():
                for line in lines:
                    result["lines"].setdefault(file, {}).setdefault(str(line), []).append(test)
    return result


def texts_below(root, *folders):
    """{path below the root: text} of all files."""
    files = sorted(file for folder in folders for file in (root / folder).rglob("*.*"))
    return {str(file.relative_to(root)): file.read_text() for file in files}


def load_map(side, jobs):
    """The map of the sources and tests as they are; made anew where one of them has changed since."""
    path = side.root / "build" / "mutate" / f"{side.name}-tests.json"
    sources = texts_below(side.root, f"src/{side.name}")
    tests = texts_below(side.root, f"tests/{side.name}", "tests/support")
    if path.exists():
        stored = json.loads(path.read_text())
        if stored["sources"] == sources and stored.get("tests") == tests:
            return stored
    print(f"== which test runs which line of src/{side.name}: one after the other", flush=True)
    made = make_map(side, jobs)
    made["sources"] = sources
    made["tests"] = tests
    path.write_text(json.dumps(made))
    return made
