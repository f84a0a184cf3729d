#!/usr/bin/env python3
"""Checks how the tree is laid out: who includes whom, and that no file is forgotten.

Prints one line for each finding, "file:line: what is wrong", and exits 1 if there was any.
"""

import os
import re
import subprocess
import sys

# The house, lowest floor first. A file includes only files of its own folder and of folders before it.
# Folders on one line are neighbours that do not know each other. A subfolder belongs to the nearest one listed.
HOUSE = [
    ["software/include"],
    ["software/utility"],
    ["software/jsonrpc"],
    ["cep"],
    ["software/bp/status"],
    ["software/bp/security"],
    ["software/bp/serial"],
    ["software/bp/rtl"],
    ["software/bp/rtl/fpga"],
    ["software/bp/hwlogic/Core4CodecLib"],
    ["software/bp/hwlogic"],
    ["software/bp/c4j"],
    ["simulator"],
    ["apps"],
    ["apps/lanternctl", "apps/lanternd"],
]

# These stand beside the house and look into every room; nobody in the house knows them.
BESIDE = ["tests", "bench", "fuzz"]

# A project of its own, which sees an installed Lantern.
APART = ["examples"]

FLOOR = {folder: floor for floor, folders in enumerate(HOUSE) for folder in folders}
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def place(path, folders):
    """The nearest of the folders that holds the path, or None."""
    holding = [folder for folder in folders if path.startswith(folder + "/")]
    return max(holding, key=len, default=None)


def includes(path):
    with open(path, encoding="utf-8") as source:
        for number, line in enumerate(source, 1):
            match = INCLUDE.match(line)
            if match:
                yield number, match[1] == '"', match[2]


def check_includes(files):
    """Every include is written from the root, and goes down or stays in its folder."""
    known = set(files)
    for path in files:
        here = place(path, FLOOR)
        if not here and not place(path, BESIDE):
            yield f"{path}:1: this folder has no place in the house (HOUSE in tools/check_house.py)"
            continue
        for number, quoted, name in includes(path):
            where = f"{path}:{number}"
            if name not in known:
                if quoted and not os.path.exists(name + ".in"):  # a template, filled when the build is configured
                    yield f'{where}: "{name}" is no file of the tree; includes are written from its root'
                continue
            if not quoted:
                yield f'{where}: <{name}> is a file of the tree: "{name}"'
            there = place(name, FLOOR)
            if not here or here == there:
                continue
            if not there:
                yield f"{where}: {name} stands beside the house; {here} must not know it"
            elif FLOOR[there] >= FLOOR[here]:
                yield f"{where}: {here} includes {name}; {there} does not come before it in the house"


def check_cycles(files):
    """No header reaches itself again."""
    known = set(files)
    edges = {path: [(n, name) for n, _, name in includes(path) if name in known] for path in files}
    done = set()

    def walk(path, trail):
        trail = trail + [path]
        for number, name in edges[path]:
            if name in trail:
                yield f"{path}:{number}: includes in a circle: {' > '.join(trail[trail.index(name):] + [name])}"
            elif name not in done:
                yield from walk(name, trail)
        done.add(path)

    for path in files:
        if path not in done:
            yield from walk(path, [])


def check_listed(files):
    """Every source is named in the CMakeLists.txt of its folder or of one above it."""
    texts = {}

    def text_of(folder):
        if folder not in texts:
            name = os.path.join(folder, "CMakeLists.txt")
            with open(name, encoding="utf-8") if os.path.exists(name) else open(os.devnull) as build_file:
                texts[folder] = set(re.sub(r"#.*", "", build_file.read()).replace("(", " ").replace(")", " ").split())
        return texts[folder]

    for path in files:
        if not path.endswith(".cpp"):
            continue
        folder = os.path.dirname(path)
        while folder and os.path.relpath(path, folder) not in text_of(folder):
            folder = os.path.dirname(folder)
        if not folder:
            yield f"{path}:1: no CMakeLists.txt names this file"


def check_headers(files):
    """Every header is guarded, and a source includes its own header first (that proves the header complete)."""
    known = set(files)
    for path in files:
        if path.endswith(".h"):
            with open(path, encoding="utf-8") as header:
                if not any(line.rstrip("\n") == "#pragma once" for line in header):
                    yield f"{path}:1: #pragma once is missing"
        elif path[:-4] + ".h" in known:
            first = next(includes(path), (1, True, ""))
            if first[2] != path[:-4] + ".h":
                yield f"{path}:{first[0]}: its own header comes first"


def main():
    os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.h", "*.cpp"],
        check=True, capture_output=True, text=True).stdout.split("\n")
    files = sorted(path for path in set(listed) if path and os.path.exists(path) and not place(path, APART))
    if not files:
        sys.exit("check_house: there is no source here")
    findings = [finding for check in (check_includes, check_cycles, check_listed, check_headers)
                for finding in check(files)]
    for finding in findings:
        print(finding)
    print(f"house: {len(files)} files, {len(findings)} findings")
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
