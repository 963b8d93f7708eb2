#!/usr/bin/env python3
"""Holds the code to its plan: which folder may include which, no circles, and the sizes of files and functions.

Usage: structure.py ROOT    prints what breaks the plan, then the figures; ends with 1 if anything does.
"""

import pathlib
import re
import statistics
import sys

# A folder may include from those to the left of it, within its own tree, but not from those in its own group.
PLANS = {
    "src": [["Utility"], ["thread", "objects", "dll"], ["protocol", "sso"], ["engine"], ["tasks"], ["lib"]],
    "service": [["text"], ["crypto"], ["net"], ["http"], ["accounts"], ["operations"], ["pages"], ["server"], ["program"]],
}
LONGEST_FILE = 300  # lines
LONGEST_HEADER = 160
LONGEST_FUNCTION = 45
MEDIAN_FILE = 75
MEDIAN_FUNCTION = 6

INCLUDE = re.compile(r'\s*#include "([^"]+)"')
# A function's first line as clang-format writes it: not indented, or that of a member inside its class.
FUNCTION = re.compile(r"^( {0,8})(?![ #/}])(?!(?:if|for|while|switch|else|do|return|namespace|catch|try)\b)[^=\[]*\(.*$")
ONE_LINE = re.compile(r"\{.*\}\s*$")


def rank_of(plan, folder):
    return next((rank for rank, folders in enumerate(plan) if folder in folders), None)


def check_arrows(root, top, plan, files):
    complaints = []
    for file in files:
        own = file.relative_to(root / top).parts[0]
        if rank_of(plan, own) is None:
            complaints.append(f"{file.relative_to(root)}: the plan does not know this folder")
            continue
        for number, line in enumerate(file.read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            other = match and match[1].removeprefix(top + "/").split("/")[0]
            if not match or other == own or rank_of(plan, other) is None:
                continue
            if rank_of(plan, other) >= rank_of(plan, own):
                complaints.append(f"{file.relative_to(root)}:{number}: {own} does not include {other}: {line.strip()}")
    return complaints


def check_circles(root, top, files):
    includes = {}
    for file in files:
        found = [INCLUDE.match(line) for line in file.read_text().splitlines()]
        paths = [root / top / match[1].removeprefix(top + "/") for match in found if match]
        includes[file] = [path for path in paths if path in files and path != file]
    complaints, done = [], set()

    def visit(file, way):
        if file in way:
            circle = way[way.index(file):] + [file]
            complaints.append("a circle: " + " -> ".join(str(path.relative_to(root)) for path in circle))
            return
        if file in done:
            return
        for other in includes[file]:
            visit(other, way + [file])
        done.add(file)

    for file in files:
        visit(file, [])
    return complaints


def functions(text):
    """The line and the number of lines of each function."""
    lines = text.splitlines()
    number = 0
    while number < len(lines):
        match = FUNCTION.match(lines[number])
        if not match:
            number += 1
            continue
        head = number
        while head < len(lines) and not lines[head].rstrip().endswith(("{", ";", "}")):
            head += 1
        if head >= len(lines) or lines[head].rstrip().endswith(";"):
            number = head + 1
            continue
        if ONE_LINE.search(lines[head]):
            yield number + 1, head - number + 1
            number = head + 1
            continue
        end = head + 1
        while end < len(lines) and not re.match(rf"^{match[1]}\}}", lines[end]):
            end += 1
        yield number + 1, end - number + 1
        number = end + 1


def check_sizes(root, files):
    complaints, sources, bodies = [], [], []
    for file in files:
        text, name = file.read_text(), file.relative_to(root)
        length = len(text.splitlines())
        sources.append(length)
        longest = LONGEST_HEADER if file.suffix == ".h" else LONGEST_FILE
        if length > longest:
            complaints.append(f"{name}: {length} lines, {longest} at most")
        for line, size in functions(text):
            bodies.append(size)
            if size > LONGEST_FUNCTION:
                complaints.append(f"{name}:{line}: a function of {size} lines, {LONGEST_FUNCTION} at most")
    figures = []
    for what, sizes, most in (("files", sources, MEDIAN_FILE), ("functions", bodies, MEDIAN_FUNCTION)):
        median = statistics.median(sizes)
        figures.append(f"{len(sizes)} {what}: median {median:g} lines, longest {max(sizes)}")
        if median > most:
            complaints.append(f"{what}: median {median:g} lines, {most} at most")
    return complaints, figures


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    complaints = []
    for top, plan in PLANS.items():
        files = sorted(path for path in (root / top).rglob("*") if path.suffix in (".h", ".cpp"))
        complaints += check_arrows(root, top, plan, files) + check_circles(root, top, files)
        sizes, figures = check_sizes(root, files)
        complaints += sizes
        for figure in figures:
            print(f"{top}: {figure}")
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
