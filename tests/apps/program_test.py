"""The program as such: exit statuses, help, files that cannot be read."""

import subprocess

import tool_case
from tool_case import DATA, ToolCase

COMMANDS = ("parse", "answer", "check", "challenge", "settings", "trace", "register", "options", "message", "invite")
SIGNED = DATA / "sipp" / "register_auth_authorized.sip"
ASKED = DATA / "sipp" / "register_auth_challenge.sip"


class Usage(ToolCase):
    def test_is_explained(self):
        done = self.expect(0, "--help")
        for command in COMMANDS:
            self.assertRegex(done.out, rf"(?m)^  {command} ")
            self.assertIn("--help", self.expect(0, command, "--help").out)
        for command in ("parse", "answer", "check", "challenge", "trace", "register", "options", "message", "invite"):
            self.assertIn("--json", self.expect(0, command, "--help").out)
        for command in ("show", "normalize"):
            self.assertIn("--json", self.expect(0, "settings", command, "--help").out)

    def test_tells_the_version(self):
        self.assertRegex(self.expect(0, "--version").out, r"^sipauth \d+\.\d+(\.\d+)*\n$")

    def test_is_refused_with_2(self):
        for arguments in ((), ("unknown",), ("--unknown",), ("parse", "a", "b"), ("answer",), ("check",), ("trace",),
                          ("challenge",), ("settings",), ("settings", "unknown"), ("register",),
                          ("options",), ("message",), ("invite",),
                          ("answer", "--request", SIGNED, "--user", "alice")):
            with self.subTest(arguments):
                done = self.expect(2, *arguments)
                self.assertEqual(done.out, "")
                self.assertTrue(done.err)

    def test_is_told_of_files_that_cannot_be_read(self):
        options = self.file("options.toml", 'defaults = "SIPAUTH_DEFAULTS_COMPATIBLE"\n')
        for path in (self.folder / "none", self.folder):
            for arguments in (("parse", path), ("check", "--request", path),
                              ("check", "--request", SIGNED, "--challenge", path),
                              ("check", "--request", SIGNED, "--options", path),
                              ("check", "--request", SIGNED, "--password-file", path),
                              ("answer", "--user", "alice", "--request", path, "--response", ASKED),
                              ("answer", "--user", "alice", "--request", SIGNED, "--response", path),
                              ("answer", "--user", "alice", "--request", SIGNED, "--response", ASKED, "--options",
                               options, "--password-file", path),
                              ("challenge", "--options", path), ("settings", "show", path),
                              ("settings", "normalize", path), ("trace", path)):
                with self.subTest(arguments):
                    self.assertIn("cannot be read", self.expect(2, *arguments).err)

    def test_is_told_of_a_result_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([self.tool, "parse", str(ASKED)], stdout=full, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"cannot be written", done.stderr)


class Json(ToolCase):
    def test_has_the_members_that_are_promised(self):
        parsed = self.expect(0, "parse", "--json", ASKED).json()
        self.assertEqual(set(parsed), {"values", "errors"})
        self.assertEqual(set(parsed["values"][0]), {"line", "header", "kind", "scheme", "parameters"})
        checked = self.expect(0, "check", "--json", "--request", SIGNED, password="secret").json()
        self.assertEqual(set(checked), {"passed", "checks", "received", "computed", "cause", "notes"})
        self.assertEqual(set(checked["checks"][0]), {"check", "outcome", "detail"})
        answered = self.expect(0, "answer", "--json", "--request", SIGNED, "--response", ASKED, "--user", "alice",
                               password="secret").json()
        self.assertEqual(set(answered), {"challenges", "request"})
        self.assertEqual(set(answered["challenges"][0]), {"value", "decision"})

    def test_holds_for_bytes_that_are_no_text(self):
        done = self.expect(1, "parse", "--json", stdin=b'\xff\xfeDigest realm="\xff"\n')
        self.assertEqual(len(done.json()["errors"]), 1)
        done = self.expect(0, "parse", "--json", stdin=b'Digest realm="\xff"\n')
        self.assertEqual(done.json()["values"][0]["parameters"]["realm"], "\ufffd")


if __name__ == "__main__":
    tool_case.main()
