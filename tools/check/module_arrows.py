#!/usr/bin/env python3
"""Refuses includes that point upwards: every #include must follow an arrow of the module graph.

The graph is written down here and nowhere else. A module may include the public headers of the modules that it uses
and, of their internal headers, only those that are tools for modules above: none whose name ends in "_private.h" but
the one with which a module describes itself.
"""

import re

import tree

PLATFORM = {
    "pb": set(),
    "tr": {"pb"},
    "rfc": {"pb"},
    "iri": {"pb"},
    "cry": {"pb"},
    "cs": {"pb", "tr"},
    "usr": {"pb", "tr", "rfc", "cs"},
    "sipsn": {"pb", "tr", "iri"},
    "sipbn": {"pb", "tr", "iri", "sipsn"},
    "siptp": {"pb", "tr", "iri", "sipsn"},
}
LIBRARY = "sipauth"
HOST = "host"
# What depends on more than libcrypto: each a library of its own. The drivers of user directories with what they share,
# the format of configuration files.
DRIVERS = {
    "cs_toml": {"pb", "tr", "cs"},
    "usr_seal": {"pb", "tr", "rfc", "usr"},
    "usr_sqlite": {"pb", "tr", "rfc", "usr", "usr_seal"},
    "usr_postgres": {"pb", "tr", "rfc", "usr", "usr_seal"},
}
USES = {**PLATFORM, **DRIVERS, LIBRARY: set(PLATFORM), HOST: set(PLATFORM) | {LIBRARY}}

# Internal headers that every module may include although their names say private.
SHARED_PRIVATE = {"pb/pb_module_private.h"}

# Folders around the modules. They may use every module. Those that link the library's objects may look inside the
# library; only tests and fuzz targets may look inside a platform module.
AROUND = ("apps", "examples", "bench")
AROUND_INSIDE = ("tests", "fuzz")

# What library code may take from outside the tree besides the headers of the languages and of POSIX.
LIBCRYPTO_USERS = set(PLATFORM) | {"usr_seal"}
THIRD_PARTY_USERS = {"sqlite3.h": "usr_sqlite", "libpq-fe.h": "usr_postgres", "toml++/toml.h": "cs_toml"}
SYSTEM_FOLDERS = {"sys", "netinet", "arpa", "net"}

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"]+)[>"]', re.MULTILINE)


def is_private(target):
    return target.endswith("_private.h") and target not in SHARED_PRIVATE


def module_problem(module, public, bracket, target):
    """Why a file of MODULE may not include TARGET, or None. PUBLIC says that the file is a public header."""
    folder = target.split("/")[0] if "/" in target else ""
    if folder in USES:
        if public and bracket == '"':
            return "a public header includes an internal one"
        if folder == module:
            return None
        if folder not in USES[module]:
            return f"{module} may not use {folder}"
        if bracket == '"' and is_private(target):
            return f"{target} is private to {folder}"
        return None
    if bracket == '"':
        return "an internal header is named by its path from source/"
    if folder == "openssl":
        if public:
            return "a public header depends on nothing but the language"
        return None if module in LIBCRYPTO_USERS else f"{module} may not use libcrypto"
    if target in THIRD_PARTY_USERS:
        return None if module == THIRD_PARTY_USERS[target] and not public else f"{module} may not use {target}"
    if folder and folder not in SYSTEM_FOLDERS:
        return f"{module} may not use a third-party library"
    return None


def around_problem(place, bracket, target):
    """Why a file of a folder around the modules may not include TARGET, or None."""
    folder = target.split("/")[0] if "/" in target else ""
    if place in AROUND and bracket == '"' and folder in USES and folder != LIBRARY and is_private(target):
        return f"{target} is private to {folder}"
    return None


def problem(file, bracket, target):
    place = file.parts[0]
    if place in ("source", "include"):
        module = file.parts[1]
        if module not in USES:
            return f"{module} is no module of the graph"
        return module_problem(module, place == "include", bracket, target)
    return around_problem(place, bracket, target)


def check(root):
    """The findings of the tree at ROOT and the number of includes that were looked at."""
    findings = []
    checked = 0
    for file in tree.files(root, "source", "include", *AROUND, *AROUND_INSIDE, suffixes=tree.CXX_SUFFIXES):
        text = tree.read(root, file)
        for match in INCLUDE.finditer(text):
            checked += 1
            why = problem(file, *match.groups())
            if why:
                findings.append(f"{file}:{tree.line_of(text, match.start())}: {match.group(2)}: {why}")
    return findings, checked


if __name__ == "__main__":
    tree.report(*check(tree.arguments(__doc__).root))
