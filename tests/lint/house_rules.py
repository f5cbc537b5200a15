#!/usr/bin/env python3
"""house_rules.py RULE ROOT: checks one rule of the house on the sources under ROOT; prints each breach, exits 1 on any.

arrows  a folder includes only what stands below it (service -> rpc -> hotkey -> sysinfo -> utils -> shared -> compat)
calls   functions that product code must not call: ISO wide printf, run-time look-up of Windows functions
length  no file is longer than 600 lines and no function than 80, unless the head of the file says why ("Length: ...")
names   a trace name is the qualified name of the function around it; a file's name is unique; no `using namespace` in headers
paths   every path that a document names exists
all     these, one after the other
"""

import pathlib
import re
import sys

PRODUCT = ["service", "rpc", "hotkey", "sysinfo", "utils", "shared", "compat"]
MAY_INCLUDE = {folder: set(PRODUCT[i:]) for i, folder in enumerate(PRODUCT)}
MAY_INCLUDE["client"] = {"client"}
MAY_INCLUDE["testbed"] = {"testbed"}
# One declaration for the service and for its stand-ins: the device framework, and what the SDK lacks. (The generated
# header of the interface is included as a library's is.)
EXTRA_INCLUDES = {("testbed", "hotkey/Fennix.h"), ("testbed", "compat/MissingDeclarations.h")}

BANNED_CALLS = {
    r"\b(?:std::)?v?f?wprintf\s*\(": "MinGW gives it ISO rules (%s narrow): use shared/WideText.h",
    r"\b(?:std::)?v?swprintf\s*\(": "MinGW gives it ISO rules (%s narrow): use shared/WideText.h",
    r"\bGetProcAddress\s*\(": "Windows functions are imported by name, so that tests can stand in for them",
    r"\bstd::this_thread::sleep": "use Sleep, which tests replace",
}

MOST_LINES_OF_A_FILE = 600
MOST_LINES_OF_A_FUNCTION = 80

# Trace names that differ from the function around them on purpose.
TRACE_NAME_EXCEPTIONS = {
    "CMainService::RpcServerMonitoringThread": "the work callback is a plain function of the service object",
}


def sources(root, folders, suffixes=(".h", ".cpp", ".c")):
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in suffixes and path.is_file():
                yield path


def without_comments(text):
    text = re.sub(r"/\*.*?\*/", lambda m: re.sub(r"[^\n]", " ", m.group()), text, flags=re.S)
    return re.sub(r"//[^\n]*", "", text)


def check_arrows(root):
    for path in sources(root, MAY_INCLUDE):
        folder = path.relative_to(root).parts[0]
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            include = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
            if not include or "/" not in include.group(1):
                continue
            target = include.group(1)
            if target.split("/")[0] not in MAY_INCLUDE[folder] and (folder, target) not in EXTRA_INCLUDES:
                yield f"{path.relative_to(root)}:{number}: {folder}/ must not include {target}"


def check_calls(root):
    for path in sources(root, PRODUCT):
        for number, line in enumerate(without_comments(path.read_text(encoding="utf-8")).splitlines(), 1):
            for pattern, reason in BANNED_CALLS.items():
                if re.search(pattern, line):
                    yield f"{path.relative_to(root)}:{number}: {line.strip()}: {reason}"


def enclosing_function(lines, index):
    """Qualified name of the function whose body holds line index, namespaces included; None when not found."""
    name = None
    for number in range(index, -1, -1):
        line = lines[number]
        match = re.match(r"^(?!namespace|class|struct|using|#|//|\s|\{|\})[\w:<>*&,\s\[\]\"]*?((?:\w+::)*~?\w+)\(", line)
        if match:
            name = match.group(1)
            break
    if name is None:
        return None
    opened = []
    for line in lines[:number]:
        match = re.match(r"^namespace\s+([\w:]+)", line)
        if match:
            opened.append(match.group(1))
        elif re.match(r"^\}\s*//\s*namespace\s+\w", line) and opened:
            opened.pop()
    return "::".join(opened + [name])


