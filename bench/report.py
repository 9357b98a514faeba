# SPDX-License-Identifier: MIT
"""Prints the tables of scripts/bench, or the lines of scripts/bench --check, from what it has measured."""
import collections
import glob
import json
import os
import statistics
import sys

logs, results_file, mode = sys.argv[1:]

counts = collections.defaultdict(dict)
for text in open(os.path.join(logs, "counts")):
    key, _, value = text.rstrip("\n").partition(" ")
    kind, _, name = key.partition("/")
    counts[kind][name] = value if kind == "calls" or name == "opened_twice" else float(value)
for kind in "instructions", "arm":
    loop = counts[kind].pop("nothing")
    for name in counts[kind]:
        if "/" not in name:
            counts[kind][name] = round(counts[kind][name] - loop, 1)
for kind in "calls", "allocations":
    del counts[kind]["nothing"]


def quartiles(values):
    return [round(value, 3) for value in statistics.quantiles(values, n=4)]


def times(file):
    """{round: {attribute: {way: nanoseconds per call}}}"""
    rounds = collections.defaultdict(lambda: collections.defaultdict(dict))
    for run in json.load(open(file))["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{file}: {run['name']} failed")
        number, attribute, way = run["name"].split("/")[:3]
        rounds[int(number)][attribute][way] = run["real_time"]
    return rounds


ratios = collections.defaultdict(dict)
threads = None
for file in sorted(glob.glob(os.path.join(logs, "*.json"))):
    place = os.path.basename(file)[: -len(".json")]
    rounds = times(file)
    within = collections.defaultdict(list)
    together = []
    for attributes in rounds.values():
        for attribute, ways in attributes.items():
            if attribute.startswith("threads"):
                continue
            for way in ways:
                if way != "floor":
                    within[f"{attribute}/{way}"].append(ways[way] / ways["floor"])
        if "threads2" in attributes:
            one, two = attributes["threads1"], attributes["threads2"]
            gain = {way: one[way] / two[way] for way in one}
            together.append(gain["backlight_get"] / gain["floor"])
    ratios[place] = {name: quartiles(values) for name, values in within.items()}
    if together:
        threads = quartiles(together)

json.dump({"ratios": ratios, "threads": threads, **counts}, open(results_file, "w"), indent=1, sort_keys=True)

reads = ["line/io_get", "brightness/backlight_get", "zone/thermal_state_get"]
peers = ["line/ifstream", "line/fscanf", "hwmon/libsensors", "iio/libiio", "line/sd-device"]
ours_written, peers_written = "output/io_set", ["output/ofstream", "output/fprintf"]
per_line = {int(n): (total - counts["list"]["0"]) / int(n) for n, total in counts["list"].items() if n != "0"}
added = counts["load"]["velmor"] / counts["load"]["empty"] - 1


def tables():
    for place, names in ratios.items():
        print(f"\ntime relative to open, read (or write), close by hand on the same file, {place}:"
              " lower quartile, median, upper")
        for name in reads + peers + [ours_written] + peers_written:
            if name in names:
                print("  %-28s %6.2f %6.2f %6.2f" % (name.split("/")[1], *names[name]))
    print("\nper call             x86-64 instructions  ARM instructions  allocations  system calls")
    for name, calls in counts["calls"].items():
        arm = counts["arm"].get(name)
        number, shown = len(calls.split()), calls if len(calls.split()) <= 5 else ""
        print("  %-25s %13.0f %17s %12.0f %6d  %s" % (name, counts["instructions"][name], "-" if arm is None else "%.0f" % arm,
                                                     counts["allocations"][name], number, shown))
    print("\nlibrary        stripped bytes  relocations  imported symbols")
    for name in counts["size"]:
        print("  %-12s %14d %12d %17d" % (name, counts["size"][name], counts["relocations"][name], counts["imported"][name]))
    print("\ninstructions to load and end an empty C++ program: %d, with the library %d (%+.1f %%)"
          % (counts["load"]["empty"], counts["load"]["velmor"], 100 * added))
    print("start: %d system calls; opened twice in the same way: %s"
          % (counts["start"]["calls"], counts["start"]["opened_twice"] or "none"))
    print("MRFI lists, instructions per connection and device: "
          + ", ".join("%d lines %.0f" % item for item in sorted(per_line.items())))
    print("gain of two threads over one, relative to the floor's gain: %.3f %.3f %.3f" % tuple(threads))


