#!/usr/bin/env python3
"""native.py [--minutes N | --inputs N] [--seed K] [FUZZER ...]: builds the native fuzzers with clang into build/fuzz and
runs them, all in turn. Prints one line per fuzzer and the sum; an input that breaks a property, crashes or hangs ends
the run and stays in build/fuzz/found.

Without --minutes the runs are bounded and start from nothing, so the same seed gives the same inputs. With --minutes
what was found to lead further is kept in build/fuzz/corpus.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "fuzz"
# Share of the inputs: a SysInfoText input matches a regular expression, a UsbCText input is a few numbers.
SHARES = {"UsbCText": 24, "LogReader": 26, "ClientText": 22, "LogLine": 14, "WideFormat": 10, "SysInfoText": 4}
TIMEOUT_SECONDS = 20


def build():
    if not (BUILD / "build.ninja").exists():
        BUILD.mkdir(parents=True, exist_ok=True)
        subprocess.run(["cmake", "-S", str(ROOT / "tests/fuzz/native"), "-B", str(BUILD), "-G", "Ninja",
                        "-DCMAKE_CXX_COMPILER=clang++-14"], check=True, stdout=subprocess.DEVNULL)
    built = subprocess.run(["cmake", "--build", str(BUILD)], text=True, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, check=False)
    if built.returncode != 0:
        sys.exit(built.stdout)


def run(name, limits, corpus):
    found = BUILD / "found"
    found.mkdir(exist_ok=True)
    command = [str(BUILD / f"{name}Fuzzer"), *limits, f"-timeout={TIMEOUT_SECONDS}", "-max_len=1000",
               f"-dict={ROOT / 'tests/fuzz/native/texts.dict'}", f"-artifact_prefix={found}/{name}-",
               "-print_final_stats=1"]
    if corpus:
        folder = BUILD / "corpus" / name
        folder.mkdir(parents=True, exist_ok=True)
        command.append(str(folder))
    started = time.monotonic()
    result = subprocess.run(command, text=True, errors="replace", stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                            check=False)
    seconds = time.monotonic() - started
    count = re.search(r"stat::number_of_executed_units:\s*(\d+)", result.stderr)
    if result.returncode != 0 or count is None:
        print(result.stderr[-4000:])
        sys.exit(f"{name}: an input failed; it is in {found.relative_to(ROOT)}")
    print(f"{name:12} {int(count.group(1)):>10} inputs {seconds:>6.0f} s", flush=True)
    return int(count.group(1))


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--minutes", type=float)
    arguments.add_argument("--inputs", type=int, default=100000)
    arguments.add_argument("--seed", type=int, default=1)
    arguments.add_argument("fuzzers", nargs="*", metavar="FUZZER")
    options = arguments.parse_args()
    names = options.fuzzers or list(SHARES)
    unknown = set(names) - set(SHARES)
    if unknown:
        sys.exit(f"there is no fuzzer {', '.join(sorted(unknown))}; there are {', '.join(SHARES)}")
    build()
    total = 0
    whole = sum(SHARES[name] for name in names)
    for name in names:
        if options.minutes:
            limits = [f"-max_total_time={max(1, round(options.minutes * 60 / len(names)))}"]
        else:
            limits = [f"-runs={max(1, options.inputs * SHARES[name] // whole)}", f"-seed={options.seed}"]
        total += run(name, limits, bool(options.minutes))
    print(f"{'all':12} {total:>10} inputs")


if __name__ == "__main__":
    main()
