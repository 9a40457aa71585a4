"""What the pages show is what the tool prints."""

import os
import re
import subprocess

import tool_case
from tool_case import TESTS, ToolCase

DOCS = TESTS.parent / "docs"
PAGE = DOCS / "tool.md"
# Pages with examples, and the least that each of them has.
PAGES = ((PAGE, 6), (DOCS / "configuration.md", 1))
# A command, which may go on over lines that end with a backslash, and what it prints.
EXAMPLE = re.compile(r"^\$ ((?:[^\n]*\\\n)*[^\n]*)\n((?:(?!\$ )[^\n]*\n)*)", re.M)


class Page(ToolCase):
    def test_shows_what_the_tool_prints(self):
        # Examples write files; they must not do so into the tree.
        os.symlink(TESTS, self.folder / "tests")
        os.symlink(self.tool, self.folder / "sipauth")
        for page, least in PAGES:
            self.check_page(page.read_text(), least)

    def check_page(self, page, least):
        """Runs the examples of a page, with its configuration in "sipauth.toml"."""
        for configuration in re.findall(r"^```toml\n(.*?)^```$", page, re.M | re.S):
            self.file("sipauth.toml", configuration)
        blocks = re.findall(r"^```console\n(.*?)^```$", page, re.M | re.S)
        examples = [example for block in blocks for example in EXAMPLE.findall(block)]
        self.assertGreaterEqual(len(examples), least)
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