failed = 0


def check(text, holds, measured):
    global failed
    failed += not holds
    print("%-7s %s: %s" % ("holds" if holds else "FAILS", text, measured))


def checks():
    calls, allocations = counts["calls"], counts["allocations"]
    check("reading a number takes openat, read, close",
          calls["io_get"] == calls["backlight_get"] == "openat read close", calls["backlight_get"])
    check("writing a number takes openat, write, close",
          calls["io_set"] == calls["backlight_set"] == "openat write close", calls["io_set"])
    check("thermal_state_get takes 15 system calls", calls["thermal_state_get"] == " ".join(["openat read close"] * 5),
          len(calls["thermal_state_get"].split()))
    check("platform_info_get takes openat, read, close of 30 files",
          calls["platform_info_get"] == " ".join(["openat read close"] * 30), len(calls["platform_info_get"].split()))
    for name in "io_get", "io_set", "backlight_get", "backlight_set", "thermal_state_get", "platform_info_get":
        check(f"{name} allocates nothing", allocations[name] == 0, "%g" % allocations[name])
    real = ratios["sysfs"]
    for name in reads + [ours_written]:
        check(f"{name.split('/')[1]} takes at most 1.05 times as long as the floor on sysfs", real[name][1] <= 1.05,
              "%.3f" % real[name][1])
    for name, attributes, x86_64, arm in (("io_get", 1, 700, 1000), ("io_set", 1, 700, 1000), ("backlight_get", 1, 900, 1200),
                                          ("backlight_set", 1, 900, 1200), ("thermal_state_get", 5, 800, 1100)):
        for where, kind, most in ("x86-64", "instructions", x86_64), ("ARM", "arm", arm):
            value = counts[kind][name] / attributes
            check(f"{name} takes at most {most} instructions per attribute on {where}", value <= most, "%.0f" % value)
    for place, names in ratios.items():
        for group, others in (reads, peers), ([ours_written], peers_written):
            slowest = max(names[name][1] for name in group if name in names)
            for other in others:
                if other in names:
                    check(f"faster than {other.split('/')[1]} on {place}", slowest < names[other][1],
                          "%.3f against %.3f" % (slowest, names[other][1]))
    for name, most in ("wifi_present", 250), ("gps_info_get", 350):
        value = counts["instructions"][name]
        check(f"{name} takes at most {most} instructions and no system call", value <= most and not calls[name],
              "%.0f" % value)
    check("the start's system calls are those in bench/start.txt", counts["start"]["as_listed"] == 1,
          int(counts["start"]["calls"]))
    # After the period is set, it is read again to set the duty.
    twice = counts["start"]["opened_twice"]
    check("only the PWM's period is read twice", twice == "/sys/devices/platform/mxc_pwm.1/period", twice)
    check("the stripped armhf library is at most 64 KiB", counts["size"]["armhf"] <= 64 * 1024, "%d bytes" % counts["size"]["armhf"])
    check("loading it adds less than 15 % to an empty C++ program", added < 0.15,
          "%.1f %%, %d relocations, %d imported symbols" % (100 * added, counts["relocations"]["x86-64"], counts["imported"]["x86-64"]))
    check("instructions per line of a list are the same from 10 to 100,000 lines, within 10 %",
          max(per_line.values()) <= 1.1 * min(per_line.values()),
          "%.0f to %.0f" % (min(per_line.values()), max(per_line.values())))
    check("two threads gain at least 0.95 times what they gain at the floor", threads[1] >= 0.95, "%.3f" % threads[1])


if mode == "--check":
    checks()
    sys.exit(1 if failed else 0)
tables()
