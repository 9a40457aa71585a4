"""What the checks share: the files of the source tree, and how a check reports."""

import argparse
import os
import pathlib
import re
import sys

DEFAULT_ROOT = pathlib.Path(__file__).resolve().parents[2]

# Folders that hold no source: build trees, installed trees, caches.
SKIPPED_FOLDERS = {"build", "install", "__pycache__", "corpus"}

CXX_SUFFIXES = {".cc", ".h", ".hh", ".c"}


def files(root, *folders, suffixes=None):
    """The files under the given folders of ROOT (all of them without folders), sorted, as paths relative to ROOT."""
    found = []
    for folder in folders or (".",):
        for path, names, entries in os.walk(root / folder):
            names[:] = [name for name in names if name not in SKIPPED_FOLDERS and not name.startswith(".git")]
            for entry in entries:
                if entry == ".git":
                    continue
                file = pathlib.Path(path, entry)
                if not file.is_symlink() and (suffixes is None or file.suffix in suffixes):
                    found.append(file.relative_to(root))
    return sorted(set(found))


def read(root, file):
    """The text of a file. A file that is not UTF-8 is an error of the tree, so decoding is strict."""
    return (root / file).read_text(encoding="utf-8")


def without_comments(text):
    """C or C++ text with comments blanked, so that line numbers stay. String and character literals are kept."""
    pattern = re.compile(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'|//[^\n]*|/\*.*?\*/', re.DOTALL)

    def blank(match):
        token = match.group()
        return token if token[0] in "\"'" else re.sub(r"[^\n]", " ", token)

    return pattern.sub(blank, text)


def without_directives(text):
    """C or C++ text with preprocessor directives blanked, their continuation lines too."""
    return re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", lambda match: re.sub(r"[^\n]", " ", match.group()), text,
                  flags=re.MULTILINE)


def line_of(text, offset):
    """The number of the line that OFFSET lies on."""
    return text.count("\n", 0, offset) + 1


def arguments(description, *more):
    """The command line of a check: --root, and what it adds as (flag, options) pairs."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--root", type=pathlib.Path, default=DEFAULT_ROOT, help="root of the source tree")
    for flag, options in more:
        parser.add_argument(flag, **options)
    return parser.parse_args()


def report(findings, checked):
    """Prints the findings and ends the process: 0 when there is none. A check that looked at nothing has failed."""
    for finding in findings:
        print(finding)
    if not checked:
        print("nothing to check was found")
        sys.exit(1)
    print(f"{checked} checked, {len(findings)} found wrong")
    sys.exit(1 if findings else 0)
