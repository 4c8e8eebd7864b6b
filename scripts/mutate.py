#!/usr/bin/python3
"""Changes the library in one place at a time and tells which changes no test sees.

  scripts/mutate.py [--count N] [--seed S] [--report FILE] [PATTERN...]   e.g. scripts/mutate.py --count 200 sh/ prresize/
  scripts/mutate.py --each 5                      five of every folder
  scripts/mutate.py --place psah_bins.cpp:169     all of one line

A mutant is one operator, comparison, constant or order of a .cpp file of the library turned into another. Its objects are compiled as
build/release does it and linked with the others into a library of its own; the programs of build/release/bin then run against that
one: first the table of hashes, with both instruction sets, then the tests of the folder, then the sweep of arguments. Needs a built
release preset (scripts/test.sh release). Nothing in the sources changes.

Tests of private names are linked anew. Headers aren't mutated.
"""

import argparse
import json
import os
import random
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "release")
OUT_OF_TIME = 124
TESTED_ELSEWHERE = {"volume": ["volume", "prwarpa", "prremap"]}  # folders whose users test them
CHANGES = [
    (r"(?<=[\w)\]]) \+ (?=[\w(])", " - "),
    (r"(?<=[\w)\]]) - (?=[\w(])", " + "),
    (r"(?<=[\w)\]]) \* (?=[\w(])", " + "),
    (r"(?<=[\w)\]]) / (?=[\w(])", " * "),
    (r"(?<=[\w)\]]) < (?=[\w(])", " <= "),
    (r"(?<=[\w)\]]) > (?=[\w(])", " >= "),
    (r" <= ", " < "),
    (r" >= ", " > "),
    (r" == ", " != "),
    (r" != ", " == "),
    (r" && ", " || "),
    (r" \|\| ", " && "),
    (r"(?<![\w.])0(?![\w.])", "1"),
    (r"(?<![\w.])1(?![\w.])", "2"),
    (r"(?<![\w.])4(?![\w.])", "3"),
    (r"\+\+", "--"),
]


def mutants(paths: list[str]) -> list[tuple[str, int, int, str]]:
    """(file, start, end, replacement) for each place that can be changed; comments, includes and assertions are left out."""
    found = []
    for path in paths:
        with open(os.path.join(ROOT, path)) as stream:
            text = stream.read()
        offset = 0
        for line in text.splitlines(keepends=True):
            code = line.split("//")[0]
            if not code.lstrip().startswith(("#", "/*", "*", "template", "static_assert", "assert")):
                for pattern, replacement in CHANGES:
                    for match in re.finditer(pattern, code):
                        found.append((path, offset + match.start(), offset + match.end(), replacement))
            offset += len(line)
    return found


def line_of(mutant: tuple[str, int, int, str]) -> int:
    with open(os.path.join(ROOT, mutant[0])) as stream:
        return stream.read().count("\n", 0, mutant[1]) + 1


def run(arguments: list[str], **keywords) -> int:
    try:
        return subprocess.run(arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=600, **keywords).returncode
    except subprocess.TimeoutExpired:
        return OUT_OF_TIME


def how(status: int) -> str:
    """What is told of a kill: on a busy machine patience may end for other reasons than a mutant's."""
    return " (no end)" if status == OUT_OF_TIME else ""


