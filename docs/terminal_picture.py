#!/usr/bin/python3
"""terminal_picture.py TITLE PICTURE: draws what it reads as a terminal window, an SVG without anything from elsewhere.

    ./dev run | docs/terminal_picture.py "./dev run" docs/run.svg

Needs Debian's package python3-rich.
"""

import re
import sys

import rich.console
import rich.text
from rich._export_format import CONSOLE_SVG_FORMAT

COLUMNS = 112


def styled(line):
    text = rich.text.Text(line if len(line) <= COLUMNS else line[:COLUMNS - 3] + "...")
    if line.startswith("=="):
        text.stylize("bold cyan")
    elif re.match(r" +> ", line):
        text.stylize("bold")
    elif re.match(r" +\d{4}/\d\d/\d\d ", line):
        text.stylize("red" if "|Error" in line else "bright_black")
    return text


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    title, picture = sys.argv[1:]
    with open("/dev/null", "w", encoding="utf-8") as nothing:
        console = rich.console.Console(record=True, width=COLUMNS, file=nothing)
        for line in sys.stdin.read().strip("\n").splitlines():
            console.print(styled(line), soft_wrap=True)
    # Without the fonts that the library's own form fetches.
    form = re.sub(r"@font-face \{\{.*?\}\}\s*", "", CONSOLE_SVG_FORMAT, flags=re.S).replace("Fira Code", "DejaVu Sans Mono")
    console.save_svg(picture, title=title, code_format=form, unique_id="run")


if __name__ == "__main__":
    main()
