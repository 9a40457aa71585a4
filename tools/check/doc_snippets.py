#!/usr/bin/env python3
"""Compiles the examples in the documents: each block marked "c" is a whole C11 file, each marked "cpp" a whole C++20
file, and both use nothing but the public headers."""

import re
import subprocess

import tree

BLOCK = re.compile(r"^```(c|cpp)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
COMMANDS = {
    "c": ["gcc", "-x", "c", "-std=c11", "-Wstrict-prototypes"],
    "cpp": ["g++", "-x", "c++", "-std=c++20"],
}
COMMON = ["-fsyntax-only", "-Wall", "-Wextra", "-Werror", "-pedantic"]


def check(root):
    """The findings of the tree at ROOT and the number of examples."""
    findings = []
    checked = 0
    for file in tree.files(root, suffixes={".md"}):
        text = tree.read(root, file)
        for match in BLOCK.finditer(text):
            checked += 1
            line = tree.line_of(text, match.start(2))
            command = COMMANDS[match.group(1)] + COMMON + ["-I", str(root / "include"), "-"]
            source = f'#line {line} "{file}"\n{match.group(2)}'
            result = subprocess.run(command, input=source, capture_output=True, text=True)
            if result.returncode != 0:
                findings.append(result.stderr)
    return findings, checked


if __name__ == "__main__":
    tree.report(*check(tree.arguments(__doc__).root))
