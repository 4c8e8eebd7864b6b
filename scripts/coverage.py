"""Sums up gcov's JSON, a line for each object: coverage by file, and the branches that no object has taken.

A file that is compiled for several instruction sets, or a template that exists for several types, has a line or branch several
times; it counts as taken if it is taken in every set's copy together, that is in any of them.
"""

import json
import os
import sys
from collections import defaultdict


def reasons_of(path: str) -> dict[tuple[str, str], str]:
    """By file and code of the line."""
    found = {}
    with open(path) as stream:
        for text in stream:
            if text.strip() and not text.startswith("#"):
                file, rest = text.strip().split(": ", 1)
                code, reason = rest.split(" ## ", 1)
                found[(file, code)] = reason
    return found


def main(source: str, root: str, report: str) -> None:
    lines: dict[tuple[str, int], int] = defaultdict(int)
    branches: dict[tuple[str, int], list[int]] = {}
    with open(source) as stream:
        for text in stream:
            for file in json.loads(text)["files"]:
                path = os.path.relpath(os.path.join(root, file["file"]), root)
                if path.startswith("..") or path.startswith(("tests", "build")):
                    continue
                for line in file["lines"]:
                    key = (path, line["line_number"])
                    lines[key] += line["count"]
                    taken = [b["count"] for b in line["branches"] if not b["throw"]]
                    known = branches.setdefault(key, [])
                    if len(known) == len(taken):
                        branches[key] = [a + b for a, b in zip(known, taken)]
                    elif len(taken) > len(known):  # another instance of a template, with more of the line left
                        branches[key] = taken
    totals: dict[str, list[int]] = defaultdict(lambda: [0, 0, 0, 0])
    missed, unexplained = [], []
    reasons = reasons_of(os.path.join(os.path.dirname(os.path.abspath(__file__)), "coverage_reasons.txt"))
    stale = set(reasons)
    for (path, number), count in sorted(lines.items()):
        total, taken = totals[path], branches[(path, number)]
        total[0] += 1
        total[1] += count > 0
        total[2] += len(taken)
        total[3] += sum(b > 0 for b in taken)
        if count == 0 or not all(taken):
            with open(os.path.join(root, path)) as stream:
                text = stream.read().splitlines()[number - 1].strip()
            place = f"{path}:{number}: {sum(b == 0 for b in taken)} of {len(taken)} branches, run {count} times: {text}"
            stale.discard((path, text))
            missed.append(f"{place}\n    {reasons.get((path, text), 'no reason known')}")
            if (path, text) not in reasons:
                unexplained.append(place)
    with open(report, "w") as stream:
        stream.write("\n".join(missed) + "\n")
    everything = [sum(column) for column in zip(*totals.values())]
    for path, total in [*sorted(totals.items()), ("all", everything)]:
        print(f"{path:44} lines {total[1]:5} of {total[0]:5}   branches {total[3]:5} of {total[2]:5}")
    print(f"{len(missed)} lines with branches that nothing takes, {len(unexplained)} of them without a reason: {report}")
    print("\n".join(unexplained), end="\n" if unexplained else "")
    for path, code in sorted(stale):
        print(f"a reason for a line that isn't missed, or isn't there: {path}: {code}")
    sys.exit(1 if unexplained or stale else 0)


main(*sys.argv[1:])
