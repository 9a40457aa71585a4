#!/usr/bin/env python3
"""Compares what a shared library exports with what its headers declare under PB_EXPORT, both ways.

A symbol without a declaration has leaked; a declaration without a symbol promises what nobody can link.
"""

import re
import subprocess

import tree

DECLARATION = re.compile(r"\bPB_EXPORT\b([^;{]*)")
ATTRIBUTE = re.compile(r"__attribute__\s*\(\s*\(.*?\)\s*\)\s*\)?", re.DOTALL)


def declared_name(declaration):
    """The name that a declaration declares: of a function what stands before its parameters, else the last word."""
    before_parameters = ATTRIBUTE.sub(" ", declaration).split("(")[0]
    words = re.findall(r"[A-Za-z_][A-Za-z0-9_]*", re.sub(r"\[.*?\]", "", before_parameters))
    return words[-1] if words else ""


def declared(root, modules):
    """The names that the headers of MODULES declare as exported, each with its header."""
    names = {}
    for module in modules:
        for file in tree.files(root, f"include/{module}", f"source/{module}", suffixes={".h", ".hh"}):
            text = tree.without_directives(tree.without_comments(tree.read(root, file)))
            for match in DECLARATION.finditer(text):
                names[declared_name(match.group(1))] = file
    return names


def exported(library, nm="nm"):
    """The names in the dynamic symbol table that LIBRARY defines, version suffixes cut off."""
    listing = subprocess.run([nm, "-D", "--defined-only", "--format=posix", library], check=True, capture_output=True,
                             text=True).stdout
    return {line.split()[0].split("@")[0] for line in listing.splitlines() if line.split()[1] != "A"}


def check(root, library, modules):
    """The findings for one library and the number of names that were compared."""
    headers = declared(root, modules)
    symbols = exported(library)
    findings = [f"{headers[name]}: {name} is declared but not exported" for name in sorted(set(headers) - symbols)]
    findings += [f"{library}: {name} is exported but not declared" for name in sorted(symbols - set(headers))]
    return findings, len(symbols | set(headers))


if __name__ == "__main__":
    options = tree.arguments(__doc__, ("library", {"help": "the shared library"}),
                             ("modules", {"nargs": "+", "help": "the modules that it is made of"}))
    tree.report(*check(options.root, options.library, options.modules))
