#!/usr/bin/env python3
"""coverage.py [--report-only]: builds the tests with counters into build/coverage, runs them, each program in one
process, then the tests of hotkeyctl against the installed service, and reports the lines and branches of the product
that they run through: a table, and build/coverage/report/index.html. Branches that only an exception takes do not count,
nor do the generated stubs.

Ends with exit code 1 when less is run through than GOALS and COMPLETE ask for.
"""

import argparse
import csv
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build" / "coverage"
PROGRAMS = ["shared_tests", "utils_tests", "sysinfo_tests", "hotkey_tests", "rpc_tests", "service_tests", "client_tests",
            "wire_tests", "client_wire_tests", "flat_client_tests", "hotkeyctl_tests", "fault_tests"]
# What the PC of the tests is made of; its programs do not count, so they come from the ordinary build.
TESTBED = ["HotKeyServiceTLY", "hotkeyctl", "QuilFennix", "QuilSysInfoCap", "launchtarget", "testbed_wmi",
           "testbed_wtsapi32", "testbedctl"]
FOLDERS = "service|rpc|hotkey|sysinfo|utils|shared|client"

# Per cent of all files.
GOALS = {"line": 97, "branch": 90}
# Files whose branches are all taken (logger core, rotation, renderers and parsers), but for so many that no test can
# take: docs/testing.md says which they are.
COMPLETE = {
    "shared/Logger.cpp": 7, "shared/LogFile.cpp": 0, "shared/LogLevel.cpp": 0, "shared/LogLine.cpp": 0,
    "shared/LogPolicy.cpp": 1, "shared/LogQueue.cpp": 2, "shared/LogRotation.cpp": 0, "shared/RecordFifo.cpp": 0,
    "shared/WideFormat.cpp": 0, "sysinfo/BuildFile.cpp": 1, "sysinfo/SysInfoText.cpp": 11, "sysinfo/WmiValue.cpp": 4,
    "hotkey/UsbCText.cpp": 0, "client/FieldText.cpp": 0, "client/LogLines.cpp": 0, "client/SysInfoFields.cpp": 0,
    "client/UsbTypeCFields.cpp": 0,
}


def build():
    subprocess.run([str(ROOT / "dev"), "build", *TESTBED], check=True, stdout=subprocess.DEVNULL)
    if not (BUILD / "build.ninja").exists():
        subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "coverage", "--target", "HotKeyServiceTLY", "hotkeyctl",
                    *PROGRAMS], cwd=ROOT, check=True)
    # What is left of files that are gone would be counted beside the others.
    subprocess.run(["ninja", "-C", str(BUILD), "-t", "cleandead"], check=True, stdout=subprocess.DEVNULL)
    for notes in BUILD.rglob("*.gcno"):
        if not notes.with_suffix(".obj").exists():
            notes.unlink()


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
            run(program, ["/usr/lib/wine/wine64", str(BUILD / "bin" / f"{program}.exe")], environment)
        # The installed service counts as well.
        shutil.copy(BUILD / "bin" / "HotKeyServiceTLY.exe",
                    pathlib.Path(environment["WINEPREFIX"]) / "drive_c/Program Files/Quil/HotKeyService")
        run("hotkeyctl_e2e",
            ["/usr/bin/python3", "-B", str(ROOT / "tests/e2e/hotkeyctl_tests.py"),
             str(BUILD / "bin" / "hotkeyctl.exe"), str(ROOT / "docs/hotkeyctl.schema.json")], environment)
    finally:
        subprocess.run([script, "down", "coverage"], check=False)


def run(name, command, environment):
    """Runs one program of tests; its output stays in the folder of the build."""
    with open(BUILD / f"{name}.txt", "w+", encoding="utf-8", errors="replace") as output:
        try:
            code = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                  stderr=subprocess.STDOUT, timeout=600, check=False).returncode
        except subprocess.TimeoutExpired:
            code = "none, it did not end"
        output.seek(0)
        # Cases that are written for a process of their own may fail here; what they ran through counts.
        failed = len(re.findall(r"^(?:\[  FAILED  \] \S+.* \(\d+ ms\)|(?:FAIL|ERROR): .*)$", output.read(), re.M))
    print(f"{name:20} exit code {code}, {failed} cases failed", flush=True)


def report():
    """Prints the table; the shortfalls, as texts."""
    folder = BUILD / "report"
    folder.mkdir(exist_ok=True)
    subprocess.run(["gcovr", "--root", ".", "--object-directory", str(BUILD), "--gcov-executable",
                    "x86_64-w64-mingw32-gcov-posix", "--filter", f"({FOLDERS})/", "--exclude", "rpc/stubs/", "--exclude",
                    "client/example/", "--exclude-throw-branches", "--exclude-unreachable-branches", "--txt",
                    str(folder / "lines.txt"), "--csv", str(folder / "files.csv"), "--html-details",
                    str(folder / "index.html"), *(str(BUILD / name) for name in FOLDERS.split("|"))],
                   cwd=ROOT, check=True)
    print((folder / "lines.txt").read_text(encoding="utf-8"))
    with open(folder / "files.csv", encoding="utf-8", newline="") as table:
        files = list(csv.DictReader(table))
    short = []
    for what, plural, goal in (("line", "lines", GOALS["line"]), ("branch", "branches", GOALS["branch"])):
        total, hit = (sum(int(file[f"{what}_{count}"]) for file in files) for count in ("total", "covered"))
        percent = 100 * hit / max(total, 1)
        print(f"{plural}: {hit} of {total}, {percent:.1f} %")
        if percent < goal:
            short.append(f"fewer than {goal} % of the {plural}")
    for file in files:
        missed = int(file["branch_total"]) - int(file["branch_covered"])
        if missed > COMPLETE.get(file["filename"], missed):
            short.append(f"{file['filename']}: {missed} branches are not taken, {COMPLETE[file['filename']]} cannot be")
    return short


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--report-only", action="store_true")
    options = arguments.parse_args()
    if not options.report_only:
        build()
        run_tests()
    short = report()
    for text in short:
        print(text, file=sys.stderr)
    sys.exit(1 if short else 0)


if __name__ == "__main__":
    main()
