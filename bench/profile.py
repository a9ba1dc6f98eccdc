#!/usr/bin/env python3
"""Sums up a callgrind file by library: prints each with its share of all instructions in percent, the largest first."""

import re
import sys
from collections import Counter
from pathlib import Path

LEAST = 0.5  # percent; what has less is one line
PRODUCT = "plug-in and platform"  # linked into the program


def costs(path):
    """Own instructions by object file. A line behind "calls=" is the callee's and does not count."""
    names, sums = {}, Counter()
    current, is_call = "", False
    for line in path.read_text(errors="replace").splitlines():
        found = re.match(r"ob=\((\d+)\)(?: (.*))?", line)
        if found:
            number, name = found.groups()
            names.setdefault(number, name)
            current = names[number]
        elif re.match(r"cob=\((\d+)\) ", line):
            number, name = re.match(r"cob=\((\d+)\) (.*)", line).groups()
            names.setdefault(number, name)
        elif line.startswith("calls="):
            is_call = True
        elif re.match(r"[+\-*\d]", line) and len(line.split()) == 2:
            if not is_call:
                sums[current] += int(line.split()[1])
            is_call = False
    return sums


def main():
    by_name = Counter()
    for path, cost in costs(Path(sys.argv[1])).items():
        name = re.sub(r"\.so.*", "", Path(path or "?").name)
        by_name[PRODUCT if name.startswith("bench_") else name] += cost
    total = sum(by_name.values()) or 1
    shares = [(name, 100 * cost / total) for name, cost in by_name.most_common()]
    shown = [(name, share) for name, share in shares if share >= LEAST or name == PRODUCT]
    for name, share in [*shown, ("all others", 100 - sum(share for _, share in shown))]:
        print(f'"{name}" {share:.2f}')


if __name__ == "__main__":
    main()
