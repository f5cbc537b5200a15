#!/usr/bin/env python3
"""explanations.py ROOT: every failure text of the service has its row in client/ExplanationTable.cpp, and
docs/operations.md shows the table as it is; prints each breach, exits 1 on any.

explanations.py ROOT --write: brings the page up to date."""

import pathlib
import re
import sys

PRODUCT = ["service", "rpc", "hotkey", "sysinfo", "utils", "shared"]
LITERAL = r'L?"((?:[^"\\]|\\.)*)"'
# Calls whose text reports a failure: records of the upper levels, events of the error type, what the program prints.
CALLS = re.compile(r'(?:\.(?:Error|Warning)\(|EVENTLOG_ERROR_TYPE,\s*|Guard\(\s*|PrintText\()((?:\s*' + LITERAL + r'\s*,?\s*)+)')
# In what is printed and reported otherwise, only these say that something went wrong.
FAILURE = re.compile(r"[Ff]ail|Error|error")
BEGIN, END = "<!-- explanations -->\n", "<!-- end of explanations -->\n"


def unescape(text):
    return text.replace("\\n", "\n").replace('\\"', '"').replace("\\\\", "\\")


def texts_of(source):
    """The failure texts of a source file: adjacent literals are one text, a comma begins the next."""
    for call in CALLS.finditer(source):
        level = call.group(0).startswith((".Error", ".Warning"))
        for argument in re.finditer(rf"(?:L?\"(?:[^\"\\]|\\.)*\"\s*)+", call.group(1)):
            text = "".join(unescape(part) for part in re.findall(LITERAL, argument.group(0))).strip()
            if level or FAILURE.search(text):
                yield text


def table_of(source):
    """Title and rows of each topic."""
    constants = {name: unescape(text) for name, text in re.findall(r'string_view (k\w+) = ' + LITERAL, source)}
    rows = {}
    cell = r'((?:L?"(?:[^"\\]|\\.)*"\s*)+|k\w+)'
    for name, body in re.findall(r"constexpr CExplanation (k\w+)\[\] = \{(.*?)\n\};", source, re.S):
        rows[name] = [tuple(constants[c] if c.startswith("k") else "".join(unescape(t) for t in re.findall(LITERAL, c))
                            for c in row) for row in re.findall(rf"\{{\s*{cell}\s*,\s*{cell}\s*,\s*{cell}\s*\}}", body)]
    return [(title, codes == "true", rows[name])
            for title, codes, name in re.findall(r'\{"([^"]+)", (true|false), (k\w+)\}', source)]


def page_of(table):
    page = ""
    for title, codes, rows in table:
        page += f"### {title}\n\n| {'code' if codes else 'text'} | cause | what to do |\n| --- | --- | --- |\n"
        for text, cause, cure in rows:
            page += "| `{}` | {} | {} |\n".format(*(cell.replace("|", "\\|") for cell in (text, cause, cure)))
        page += "\n"
    return page


def breaches(root):
    table = table_of((root / "client/ExplanationTable.cpp").read_text(encoding="utf-8"))
    known = {text for _, codes, rows in table if not codes for text, _, _ in rows}
    for folder in PRODUCT:
        for path in sorted((root / folder).glob("*.cpp")):
            for text in texts_of(path.read_text(encoding="utf-8")):
                if text not in known:
                    yield f'{path.relative_to(root)}: nothing explains "{text}"'
    document = (root / "docs/operations.md").read_text(encoding="utf-8")
    if document.partition(BEGIN)[2].partition(END)[0] != page_of(table):
        yield "docs/operations.md: not the table of client/ExplanationTable.cpp; explanations.py ROOT --write mends it"


def write(root):
    page = root / "docs/operations.md"
    before, begin, rest = page.read_text(encoding="utf-8").partition(BEGIN)
    table = table_of((root / "client/ExplanationTable.cpp").read_text(encoding="utf-8"))
    page.write_text(before + begin + page_of(table) + END + rest.partition(END)[2], encoding="utf-8")


def main():
    if len(sys.argv) not in (2, 3) or sys.argv[2:] not in ([], ["--write"]):
        print(__doc__)
        return 2
    root = pathlib.Path(sys.argv[1])
    if sys.argv[2:]:
        write(root)
    found = list(breaches(root))
    for breach in found:
        print(breach)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
