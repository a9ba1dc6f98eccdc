#!/usr/bin/env python3
"""Prints what tools/bench has measured as a table, and leaves the data of its picture. One argument: the folder."""

import json
import sys
from pathlib import Path

# What is measured, the least that could do it, and the goal for the ratio of the two.
PAIRS = [
    ("menuMain", "menuFloor", 1.25),
    ("menuSub", "menuFloor", 1.25),
    ("eventDirect", "eventFloorDirect", 1.5),
    ("eventQueued", "eventFloorQueued", 1.5),
    ("windowOpen", "windowFloor", 1.3),
    ("codecDecodeCommands", "codecFloorCommands", 25),
    ("codecEncodeCommands", "codecFloorCommands", 25),
    ("codecDecodeResponses", "codecFloorResponses", 25),
    ("codecEncodeResponses", "codecFloorResponses", 25),
    ("pcscChannel", "pcscFloor", 1.5),
]
LIMITS = {"logOff": 5e-9}  # seconds
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
PROGRAMS = ("menu", "event", "log", "window", "codec", "exchange", "library", "pcsc")
BYTES = "bytes_per_second"


def read(folder):
    """The fastest runs by name: a pair of seconds and the other counters. What slows a run comes from outside."""
    fastest = {}
    for name in PROGRAMS:
        path = folder / f"{name}.json"
        if not path.exists():
            continue
        for entry in json.loads(path.read_text(encoding="utf-8"))["benchmarks"]:
            if entry["run_type"] != "iteration":
                continue
            # Where a window system or another thread takes part, the time that has passed is what counts.
            clock = "real_time" if "_time" in entry["run_name"] else "cpu_time"
            seconds = entry[clock] * UNITS[entry["time_unit"]]
            if BYTES in entry:
                seconds /= entry["items_per_second"] * entry["cpu_time"] * UNITS[entry["time_unit"]]
            plain = entry["run_name"].replace("/manual_time", "").replace("/real_time", "")
            if plain not in fastest or seconds < fastest[plain][0]:
                fastest[plain] = (seconds, entry)
    return fastest


def in_words(seconds):
    for unit, factor in UNITS.items():
        if seconds < 1000 * factor:
            return f"{seconds / factor:.4g} {unit}"
    return f"{seconds:.4g} s"


def floor_of(name):
    base, _, arguments = name.partition("/")
    for measured, floor, goal in PAIRS:
        if measured == base:
            return (f"{floor}/{arguments}" if arguments else floor), goal
    return None, None


def further(entry):
    words = []
    if BYTES in entry:
        words.append(f"{entry[BYTES] / 2**20:.0f} MiB/s")
    if "allocations" in entry:
        words.append(f"{entry['allocations']:.2f} allocations")
    return ", ".join(words)


def in_order(name):
    """The order of the programs' sources, whatever the order of the runs was; sizes by their number."""
    base, *arguments = name.split("/")
    bases = list(dict.fromkeys(kind for measured, floor, _ in PAIRS for kind in (floor, measured)))
    place = bases.index(base) if base in bases else len(bases)
    return place, base, [int(argument.split(":")[1]) for argument in arguments]


def rows(fastest):
    """Name, time, ratio, goal, more; and the share of the goal."""
    for name in sorted(fastest, key=in_order):
        seconds, entry = fastest[name]
        floor, goal = floor_of(name)
        ratio = seconds / fastest[floor][0] if floor in fastest else None
        share = ratio / goal if ratio else seconds / LIMITS[name] if name in LIMITS else None
        goal_text = f"{goal:g}" if ratio else in_words(LIMITS[name]) if name in LIMITS else ""
        yield (name, in_words(seconds), f"{ratio:.2f}" if ratio else "", goal_text, further(entry)), share


def write_growth(folder, fastest):
    with (folder / "growth.dat").open("w", encoding="utf-8") as out:
        for items in (1, 16, 64, 255):
            keys = [f"{kind}/items:{items}/characters:40" for kind in ("menuFloor", "menuMain", "menuSub")]
            if all(key in fastest for key in keys):
                print(items, *(fastest[key][0] * 1e6 for key in keys), file=out)


def main():
    folder = Path(sys.argv[1])
    fastest = read(folder)
    line = "{:<40} {:>10} {:>7} {:>6}  {}"
    print(line.format("the fastest run of one", "time", "ratio", "goal", "").rstrip())
    with (folder / "ratios.dat").open("w", encoding="utf-8") as ratios:
        for row, share in rows(fastest):
            print(line.format(*row).rstrip())
            if share:
                label = row[0].replace("items:", "").replace("characters:", "")
                print(f'"{label}" {100 * share:.1f}', file=ratios)
    write_growth(folder, fastest)
    idle = folder / "idle.txt"
    if idle.exists():
        for text in idle.read_text(encoding="utf-8").splitlines():
            name, value, unit = text.split()
            print(line.format(name, f"{value} {unit}", "", "", "").rstrip())


if __name__ == "__main__":
    main()
