#!/usr/bin/env python3
"""mutate.py [--seed K] [--mutants N] [--files TEXT]: changes one line of the product at a time and sees whether a test
notices.

Lines come from rotation, formatter, policy, service status and retry rules: a relation, an operator or a number becomes
another one, a condition its opposite, a statement goes. The changed file alone is compiled, into build/mutation, and
linked before the library that holds the true one; then the tests of that file run. Nothing else of the build is
touched.
Prints each change that no test noticed, and the sum. Needs a built build/mingw.
"""

import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "mingw"
WORK = ROOT / "build" / "mutation"
TIMEOUT_SECONDS = 90

# File, test program, its tests for that file.
SUBJECTS = [
    ("shared/LogRotation.cpp", "shared_tests", "IsLogTooLarge.*:PlanRotation.*:LogRotation.*:LogFileNames.*"),
    ("shared/LogLine.cpp", "shared_tests", "LogDataLine.*:EncodeUtf8.*:BeginsLikeLogLine.*:LogListenerFile.*"),
    ("shared/WideFormat.cpp", "shared_tests", "FormatSimple.*:FormatBuffer.*:FormatText.*"),
    ("shared/LogPolicy.cpp", "shared_tests", "OpenPolicyKeys.*:LogPolicy*:*/LogPolicy*:Paths/*:PolicyLogger.*"),
    ("shared/LogLevel.cpp", "shared_tests", "LogLevel*"),
    ("service/ServiceBase.cpp", "service_tests", "ServiceBase*:*/ServiceBase*"),
    ("sysinfo/WmiValue.cpp", "sysinfo_tests", "GetBIOSValue.*:Every/EachProperty.*"),
]

