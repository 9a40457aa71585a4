#!/usr/bin/env python3
"""Hygiene of the texts: white space, opening comments, documented functions, and prose that stands on its own."""

import re

import tree

TEXT_SUFFIXES = tree.CXX_SUFFIXES | {".py", ".txt", ".cmake", ".md", ".in", ".json", ".toml", ".sh", ".cfg", ".map"}
BYTES_MATTER = ("tests/data/", "fuzz/corpus/", "fuzz/seeds/")

OPENING = {".cc": "//", ".h": "//", ".hh": "//", ".c": ("//", "/*"), ".cmake": "#", ".py": '"""'}

# Prose says what is, not what was or will be, and holds on every machine.
PROSE = [
    (re.compile(r"\b(?:TODO|FIXME|XXX)\b"), "finish it"),
    (re.compile(r"(?<![\w.])/(?:home|root)/\w"), "a path of one machine"),
]

DECLARATION = re.compile(r"^(?:extern )?PB_EXPORT\b")
STRUCT_BODY = re.compile(r"^(?:typedef )?struct\b[^;()]*(?:\{|$)", re.MULTILINE)


def is_script(text):
    return text.startswith("#!")


def white_space(file, text):
    for number, line in enumerate(text.split("\n"), 1):
        if line.endswith("\r"):
            yield f"{file}:{number}: ends in CR LF"
        elif line != line.rstrip():
            yield f"{file}:{number}: ends in white space"
        if "\t" in line and file.suffix in tree.CXX_SUFFIXES:
            yield f"{file}:{number}: has a tab"
    if text and not text.endswith("\n"):
        yield f"{file}: the last line does not end"
    if text.endswith("\n\n"):
        yield f"{file}: ends in an empty line"


def opening(file, text):
    """Each source file opens with a comment that says what it is."""
    suffix = ".py" if is_script(text) and "python" in text.split("\n", 1)[0] else file.suffix
    mark = OPENING.get(suffix) or ("#" if is_script(text) else None)
    if mark is None:
        return
    body = text.split("\n", 1)[1] if is_script(text) else text
    if not body.startswith(mark):
        yield f"{file}:1: does not open with a comment"


def documented(file, text):
    """Each exported function has its /// comment; a public header shows no struct body and no internal name."""
    if file.suffix != ".h" or file.parts[0] not in ("include", "source"):
        return
    lines = text.split("\n")
    for number, line in enumerate(lines):
        if DECLARATION.match(line) and not lines[number - 1].startswith("///"):
            yield f"{file}:{number + 1}: an exported function without its comment"
    if file.parts[0] != "include":
        return
    code = tree.without_comments(text)
    for match in STRUCT_BODY.finditer(code):
        yield f"{file}:{tree.line_of(code, match.start())}: a struct body in a public header"
    for match in re.finditer(r"\w*___\w+", code):
        yield f"{file}:{tree.line_of(code, match.start())}: {match.group()}: an internal name in a public header"


def prose(file, text):
    for pattern, advice in PROSE:
        for match in pattern.finditer(text):
            yield f"{file}:{tree.line_of(text, match.start())}: \"{match.group()}\": {advice}"


def check(root):
    """The findings of the tree at ROOT and the number of files that were looked at."""
    findings = []
    checked = 0
    for file in tree.files(root):
        if file.as_posix().startswith(BYTES_MATTER) or file.name == "LICENSE":
            continue
        scripted = file.parts[0] in ("scripts", ".ci") or not file.suffix
        if file.suffix not in TEXT_SUFFIXES and not scripted:
            continue
        text = (root / file).read_bytes().decode("utf-8")
        checked += 1
        # This file and its test hold the words that they look for.
        rules = (white_space, opening, documented) + (() if file.stem in ("texts", "texts_test") else (prose,))
        for rule in rules:
            findings.extend(rule(file, text))
    return findings, checked


if __name__ == "__main__":
    tree.report(*check(tree.arguments(__doc__).root))
