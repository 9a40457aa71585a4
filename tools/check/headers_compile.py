#!/usr/bin/env python3
"""Compiles every public header alone: a .h as C11 and as C++20, a .hh as C++20, with every compiler that is there."""

import concurrent.futures
import os
import shutil
import subprocess

import tree

C11 = ("c", "-std=c11")
CXX20 = ("c++", "-std=c++20")
WARNINGS = ["-Wall", "-Wextra", "-Werror", "-pedantic", "-Wstrict-prototypes", "-Wundef"]
COMPILERS = ("gcc", "clang", "clang-14")


def compile_alone(root, compiler, language, standard, file):
    """The compiler's complaint about a file that holds nothing but this include, or None."""
    warnings = [flag for flag in WARNINGS if language == "c" or flag != "-Wstrict-prototypes"]
    command = [compiler, "-fsyntax-only", "-x", language, standard, *warnings, "-I", str(root / "include"), "-"]
    # Twice, so that a missing include guard shows.
    include = f"#include <{file.relative_to('include')}>\n"
    # A translation unit must hold a declaration.
    result = subprocess.run(command, input=include * 2 + "int unit;\n", capture_output=True, text=True)
    if result.returncode == 0:
        return None
    return f"{file}: not alone as {standard[5:]} with {compiler}:\n{result.stderr}"


def check(root, compilers):
    """The findings of the tree at ROOT and the number of compilations."""
    jobs = []
    for file in tree.files(root, "include", suffixes={".h", ".hh"}):
        for compiler in compilers:
            for language, standard in (C11, CXX20) if file.suffix == ".h" else (CXX20,):
                jobs.append((root, compiler, language, standard, file))
    with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count()) as pool:
        results = list(pool.map(lambda job: compile_alone(*job), jobs))
    return [result for result in results if result], len(jobs)


def compilers_here():
    """The compilers of this machine, no program twice."""
    found = {}
    for name in COMPILERS:
        path = shutil.which(name)
        if path:
            found.setdefault(os.path.realpath(path), name)
    return list(found.values())


if __name__ == "__main__":
    tree.report(*check(tree.arguments(__doc__).root, compilers_here()))
