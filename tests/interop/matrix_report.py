"""A matrix of cases by peers, each with a checked outcome."""

import time
import traceback

ABSENT = "-"


class Section:
    """A table: a row for each case, a column for each peer or way."""

    def __init__(self, title):
        self.title = title
        self.columns = []
        self.rows = {}  # case -> {column: outcome}

    def markdown(self):
        lines = [f"### {self.title}", "", "| case | " + " | ".join(self.columns) + " |",
                 "|---|" + "---|" * len(self.columns)]
        for case, outcomes in self.rows.items():
            lines.append(f"| {case} | " + " | ".join(outcomes.get(column, ABSENT) for column in self.columns) + " |")
        return "\n".join(lines) + "\n"


class Matrix:
    """Runs cases one by one, prints each as it ends, and the tables at the end."""

    def __init__(self, only=None):
        self.only = only
        self.sections = []
        self.notes = []  # what failed, and why
        self.versions = {}  # peer -> version

    def section(self, title):
        """The cases that follow stand in a table of this title."""
        self.sections.append(Section(title))

    def peer(self, name, version):
        """Whether a peer takes part: it is installed and wanted."""
        if self.only and name not in self.only:
            return False
        self.versions[name] = version or "not installed"
        return bool(version)

    def case(self, column, case, run):
        """RUN raises when the outcome is not what it must be."""
        section = self.sections[-1]
        started = time.monotonic()
        try:
            run()
            outcome = "ok"
        except Exception as error:  # Whatever goes wrong in one case, the others still run; the sum tells of it.
            outcome = "FAILED"
            self.notes.append(f"{section.title}, {column}, {case}: {type(error).__name__}: {error}")
            if not isinstance(error, (AssertionError, RuntimeError)):
                self.notes[-1] += "\n" + traceback.format_exc(limit=-3)
        if column not in section.columns:
            section.columns.append(column)
        section.rows.setdefault(case, {})[column] = outcome
        print(f"{outcome:7} {column}: {case} ({time.monotonic() - started:.1f} s)", flush=True)
        if outcome != "ok":
            print(self.notes[-1], flush=True)

    def counts(self):
        outcomes = [outcome for section in self.sections for row in section.rows.values() for outcome in row.values()]
        return outcomes.count("ok"), outcomes.count("FAILED")

    def markdown(self):
        versions = "".join(f"| {name} | {version} |\n" for name, version in self.versions.items())
        tables = "\n".join(section.markdown() for section in self.sections if section.rows)
        return f"| program | version |\n|---|---|\n{versions}\n{tables}"

    def finish(self):
        """Prints the matrix; the exit status."""
        passed, failed = self.counts()
        print("\n" + self.markdown())
        print("\n".join(self.notes))
        print(f"{passed} passed, {failed} failed")
        return 1 if failed or not passed else 0
