#!/usr/bin/env python3
"""page_filter.py FILE: FILE as Doxygen is to read it, so that the same words do for the repository and for the pages.

A code span keeps its percent signs and quotation marks, which Doxygen takes for its own. In Markdown a code span that
names a document, a header or a folder with a README becomes a link to its page. The class that a header is named after
has the header's introduction on its page as well.
"""

import pathlib
import re
import sys

HEADER_FOLDERS = {"service", "rpc", "hotkey", "sysinfo", "utils", "shared", "compat", "client"}


def code_span(text):
    ticks = "``" if "'" in text else "`"
    return ticks + re.sub(r"(?<!\w)%(?=\w)", "%%", text) + ticks


def link(text, folder):
    """A link to what the text names, seen from the root or from the document's folder; None when it has no page."""
    for path in (pathlib.Path(text), folder / text):
        if text.endswith("/"):
            path /= "README.md"
        if not path.is_file():
            continue
        if path.suffix == ".md":
            return f"[{text}]({path.as_posix()})"
        if path.suffix == ".h" and path.parts[0] in HEADER_FOLDERS:
            return f'\\ref {path.name} "{text}"'
    return None


def markdown(lines, folder):
    fenced = False
    for line in lines:
        if line.lstrip().startswith("```"):
            fenced = not fenced
        elif not fenced and not line.startswith("    "):
            line = re.sub(r"(?<![\[`])`([^`]+)`(?!`)", lambda m: link(m[1], folder) or code_span(m[1]), line)
        yield line


def header(lines, name):
    stem = name.removesuffix(".h")
    namesake = re.compile(rf"(template <.*> )?(class|struct) (\[\[\w+\]\] )?(C|Cql|I)?{stem}\b[^;]*$", re.IGNORECASE)
    for line, following in zip(lines, lines[1:] + [""]):
        if "///" in line or "/**" in line:
            line = re.sub(r"`([^`]+)`", lambda m: code_span(m[1]), line)
            if namesake.match(following):
                line += rf" \copydoc {name}"
        yield line


def main():
    path = pathlib.Path(sys.argv[1]).resolve().relative_to(pathlib.Path.cwd())
    lines = path.read_text(encoding="utf-8").splitlines()
    print("\n".join(markdown(lines, path.parent) if path.suffix == ".md" else header(lines, path.name)))


if __name__ == "__main__":
    sys.exit(main())
