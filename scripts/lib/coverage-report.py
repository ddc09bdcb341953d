"""What the tests run of src/ and tools/, by folder.

coverage-report.py count ROOT BUILD GCOV            what ran in the build, into build/coverage/
coverage-report.py report ROOT [FOLDER | all]       the table, and what no test runs of the folder

A line counts as run if any build runs it, and so does each way out of a condition, in whichever instance of a template.
The two ways out of a call, back or with an exception, are no condition and are left out, and so is what
coverage-left-out.txt lists. Ends with 1 where a bar is missed.
"""

import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

# Per cent of the lines, and of the branches where there is a bar.
BARS = {"src/core": (98, 90), "src/shell": (85, None), "tools": (85, None)}


def conditions(branches, is_template):
    """The counts of a line's branches without those pairs of which one is the way of an exception. Of the templates that
    are compiled into their callers gcov lists the branches of every copy: each way counts once for all of them."""
    counts = []
    for branch in branches:
        if not branch["throw"]:
            counts.append(branch["count"])
        elif counts:
            counts.pop()
    return [sum(counts[0::2]), sum(counts[1::2])] if is_template and len(counts) > 1 else counts


def add(total, file, line, runs, branches):
    found = total.setdefault(file, {}).setdefault(str(line), [0, []])
    found[0] += runs
    longer, shorter = sorted((found[1], branches), key=len, reverse=True)
    found[1] = [a + b for a, b in zip(longer, shorter + [0] * len(longer))]


def read_objects(root, build, gcov, notes):
    """{file: {line: [runs, [runs of each branch]]}} of the objects to which the notes belong."""
    output = subprocess.run([gcov, "--json-format", "--stdout", "-b", *notes], cwd=build, capture_output=True).stdout
    total = {}
    for document in map(json.loads, output.splitlines()):
        folder = document["current_working_directory"]
        for entry in document["files"]:
            # The Windows build has taken the root off the names.
            file = os.path.relpath(os.path.normpath(os.path.join(folder, entry["file"])), root)
            file = entry["file"] if entry["file"].startswith(("src/", "tools/")) else file
            if file.startswith(("src/", "tools/")):
                for line in entry["lines"]:
                    add(total, file, line["line_number"], line["count"], conditions(line["branches"], file.endswith(".inl")))
    return total


def count(root, build, gcov):
    """Writes what ran in all objects of the build."""
    folder = root / "build" / build
    notes = sorted(str(path) for path in folder.rglob("*.gcno") if "googletest" not in str(path))
    total = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for part in pool.map(lambda first: read_objects(root, folder, gcov, notes[first : first + 10]), range(0, len(notes), 10)):
            for file, lines in part.items():
                for line, (runs, branches) in lines.items():
                    add(total, file, line, runs, branches)
    (root / "build/coverage" / f"{build}.json").write_text(json.dumps(total))


def read(root):
    """All builds together. What gcov puts on a closing brace is of destructors, and of exceptions that end a scope."""
    total = {}
    for path in (root / "build/coverage").glob("*-coverage.json"):
        for file, lines in json.loads(path.read_text()).items():
            sources = (root / file).read_text().splitlines()
            for line, (runs, branches) in lines.items():
                if sources[int(line) - 1].strip(" {};)"):
                    add(total, file, line, runs, branches)
    return total


def read_left_out(path):
    """[(file, text, what)] from lines of "FILE | lines or branches | TEXT | reason"; # begins a comment."""
    rows = []
    for line in path.read_text().splitlines():
        if line.strip() and not line.startswith("#"):
            name, what, text, reason = (part.strip() for part in line.split(" | "))
            if what not in ("lines", "branches") or not reason:
                sys.exit(f"coverage-left-out.txt: {line}")
            rows.append((name, text, what))
    return rows


def leave_out(total, rows, root):
    """Takes the listed lines and branches away; returns how many of each in each file, and the rows without use."""
    gone = collections.Counter()
    useless = []
    for name, text, what in rows:
        used = False
        sources = (root / name).read_text().splitlines()
        for number in list(total.get(name, {})):
            runs, branches = total[name][number]
            if text not in sources[int(number) - 1]:
                continue
            if what == "lines" and runs == 0:
                del total[name][number]
                gone[name, "lines"] += 1
                used = True
            elif what == "branches" and 0 in branches:
                total[name][number][1] = [count for count in branches if count]
                gone[name, "branches"] += branches.count(0)
                used = True
        if not used:
            useless.append(f"{name}: {text}")
    return gone, useless


def folder_of(name, depth):
    return "/".join(name.split("/")[:-1][:depth])


def figures(total, gone, prefix):
    """lines, of them run, branches, of them run, lines left out, branches left out below the prefix."""
    sums = [0] * 6
    for name, lines in total.items():
        if name.startswith(prefix + "/"):
            for runs, branches in lines.values():
                sums[0] += 1
                sums[1] += runs > 0
                sums[2] += len(branches)
                sums[3] += sum(count > 0 for count in branches)
    sums[4] = sum(count for (name, what), count in gone.items() if name.startswith(prefix + "/") and what == "lines")
    sums[5] = sum(count for (name, what), count in gone.items() if name.startswith(prefix + "/") and what == "branches")
    return sums


def percent(part, whole):
    return 100 * part / whole if whole else 100


def print_missed(total, folder, root):
    for name in sorted(total):
        if not name.startswith(folder):
            continue
        sources = (root / name).read_text().splitlines()
        for number, (runs, branches) in sorted(total[name].items(), key=lambda item: int(item[0])):
            if runs == 0:
                print(f"{name}:{number}: line      {sources[int(number) - 1].strip()}")
            elif 0 in branches:
                print(f"{name}:{number}: {branches.count(0):2} of {len(branches):2}  {sources[int(number) - 1].strip()}")


def report(root, missed):
    total = read(root)
    gone, useless = leave_out(total, read_left_out(root / "scripts/lib/coverage-left-out.txt"), root)
    if missed:
        print_missed(total, "" if missed == "all" else missed, root)
    rows = sorted({folder_of(name, depth) for name in total for depth in (2, 3)} | {"tools"})
    status = 0
    print(f"{'folder':24} {'lines':>7} {'run':>7} {'branches':>9} {'run':>7}   left out: lines, branches")
    for row in rows:
        lines, lines_run, branches, branches_run, lines_out, branches_out = figures(total, gone, row)
        shares = (percent(lines_run, lines), percent(branches_run, branches))
        verdict = ""
        if row in BARS:
            below = any(bar is not None and share < bar for share, bar in zip(shares, BARS[row]))
            status = status or int(below)
            verdict = f"  {'MISSED' if below else 'met'}: " + " and ".join(f"{bar} %" for bar in BARS[row] if bar is not None)
        print(f"{row:24} {lines:7} {shares[0]:6.1f}% {branches:9} {shares[1]:6.1f}%   {lines_out:5} {branches_out:5}{verdict}")
    for text in useless:
        print(f"coverage-left-out.txt has no need of: {text}")
    return status


def main():
    root = pathlib.Path(sys.argv[2])
    if sys.argv[1] == "count":
        return count(root, sys.argv[3], sys.argv[4])
    return report(root, sys.argv[3] if len(sys.argv) > 3 else None)


if __name__ == "__main__":
    sys.exit(main())
