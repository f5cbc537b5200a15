#!/usr/bin/env python3
"""coverage.py [--report-only]: builds the unit and wire tests with counters into build/coverage, runs them, each program
in one process, and reports the lines and branches of the product that they run through: a table, and
build/coverage/report/index.html. Branches that only an exception takes do not count, nor do the generated stubs.
"""

import argparse
import os
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build" / "coverage"
PROGRAMS = ["shared_tests", "utils_tests", "sysinfo_tests", "hotkey_tests", "rpc_tests", "service_tests", "client_tests",
            "wire_tests", "client_wire_tests", "flat_client_tests", "hotkeyctl_tests"]
FOLDERS = "service|rpc|hotkey|sysinfo|utils|shared|client"


def build():
    if not (BUILD / "build.ninja").exists():
        subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "coverage", "--target", *PROGRAMS], cwd=ROOT, check=True)


def run_tests():
    for old in BUILD.rglob("*.gcda"):
        old.unlink()

    script = str(ROOT / "testbed/prefix.sh")
    # What stays running in the testbed keeps the output open.
    subprocess.run([script, "up", "coverage", "no-framework"], check=True, stdout=subprocess.DEVNULL)
    variables = subprocess.run([script, "env", "coverage"], check=True, text=True, stdout=subprocess.PIPE).stdout
    environment = dict(os.environ)
    environment.update(re.findall(r"(\w+)=(\S+)", variables))
    for name in ("DISPLAY", "WAYLAND_DISPLAY"):
        environment.pop(name, None)
    try:
        for program in PROGRAMS:
            with open(BUILD / f"{program}.txt", "w+", encoding="utf-8", errors="replace") as output:
                try:
                    code = subprocess.run(["/usr/lib/wine/wine64", str(BUILD / "bin" / f"{program}.exe")],
                                          env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                          stderr=subprocess.STDOUT, timeout=400, check=False).returncode
                except subprocess.TimeoutExpired:
                    code = "none, it did not end"
                output.seek(0)
                # Cases that are written for a process of their own may fail here; what they ran through counts.
                failed = len(re.findall(r"^\[  FAILED  \] \S+ \(\d+ ms\)", output.read(), re.M))
            print(f"{program:20} exit code {code}, {failed} cases failed", flush=True)
    finally:
        subprocess.run([script, "down", "coverage"], check=False)


def report():
    folder = BUILD / "report"
    folder.mkdir(exist_ok=True)
    subprocess.run(["gcovr", "--root", ".", "--object-directory", str(BUILD), "--gcov-executable",
                    "x86_64-w64-mingw32-gcov-posix", "--filter", f"({FOLDERS})/", "--exclude", "rpc/stubs/", "--exclude",
                    "client/example/", "--exclude-throw-branches", "--exclude-unreachable-branches", "--txt",
                    str(folder / "lines.txt"), "--csv", str(folder / "files.csv"), "--html-details",
                    str(folder / "index.html"), str(BUILD)], cwd=ROOT, check=True)
    print((folder / "lines.txt").read_text(encoding="utf-8"))
    lines = [line.split(",") for line in (folder / "files.csv").read_text(encoding="utf-8").splitlines()[1:]]
    for what, all_at, hit_at in (("lines", 1, 2), ("branches", 4, 5)):
        total, hit = (sum(int(line[at]) for line in lines) for at in (all_at, hit_at))
        print(f"{what}: {hit} of {total}, {100 * hit / max(total, 1):.1f} %")


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--report-only", action="store_true")
    options = arguments.parse_args()
    if not options.report_only:
        build()
        run_tests()
    report()


if __name__ == "__main__":
    main()
