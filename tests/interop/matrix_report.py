"""A matrix of peers by cases, each with a checked outcome."""

import time
import traceback


class Matrix:
    """Runs cases one by one, prints each as it ends, and the matrix at the end."""

    def __init__(self, only=None):
        self.only = only
        self.rows = {}   # peer -> {case: "ok", "FAILED", "-"}
        self.notes = []  # what failed, and why
        self.peers = {}  # peer -> version

    def peer(self, name, version):
        """Whether a peer takes part: it is installed and wanted."""
        if self.only and name not in self.only:
            return False
        self.peers[name] = version or "not installed"
        self.rows[name] = {}
        return bool(version)

    def case(self, peer, case, run):
        """RUN raises when the outcome is not what it must be."""
        started = time.monotonic()
        try:
            run()
            outcome = "ok"
        except Exception as error:  # Whatever goes wrong in one case, the others still run; the sum tells of it.
            outcome = "FAILED"
            self.notes.append(f"{peer}, {case}: {type(error).__name__}: {error}")
            if not isinstance(error, (AssertionError, RuntimeError)):
                self.notes[-1] += "\n" + traceback.format_exc(limit=-3)
        self.rows[peer][case] = outcome
        print(f"{outcome:7} {peer}: {case} ({time.monotonic() - started:.1f} s)", flush=True)
        if outcome != "ok":
            print(self.notes[-1], flush=True)

    def counts(self):
        outcomes = [outcome for row in self.rows.values() for outcome in row.values()]
        return outcomes.count("ok"), outcomes.count("FAILED")

    def markdown(self):
        """One table for each set of cases that peers share."""
        lines = []
        groups = {}
        for peer, row in self.rows.items():
            groups.setdefault(tuple(row), []).append(peer)
        for cases, peers in groups.items():
            if not cases:
                continue
            lines.append("| case | " + " | ".join(f"{peer} {self.peers[peer]}" for peer in peers) + " |")
            lines.append("|---|" + "---|" * len(peers))
            for case in cases:
                lines.append(f"| {case} | " + " | ".join(self.rows[peer][case] for peer in peers) + " |")
            lines.append("")
        return "\n".join(lines)

    def finish(self):
        """Prints the matrix; the exit status."""
        passed, failed = self.counts()
        print("\n" + self.markdown())
        for peer, version in self.peers.items():
            if not self.rows[peer]:
                print(f"{peer}: {version}")
        print("\n".join(self.notes))
        print(f"{passed} passed, {failed} failed")
        return 1 if failed or not passed else 0
