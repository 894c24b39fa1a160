#!/usr/bin/env python3
"""Checks what Doxygen does not: that links between files lead somewhere, and that guides quote
lines that their programs have.

Code fenced as `cpp` is a quotation of the examples that the page links, line by line; code that
stands for itself is fenced as `cc`.
"""

import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent


def lines_of(code):
    return [line.strip() for line in code.splitlines() if line.strip()]


def faults_of(page):
    text = page.read_text(encoding="utf-8")
    name = page.relative_to(root)
    prose = re.sub(r"^```.*?^```", "", text, flags=re.M | re.S)
    quoted = set()
    for link in re.findall(r"\]\(([^)#:]+)\)", prose):
        target = page.parent / link
        if not target.exists():
            yield f"{name}: a link to nowhere: {link}"
        elif target.suffix == ".cpp":
            quoted.update(lines_of(target.read_text(encoding="utf-8")))
    for code in re.findall(r"^```cpp\n(.*?)^```", text, flags=re.M | re.S):
        for line in lines_of(code):
            if line not in quoted:
                yield f"{name}: no linked example has this line: {line}"


pages = sorted([*root.glob("*.md"), *(root / "docs").glob("*.md")])
faults = [fault for page in pages for fault in faults_of(page)]
print("\n".join(faults) or f"{len(pages)} pages checked")
sys.exit(1 if faults else 0)
