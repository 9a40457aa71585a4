"""What the tool's page shows is what the tool prints."""

import os
import re
import subprocess

import tool_case
from tool_case import TESTS, ToolCase

PAGE = TESTS.parent / "docs" / "tool.md"
# A command, which may go on over lines that end with a backslash, and what it prints.
EXAMPLE = re.compile(r"^\$ ((?:[^\n]*\\\n)*[^\n]*)\n((?:(?!\$ )[^\n]*\n)*)", re.M)


class Page(ToolCase):
    def test_shows_what_the_tool_prints(self):
        blocks = re.findall(r"^```console\n(.*?)^```$", PAGE.read_text(), re.M | re.S)
        examples = [example for block in blocks for example in EXAMPLE.findall(block)]
        self.assertGreaterEqual(len(examples), 6)
        # Examples write files; they must not do so into the tree.
        os.symlink(TESTS, self.folder / "tests")
        os.symlink(self.tool, self.folder / "sipauth")
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}
        for command, output in examples:
            with self.subTest(command):
                done = subprocess.run(command, shell=True, cwd=self.folder, env=environment, text=True, check=False,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
                self.assertEqual(done.stdout, output)

    def test_names_every_kind_of_cause(self):
        page = PAGE.read_text()
        for name in ("cause.cc", "check.cc", "check_digest.cc"):
            source = (TESTS.parent / "apps" / "sipauth" / name).read_text()
            kinds = re.findall(r'(?:return|Cause|attempt\(|push_back\(|count\()\s*\{?\s*"([a-z]+(?:-[a-z]+)+)"', source)
            self.assertTrue(kinds, name)
            for kind in kinds:
                self.assertIn(f"`{kind}`", page)


if __name__ == "__main__":
    tool_case.main()
