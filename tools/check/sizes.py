#!/usr/bin/env python3
"""Refuses files and functions that have outgrown a reader, and prints how long the others are.

The layout is what clang-format makes of this tree, so a function is found by its braces: they stand alone on their
lines, at the indentation of its signature.
"""

import re

import tree

FUNCTION_LIMIT = 80
FILE_LIMIT = 900

FOLDERS = ("source", "include", "apps", "tests", "fuzz", "bench", "examples", "tools")
NO_FUNCTION = re.compile(r"^\s*(?:namespace|struct|class|union|enum|extern|typedef|if|else|for|while|do|switch|case|"
                         r"default|try|catch|return|static constexpr|constexpr|template<[^>]*>\s*(?:struct|class))\b")
SHORT = re.compile(r"^(?! *(?:if|for|while|switch|return)\b)\s*[A-Za-z_~][^;={]*\)(?: const| noexcept| override)*"
                   r"(?: : [^;]*)? \{.*\}$")


def signature_start(lines, brace):
    """The first line of the declaration whose body opens at the line BRACE."""
    start = brace
    while start > 0 and lines[start - 1].strip() and not re.search(r"[;{}]\s*$|^\s*#|^\s*(?:public|private|protected)"
                                                                     r"( slots)?:$", lines[start - 1]):
        start -= 1
    return start


def functions(text):
    """The functions of a C or C++ text as (first line, number of lines), signature and braces included."""
    lines = tree.without_directives(tree.without_comments(text)).split("\n")
    found = []
    end = -1
    for number, line in enumerate(lines):
        if number <= end:
            continue
        if SHORT.match(line):
            found.append((number + 1, 1))
            continue
        if line.strip() != "{":
            continue
        start = signature_start(lines, number)
        signature = " ".join(part.strip() for part in lines[start:number])
        if start == number or NO_FUNCTION.match(signature) or ")" not in signature or "=" in signature.split("(")[0]:
            continue
        close = line.replace("{", "}")
        end = next((index for index in range(number, len(lines)) if lines[index].rstrip(";") == close), number)
        found.append((start + 1, end - start + 1))
    return found


def quantiles(sizes):
    """25 %, median, 90 % and the largest."""
    ordered = sorted(sizes) or [0]
    return [ordered[min(len(ordered) - 1, int(share * len(ordered)))] for share in (0.25, 0.5, 0.9)] + [ordered[-1]]


def check(root):
    """The findings, the number of files, and the table of sizes as folder: (file sizes, function sizes)."""
    findings = []
    table = {}
    folders = [folder for folder in FOLDERS if (root / folder).is_dir()]
    measured = tree.files(root, *folders, suffixes=tree.CXX_SUFFIXES | {".py"}) if folders else []
    for file in measured:
        text = tree.read(root, file)
        file_sizes, function_sizes = table.setdefault(file.parts[0], ([], []))
        lines = text.count("\n")
        file_sizes.append(lines)
        if lines > FILE_LIMIT:
            findings.append(f"{file}: {lines} lines, the limit is {FILE_LIMIT}")
        if file.suffix == ".py":
            continue
        for line, length in functions(text):
            function_sizes.append(length)
            if length > FUNCTION_LIMIT:
                findings.append(f"{file}:{line}: a function of {length} lines, the limit is {FUNCTION_LIMIT}")
    return findings, len(measured), table


def print_table(table):
    head = ("25%", "median", "90%", "largest")
    print(f"{'':10}{'files':>6} " + "".join(f"{name:>8}" for name in head) + f"   {'functions':>9} "
          + "".join(f"{name:>8}" for name in head))
    for folder, (file_sizes, function_sizes) in table.items():
        print(f"{folder:10}{len(file_sizes):6} " + "".join(f"{size:8}" for size in quantiles(file_sizes))
              + f"   {len(function_sizes):9} " + "".join(f"{size:8}" for size in quantiles(function_sizes)))


if __name__ == "__main__":
    found, number, sizes = check(tree.arguments(__doc__).root)
    print_table(sizes)
    tree.report(found, number)
