#!/usr/bin/env python3
"""Compares docs/state-machines.md with what the tables of steps say; with --write, writes it anew.

What they say is what the program built from state_machines.cc prints.
"""

import subprocess

import tree

PAGE = "docs/state-machines.md"
ADVICE = "write it anew: cmake --build --preset dev --target state-machines-page"


def printed(program):
    return subprocess.run([program], check=True, capture_output=True, text=True).stdout


def check(root, program):
    """The findings and the number of lines that were compared."""
    wanted = printed(program).splitlines()
    page = root / PAGE
    if not page.is_file():
        return [f"{PAGE} is missing; {ADVICE}"], len(wanted)
    there = page.read_text(encoding="utf-8").splitlines()
    if there == wanted:
        return [], len(wanted)
    differing = next((number for number, pair in enumerate(zip(there, wanted), 1) if pair[0] != pair[1]),
                     min(len(there), len(wanted)) + 1)
    return [f"{PAGE}:{differing}: is not what the tables of steps say; {ADVICE}"], len(wanted)


def write(root, program):
    (root / PAGE).write_text(printed(program), encoding="utf-8")


if __name__ == "__main__":
    options = tree.arguments(__doc__, ("program", {"help": "the program that prints the page"}),
                             ("--write", {"action": "store_true", "help": "write the page"}))
    if options.write:
        write(options.root, options.program)
    tree.report(*check(options.root, options.program))