EXCHANGES = [
    (r" < (?!<)", " <= "), (r" <= ", " < "), (r" > ", " >= "), (r" >= ", " > "), (r" == ", " != "), (r" != ", " == "),
    (r" \+ ", " - "), (r" - ", " + "), (r" \* (?=[\w(])", " / "), (r" && ", " || "), (r" \|\| ", " && "),
    (r"(?<= )\+\+(?=\w)", "--"), (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
]


def candidates(lines):
    """(line number, changed line) for everything that can be changed on one line."""
    inside = False
    for number, line in enumerate(lines):
        code = line.split("//")[0]
        inside = inside or line.startswith("{")  # of the first namespace or function
        if not inside or not code.strip() or code.lstrip().startswith(("#", "template", "constexpr", "static_assert")):
            continue
        spaced = re.sub(r'"(?:\\.|[^"\\])*"', lambda found: "\0" * len(found.group()), code)
        for pattern, replacement in EXCHANGES:
            for found in re.finditer(pattern, spaced):
                yield number, code[:found.start()] + replacement + code[found.end():]
        for found in re.finditer(r"(?<![\w.'])(\d+)(?![\w.'])", spaced):
            yield number, code[:found.start()] + str(int(found.group()) + 1) + code[found.end():]
        condition = re.match(r"(\s*(?:if|while) \()(.+)(\))$", code.rstrip())
        if condition and ";" not in condition.group(2) and not re.match(r"const \w", condition.group(2)):
            yield number, f"{condition.group(1)}!({condition.group(2)}){condition.group(3)}"
        statement = re.match(r"\s+(?:[\w.>\[\]*]|->|::)+(?:\(.*\)|(?: [-+|&]?= .+))?;$", code.rstrip())
        if statement and re.search(r"[(=]", code) and not re.match(
                r"\s+(return|break|continue|using|const|case)\b", code):
            yield number, ";"


def commands_of(program):
    listed = subprocess.run(["ninja", "-C", str(BUILD), "-t", "commands", program], check=True, text=True,
                            stdout=subprocess.PIPE).stdout.splitlines()
    link = next(line for line in reversed(listed) if f" -o bin/{program}.exe" in line)
    return listed, link


def compile_command(listed, source, target):
    command = next(line for line in listed if line.endswith(f" -c {ROOT / source}"))
    command = re.sub(r" -MD -MT \S+ -MF \S+", "", command).replace(" -O2 -g ", " -O0 ")
    return re.sub(r" -o \S+ -c \S+$", f" -o {target} -c {WORK / source}", command)


def link_command(link, program, changed):
    # The files of a library that nobody asks for any more stay out.
    link = re.sub(rf" -o bin/{program}\.exe", f" {changed} -o {WORK / (program + '.exe')}", link)
    link = link.replace(" -O2 -g ", " -s ")
    return re.sub(r" -Wl,--out-implib,\S+", "", link).split("&&", 1)[-1].rsplit("&& :", 1)[0]


def shell(command):
    return subprocess.run(command, shell=True, cwd=BUILD, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          check=False).returncode


def failures(program, tests, environment):
    """Names of the tests that failed; None when the program did not come to its end."""
    try:
        with tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace") as output:
            code = subprocess.run(["/usr/lib/wine/wine64", str(program), f"--gtest_filter={tests}"], env=environment,
                                  cwd=WORK, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL,
                                  timeout=TIMEOUT_SECONDS, check=False).returncode
            output.seek(0)
            text = output.read()
    except subprocess.TimeoutExpired:
        return None
    if code not in (0, 1) or "tests ran." not in text and "test ran." not in text and " ran. (" not in text:
        return None
    return set(re.findall(r"\[  FAILED  \] ([\w./]+)", text))


def environment_of_testbed():
    script = str(ROOT / "testbed/prefix.sh")
    # What stays running in the testbed keeps the output open.
    subprocess.run([script, "up", "mutation", "no-framework"], check=True, stdout=subprocess.DEVNULL)
    variables = subprocess.run([script, "env", "mutation"], check=True, text=True, stdout=subprocess.PIPE).stdout
    environment = dict(os.environ)
    environment.update(re.findall(r"(\w+)=(\S+)", variables))
    for name in ("DISPLAY", "WAYLAND_DISPLAY"):
        environment.pop(name, None)
    return environment


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--seed", type=int, default=1)
    arguments.add_argument("--mutants", type=int, default=100)
    arguments.add_argument("--files", default="", help="part of the files' names")
    options = arguments.parse_args()

    choice = random.Random(options.seed)
    pool = []
    for subject in (subject for subject in SUBJECTS if options.files in subject[0]):
        lines = (ROOT / subject[0]).read_text(encoding="utf-8").splitlines()
        pool += [(subject, number, changed) for number, changed in candidates(lines)]
    choice.shuffle(pool)

    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    environment = environment_of_testbed()
    commands = {program: commands_of(program) for program in {subject[1] for subject in SUBJECTS}}
    usual = {}
    caught, survivors = 0, []
    try:
        for (source, program, tests), number, changed in pool:
            if caught + len(survivors) == options.mutants:
                break
            if source not in usual:
                usual[source] = failures(BUILD / "bin" / f"{program}.exe", tests, environment)
                if usual[source] is None:
                    sys.exit(f"{program} does not come to its end unchanged")
            lines = (ROOT / source).read_text(encoding="utf-8").splitlines()
            before, lines[number] = lines[number], changed
            (WORK / source).parent.mkdir(parents=True, exist_ok=True)
            (WORK / source).write_text("\n".join(lines) + "\n", encoding="utf-8")
            target = WORK / "changed.obj"
            listed, link = commands[program]
            if shell(compile_command(listed, source, target)) != 0 or shell(link_command(link, program, target)) != 0:
                continue  # no program at all
            failed = failures(WORK / f"{program}.exe", tests, environment)
            if failed is None or failed - usual[source]:
                caught += 1
            else:
                survivors.append(f"{source}:{number + 1}: {before.strip()}  ->  {changed.strip()}")
                print(survivors[-1], flush=True)
            if (caught + len(survivors)) % 10 == 0:
                print(f"{caught} of {caught + len(survivors)}", flush=True)
    finally:
        subprocess.run([str(ROOT / "testbed/prefix.sh"), "down", "mutation"], check=False)
    print(f"{caught} of {caught + len(survivors)} changes were noticed")


if __name__ == "__main__":
    main()
