#!/usr/bin/env python3
"""fault_cases.py ROOT [MINIMUM]: every import of the program has a case in which it fails; prints each breach, exits 1 on any.

The imports are those of allowed_imports.txt. One that carries no remark has to stand, with the number of a call, in an
outcome table of tests/faults, where the sweep makes it fail. The remarks that stand for such a case:

    # run time                only the compiler's static libraries call it
    # cannot fail: reason     the call has no failure that the program could see
    # fails in Suite.Case     that test makes it fail

What an operation keeps open after a failure, or always, has to stand in the table "What stays open" of
tests/faults/README.md. Prints how many calls the tables hold; fewer than MINIMUM is a breach.
"""

import pathlib
import re
import sys

TABLE = re.compile(r'\{"(\w+)",\s*&\w+,\s*LR"\((.*?)\)"', re.S)
CALL = re.compile(r"([\w:' ]+?) ((?:\d+\+?)(?:, \d+\+?)*)$")
HELD = re.compile(r"([A-Za-z][A-Za-z ]*) (-?\d+)(?:, |$)")


def remarks(text):
    """(function, remark or "") for each import of the list."""
    for line in text.splitlines():
        if line.startswith(" "):
            name, _, remark = line.partition("#")
            yield name.strip(), remark.strip()


def tables(sources):
    for text in sources:
        yield from TABLE.findall(text)


def calls(table):
    """(function, number) for each call of an outcome table, the kept worker's prefix cut."""
    for line in table.splitlines():
        if line.startswith("  ") or " => " not in line:
            continue
        for group in line.split(" => ")[0].split(";"):
            found = CALL.match(group.strip())
            if found:
                function = found.group(1).removeprefix("worker's ")
                for number in found.group(2).split(", "):
                    yield function, number.rstrip("+")


def held(table):
    for line in table.splitlines():
        if " | holds " in line and not line.startswith("  "):
            for what, _ in HELD.findall(line.split(" | holds ")[1]):
                if what != "nothing":
                    yield what


def reasons(readme):
    """(operation, what) of the rows under "What stays open"."""
    rows = re.search(r"## What stays open\n(.*?)(?:\n## |\Z)", readme, re.S)
    for line in rows.group(1).splitlines() if rows else ():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if len(cells) == 3 and cells[2] and cells[0].startswith("`"):
            for operation in cells[0].replace("`", "").split(", "):
                for what in cells[1].split(", "):
                    yield operation, what


def breaches(imports, sources, tests, readme, minimum=0):
    found = dict(tables(sources))
    covered = {function for table in found.values() for function, _ in calls(table)}
    cases = set(re.findall(r"TEST(?:_F|_P)?\((\w+), (\w+)\)", "\n".join(tests)))
    for function, remark in remarks(imports):
        case = re.match(r"fails in (\w+)\.(\w+)", remark)
        if case:
            if case.groups() not in cases:
                yield f"{function}: there is no test {case.group(1)}.{case.group(2)}"
        elif remark == "" and function not in covered:
            yield f"{function}: no operation of the fault sweep calls it"
        elif remark != "" and remark != "run time" and not re.match(r"cannot fail: \w", remark):
            yield f'{function}: the remark "{remark}" says nothing about its failing'
    explained = set(reasons(readme))
    kept = {(operation, what) for operation, table in found.items() for what in held(table)}
    for operation, what in sorted(kept - explained):
        yield f"{operation}: {what} stays open and tests/faults/README.md does not say why"
    for operation, what in sorted(explained - kept):
        yield f"{operation}: tests/faults/README.md explains an open {what} that does not stay"
    points = sum(len(set(calls(table))) for table in found.values())
    if points < minimum:
        yield f"the tables hold {points} calls, fewer than {minimum}"


def main():
    if len(sys.argv) not in (2, 3):
        print(__doc__)
        return 2
    root = pathlib.Path(sys.argv[1])
    sources = [path.read_text(encoding="utf-8") for path in sorted((root / "tests/faults").glob("*FaultTests.cpp"))]
    tests = [path.read_text(encoding="utf-8") for path in sorted((root / "tests").rglob("*Tests.cpp"))]
    found = list(breaches((root / "tests/lint/allowed_imports.txt").read_text(encoding="utf-8"), sources, tests,
                          (root / "tests/faults/README.md").read_text(encoding="utf-8"),
                          int(sys.argv[2]) if len(sys.argv) == 3 else 0))
    for breach in found:
        print(breach)
    found_tables = dict(tables(sources))
    print(f"{len(found_tables)} operations, {sum(len(set(calls(table))) for table in found_tables.values())} calls that "
          "fail, once and from there on")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
