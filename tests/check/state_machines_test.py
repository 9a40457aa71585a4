"""The check of the page on state machines finds a page that the tables have outgrown."""

import unittest

import check_support
import state_machines

PAGE = "# State machines\n\n| 0 | `STATE_IDLE` |\n"


class StateMachines(check_support.PlantedTree):
    def setUp(self):
        super().setUp()
        self.plant("printed", PAGE)
        self.plant("program", f"#!/bin/sh\ncat {self.root}/printed\n")
        self.program = self.root / "program"
        self.program.chmod(0o755)

    def findings(self):
        return state_machines.check(self.root, self.program)[0]

    def test_accepts_the_page_as_printed(self):
        self.plant("docs/state-machines.md", PAGE)
        self.assertEqual(self.findings(), [])
        self.assertEqual(state_machines.check(self.root, self.program)[1], 3)

    def test_finds_a_changed_line(self):
        self.plant("docs/state-machines.md", PAGE.replace("IDLE", "IDEL"))
        self.assert_found(self.findings(), "docs/state-machines.md:3", "state-machines-page")

    def test_finds_a_missing_line(self):
        self.plant("docs/state-machines.md", PAGE.split("|", maxsplit=1)[0])
        self.assert_found(self.findings(), "docs/state-machines.md:3", "state-machines-page")

    def test_finds_a_line_too_many(self):
        self.plant("docs/state-machines.md", PAGE + "| 1 | `STATE_END` |\n")
        self.assert_found(self.findings(), "docs/state-machines.md:4", "state-machines-page")

    def test_finds_that_there_is_no_page(self):
        self.assert_found(self.findings(), "docs/state-machines.md is missing", "state-machines-page")

    def test_writes_the_page(self):
        self.plant("docs/state-machines.md", "old\n")
        state_machines.write(self.root, self.program)
        self.assertEqual(self.findings(), [])


if __name__ == "__main__":
    unittest.main()