class Trial:
    def __init__(self) -> None:
        with open(os.path.join(BUILD, "compile_commands.json")) as stream:
            commands = json.load(stream)
        for command in commands:  # older CMakes don't tell it apart
            words = shlex.split(command["command"])
            command["output"] = words[words.index("-o") + 1]
        self.commands = [c for c in commands if "CMakeFiles/vekre9_" in c["output"] and "private" not in c["output"]]
        self.programs = os.listdir(os.path.join(BUILD, "bin"))

    def files(self) -> list[str]:
        return sorted({os.path.relpath(c["file"], ROOT) for c in self.commands})

    def outcome(self, mutant: tuple[str, int, int, str]) -> str:
        path, start, end, replacement = mutant
        with open(os.path.join(ROOT, path)) as stream:
            text = stream.read()
        with tempfile.TemporaryDirectory() as folder:
            source = os.path.join(folder, os.path.basename(path))
            with open(source, "w") as stream:
                stream.write(text[:start] + replacement + text[end:])
            objects = {}
            for command in self.commands:
                objects[command["output"]] = os.path.join(BUILD, command["output"])
                if os.path.relpath(command["file"], ROOT) != path:
                    continue
                words = [w for w in shlex.split(command["command"]) if w not in ("-Werror", "-Wall", "-Wextra")]
                words[words.index("-o") + 1] = objects[command["output"]] = os.path.join(folder, f"{len(objects)}.o")
                words[words.index("-c") + 1] = source
                words.insert(1, "-I" + os.path.dirname(os.path.join(ROOT, path)))
                if run(words, cwd=command["directory"]) != 0:
                    return "not compiled"
            library = os.path.join(folder, "libvekre9.so.6.1")
            link = ["gcc", "-shared", "-fopenmp", "-o", library, "-Wl,-soname,libvekre9.so.6.1", "-Wl,--as-needed", *objects.values(),
                    "-L" + os.path.join(BUILD, "lib"), "-lvekcore", "-lm", "-Wl,-rpath," + os.path.join(BUILD, "lib")]
            if run(link) != 0:
                return "not linked"
            return self.tested(path, folder, list(objects.values()))

    def private(self, test: str, folder: str, objects: list[str]) -> str | None:
        """A test of private names, linked to an archive with the mutant in it."""
        commands = subprocess.run(["ninja", "-t", "commands", "vekr_" + test], cwd=BUILD, capture_output=True, text=True)
        archive, program = os.path.join(folder, "private.a"), os.path.join(folder, test)
        words = shlex.split(commands.stdout.splitlines()[-1])
        words = [archive if os.path.basename(word) == "libvekre9_private.a" else word for word in words if word not in (":", "&&")]
        words[words.index("-o") + 1] = program
        if not os.path.exists(archive) and run(["ar", "qcs", archive, *objects]) != 0:
            return None
        return program if run(words, cwd=BUILD) == 0 else None

    def tested(self, path: str, folder: str, objects: list[str]) -> str:
        everywhere = dict(os.environ, LD_LIBRARY_PATH=folder)
        narrow = dict(everywhere, GLIBC_TUNABLES="glibc.cpu.hwcaps=-AVX2")
        table = [os.path.join(BUILD, "bin", "hashes"), "--strict", "--check", os.path.join(ROOT, "tests/hashes/table.txt")]
        for environment in (everywhere, narrow):
            if status := run(table, env=environment):
                return "killed by hashes" + how(status)
        text = ""
        folder_of_file = path.split("/")[0]
        for tests in TESTED_ELSEWHERE.get(folder_of_file, [folder_of_file]):
            listed = os.path.join(ROOT, "tests", tests, "CMakeLists.txt")
            if os.path.exists(listed):
                with open(listed) as stream:
                    text += stream.read()
        for test in [*re.findall(r"vekr_(?:private_)?test\((\w+)", text), "arguments_test"]:
            program: str | None = os.path.join(BUILD, "bin", test)
            if test in self.programs and f"vekr_private_test({test} " in text:
                program = self.private(test, folder, objects)
            for environment in (everywhere, narrow):
                if program and os.path.exists(program) and (status := run([program], env=environment)):
                    return f"killed by {test}{how(status)}"
        return "survived"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--report", default=os.path.join(ROOT, "build", "mutants.txt"))
    parser.add_argument("--each", type=int, help="so many of every folder, instead of --count of all")
    parser.add_argument("--place", action="append", help="FILE:LINE: all mutants of this line")
    parser.add_argument("patterns", nargs="*")
    options = parser.parse_args()
    trial = Trial()
    paths = [p for p in trial.files() if not options.patterns or any(pattern in p for pattern in options.patterns)]
    if not paths:
        sys.exit("no file of the library matches")
    places = mutants(paths)
    chooser = random.Random(options.seed)
    if options.place:
        chosen = [place for place in places if any(f"{place[0]}:{line_of(place)}".endswith(wanted) for wanted in options.place)]
    elif options.each:
        chosen = []
        for folder in sorted({path.split("/")[0] for path in paths}):
            here = [place for place in places if place[0].split("/")[0] == folder]
            chosen += chooser.sample(here, min(options.each, len(here)))
    else:
        chosen = chooser.sample(places, min(options.count, len(places)))
    killed = survived = 0
    with open(options.report, "w") as report:
        for path, start, end, replacement in chosen:
            outcome = trial.outcome((path, start, end, replacement))
            killed += outcome.startswith("killed")
            survived += outcome == "survived"
            with open(os.path.join(ROOT, path)) as stream:
                text = stream.read()
            number = line_of((path, start, end, replacement))
            line = text.splitlines()[number - 1].strip()
            print(f"{outcome}: {path}:{number}: '{text[start:end].strip()}' to '{replacement.strip()}' in: {line}", file=report, flush=True)
    print(f"{len(places)} places in {len(paths)} files; {len(chosen)} tried: {killed} killed, {survived} survived, "
          f"{len(chosen) - killed - survived} no program; see {options.report}")


if __name__ == "__main__":
    main()
