#!/usr/bin/env python3
"""fuzz.py [--minutes N] [--seed K]: the native fuzzers, then the product under Wine, each for half of the time (2 minutes
in all unless said otherwise). Needs the built test programs. Stops at the first input that fails and says where it is.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = ROOT / "build" / "mingw" / "bin"
FOLDER = ROOT / "build" / "fuzz" / "runtime"
# Test and inputs per turn: turns take a few seconds each.
TURNS = {
    "FuzzWmi.OneTextOfAnyValue": 20000,
    "FuzzWmi.OneNumberOfAnyValue": 20000,
    "FuzzWmi.WholeReadingOfAnyValues": 5000,
    "FuzzBuildFile.AnyBytes": 1500,
    "FuzzLog.AnyContentsOfTheFile": 400,
    "FuzzLog.AnyOldFiles": 300,
    "FuzzLog.AnyPolicyValue": 10000,
    "FuzzCommandLine.AnyArguments": 100,
    "FuzzWire.AnyRequest": 1500,
}


SCRIPT = str(ROOT / "testbed/prefix.sh")


def environment_of_testbed():
    # What stays running in the testbed keeps the output open.
    subprocess.run([SCRIPT, "up", "fuzz", "no-framework"], check=True, stdout=subprocess.DEVNULL)
    variables = subprocess.run([SCRIPT, "env", "fuzz"], check=True, text=True, stdout=subprocess.PIPE).stdout
    environment = dict(os.environ)
    environment.update(re.findall(r"(\w+)=(\S+)", variables))
    for name in ("DISPLAY", "WAYLAND_DISPLAY"):
        environment.pop(name, None)
    environment["HOTKEY_FUZZ_FOLDER"] = "Z:" + str(FOLDER / "input").replace("/", "\\")
    return environment


def turn(test, first, inputs, seed, environment):
    program = "wire_fuzz_tests" if test.startswith("FuzzWire") else "runtime_fuzz_tests"
    settings = {"HOTKEY_FUZZ_SEED": str(seed), "HOTKEY_FUZZ_FIRST": str(first), "HOTKEY_FUZZ_INPUTS": str(inputs)}
    with open(FOLDER / "output.txt", "w+", encoding="utf-8", errors="replace") as output:
        try:
            code = subprocess.run(["/usr/lib/wine/wine64", str(BIN / f"{program}.exe"), f"--gtest_filter={test}"],
                                  env=environment | settings, stdin=subprocess.DEVNULL, stdout=output,
                                  stderr=subprocess.STDOUT, timeout=600, check=False).returncode
        except subprocess.TimeoutExpired:
            code = "none after 10 minutes"
        output.seek(0)
        text = output.read()
    if code != 0:
        sys.exit(f"{text[-3000:]}\n{test}: exit code {code}. The input is in {FOLDER.relative_to(ROOT)}; again:\n"
                 + " ".join(f"{name}={value}" for name, value in settings.items()) + f" {program}.exe "
                 f"--gtest_filter={test}")


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--minutes", type=float, default=2)
    arguments.add_argument("--seed", type=int, default=int(time.time()) % 100000)
    arguments.add_argument("--runtime-only", action="store_true")
    options = arguments.parse_args()
    if not options.runtime_only:
        subprocess.run([sys.executable, "-B", str(ROOT / "tests/fuzz/native.py"), "--minutes",
                        str(options.minutes / 2)], check=True)
    FOLDER.mkdir(parents=True, exist_ok=True)
    environment = environment_of_testbed()
    tried = dict.fromkeys(TURNS, 0)
    try:
        end = time.monotonic() + options.minutes * 30
        while time.monotonic() < end:
            for test, inputs in TURNS.items():
                turn(test, tried[test], inputs, options.seed, environment)
                tried[test] += inputs
    finally:
        subprocess.run([SCRIPT, "down", "fuzz"], check=False)
    for test, count in tried.items():
        print(f"{test:34} {count:>8} inputs")
    print(f"{'all, seed ' + str(options.seed):34} {sum(tried.values()):>8} inputs")


if __name__ == "__main__":
    main()