# Comments, literals and preprocessor lines with those that continue them.
TEXTS = re.compile(r"""R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)L?'(?:\\.|[^'\\\n])+'|/\*.*?\*/|//[^\n]*"""
                   r"|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.S | re.M)
# What opens a brace without being a function; an attribute may stand in parentheses.
SCOPE = re.compile(r"\s*(?:template\s*<.*>\s*)?(?:inline\s+)?(?:namespace|extern|class|struct|union|enum)\b"
                   r"[^(]*(?:\(\s*\w*\s*\)[^(]*)?$", re.S)


def without_texts(text):
    """The code alone, every line in its place: no comments, literals and preprocessor lines."""
    blank = lambda match: re.sub(r"[^\n]", " ", match.group())
    text = TEXTS.sub(blank, text)
    return re.sub(r"\b(?:public|protected|private):", lambda match: " " * (len(match.group()) - 1) + ";", text)


def functions(text):
    """(name, first line, number of lines) of each function with a body, as clang-format lays them out: a blank or a line
    break before a body, none before the braces of a value."""
    code = without_texts(text)
    opened, head, parentheses = [], 0, 0
    for place, letter in enumerate(code):
        if letter in "()":
            parentheses += 1 if letter == "(" else -1
        elif letter == "{":
            before = code[head:place]
            if parentheses or "body" in [kind for kind, _ in opened] or not code[place - 1].isspace():
                opened.append(("value", head))
            elif SCOPE.match(before):
                opened.append(("scope", head))
            elif "(" in before and not re.search(r"[^=!<>]=\s*$", before):
                opened.append(("body", head))
            else:
                opened.append(("value", head))
            if opened[-1][0] != "value":
                head = place + 1
        elif letter == "}":
            kind, start = opened.pop()
            if kind == "body":
                start += len(code[start:]) - len(code[start:].lstrip())
                name = re.search(r"(operator[^\w\s]+|[\w:~]+)\s*\(", code[start:place])
                first = code.count("\n", 0, start) + 1
                yield name.group(1), first, code.count("\n", 0, place) + 2 - first
            if kind != "value":
                head = place + 1
        elif letter == ";" and not parentheses and (not opened or opened[-1][0] != "value"):
            head = place + 1


def check_length(root):
    folders = PRODUCT + ["client", "testbed", "tests", "bench", "packaging"]
    for path in sources(root, folders, (".h", ".cpp", ".c", ".py", ".sh")):
        text = path.read_text(encoding="utf-8")
        if "stubs" in path.parts or re.search(r"^(?://|#|/\*) Length: \w", "\n".join(text.splitlines()[:12]), re.M):
            continue
        lines = text.count("\n")
        if lines > MOST_LINES_OF_A_FILE:
            yield f"{path.relative_to(root)}: {lines} lines; {MOST_LINES_OF_A_FILE} are the most"
        if path.suffix in (".py", ".sh"):
            continue
        for name, first, count in functions(text):
            if count > MOST_LINES_OF_A_FUNCTION:
                yield f"{path.relative_to(root)}:{first}: {name} has {count} lines; {MOST_LINES_OF_A_FUNCTION} are the most"


def check_names(root):
    seen = {}
    for path in sources(root, PRODUCT + ["client", "testbed"], (".h", ".cpp", ".c", ".idl")):
        if path.suffix in (".h", ".cpp"):
            other = seen.setdefault(path.name.lower(), path)
            if other != path:
                yield f"{path.relative_to(root)}: the name is taken by {other.relative_to(root)}"
    for path in sources(root, PRODUCT):
        text = path.read_text(encoding="utf-8")
        if path.suffix == ".h" and re.search(r"^\s*using namespace", text, re.M):
            yield f"{path.relative_to(root)}: `using namespace` in a header"
        if path.suffix != ".cpp":
            continue
        lines = without_comments(text).splitlines()
        raw = text.splitlines()
        for number, line in enumerate(lines):
            match = re.search(r'\bCTraceScope\s+\w+\{\s*"([^"]*)"', line)
            if not match or match.group(1) in TRACE_NAME_EXCEPTIONS:
                continue
            function = enclosing_function(raw, number)
            if function is None or function.replace("Quil::Shared::", "") != match.group(1).replace("Quil::Shared::", ""):
                yield f'{path.relative_to(root)}:{number + 1}: trace name "{match.group(1)}" inside {function}'


def check_paths(root):
    documents = sorted((root / "docs").rglob("*.md")) + sorted(root.glob("*.md")) + sorted(root.glob("*/README.md"))
    folders = "|".join(PRODUCT + ["client", "testbed", "tests", "bench", "docs", "cmake", "policy", "packaging", "tools", "fuzz"])
    for path in documents:
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            for name in re.findall(rf"(?<![\w/\\.%-])((?:{folders})/[\w./-]*\w)", line):
                if not (root / name).exists():
                    yield f"{path.relative_to(root)}:{number}: {name} does not exist"


RULES = {"arrows": check_arrows, "calls": check_calls, "length": check_length, "names": check_names, "paths": check_paths}


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in [*RULES, "all"]:
        print(__doc__)
        return 2
    rules = RULES.values() if sys.argv[1] == "all" else [RULES[sys.argv[1]]]
    breaches = [breach for rule in rules for breach in rule(pathlib.Path(sys.argv[2]))]
    for breach in breaches:
        print(breach)
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
