"""Where passwords come from, and that they do not come out again."""

import hashlib
import os
import pty
import re
import select
import signal
import subprocess
import termios
import time

import tool_case
from tool_case import DATA, SECONDS, ToolCase

import digest_oracle

SIGNED = DATA / "sipp" / "register_auth_authorized.sip"
ASKED = DATA / "sipp" / "register_auth_challenge.sip"
CHECK = ("check", "--request", SIGNED, "--challenge", ASKED)
H_A1 = hashlib.md5(b"alice:interop.example:secret").hexdigest()


class Sources(ToolCase):
    def test_are_an_environment_variable(self):
        self.expect(0, *CHECK, password="secret")
        self.expect(1, *CHECK, password="not-secret")
        self.expect(1, *CHECK, password="")

    def test_are_the_first_line_of_a_file(self):
        for content in ("secret", "secret\n", "secret\r\nmore\n"):
            self.expect(0, *CHECK, "--password-file", self.file("password", content))
        self.expect(1, *CHECK, "--password-file", self.file("password", "\nsecret\n"))

    def test_are_standard_input_as_a_file(self):
        self.expect(0, *CHECK, "--password-file", "-", stdin=b"secret\n")

    def test_must_be_there(self):
        self.assertIn("SIPAUTH_TEST_NO_PASSWORD is not set",
                      self.expect(2, *CHECK, "--password-env", "SIPAUTH_TEST_NO_PASSWORD").err)
        self.assertIn("cannot be read", self.expect(2, *CHECK, "--password-file", self.folder / "none").err)
        self.assertIn("no terminal", self.expect(2, *CHECK, stdin=b"secret\n").err)
        self.expect(2, *CHECK, "--password-file", self.file("password", "secret"), password="secret")
        self.expect(2, *CHECK, "--password", "secret")


class Prompt(ToolCase):
    def start(self):
        """The tool on a terminal of its own; it asks on standard error."""
        ours, its = pty.openpty()
        self.addCleanup(os.close, ours)
        process = subprocess.Popen([self.tool, *map(str, CHECK)], stdin=its, stderr=its, stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.kill)
        self.addCleanup(os.close, its)
        return ours, its, process

    def read_until(self, terminal, text):
        shown = b""
        end = time.monotonic() + SECONDS
        while text not in shown:
            ready, _, _ = select.select([terminal], [], [], max(0, end - time.monotonic()))
            self.assertTrue(ready, f"{text} did not come, but {shown}")
            shown += os.read(terminal, 4096)
        return shown

    def echoes(self, terminal):
        return bool(termios.tcgetattr(terminal)[3] & termios.ECHO)

    def test_asks_without_echo(self):
        ours, its, process = self.start()
        shown = self.read_until(ours, b"Password of alice: ")
        self.assertFalse(self.echoes(its))
        os.write(ours, b"secret\n")
        shown += self.read_until(ours, b"\n")
        self.assertEqual(process.wait(SECONDS), 0)
        self.assertNotIn(b"secret", shown + process.stdout.read())
        self.assertTrue(self.echoes(its))

    def test_needs_an_answer(self):
        ours, _, process = self.start()
        self.read_until(ours, b": ")
        os.write(ours, b"\x04")
        self.assertEqual(process.wait(SECONDS), 2)

    def test_leaves_the_echo_on_when_a_signal_ends_it(self):
        ours, its, process = self.start()
        self.read_until(ours, b": ")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(SECONDS), -signal.SIGINT)
        self.assertTrue(self.echoes(its))


class Secrets(ToolCase):
    def test_come_out_on_demand_only(self):
        for password in ("secret", "not-secret"):
            for more in ((), ("--json",)):
                done = self.run_tool(*CHECK, *more, password=password)
                known = hashlib.md5(f"alice:interop.example:{password}".encode()).hexdigest()
                self.assertNotIn(known, done.out + done.err)
                self.assertNotIn(password, done.out + done.err)
                done = self.run_tool(*CHECK, *more, "--secrets", password=password)
                self.assertIn(known, done.out)
                # The word "secret" stands before each of them.
                told = re.sub(r'(?m)^secret |"secrets"', "", done.out)
                self.assertNotIn(password, told + done.err)

    def test_are_the_intermediate_hashes(self):
        done = self.expect(0, *CHECK, "--secrets", "--json", password="secret")
        found = digest_oracle.credentials_of(SIGNED.read_bytes())
        h_a2 = hashlib.md5(f"REGISTER:{found['uri']}".encode()).hexdigest()
        self.assertEqual(done.json()["secrets"],
                         [f"H(A1): {H_A1}", f"H(A2): {h_a2}", f"result: {found['response']}"])
        self.assertNotIn("secrets", self.expect(0, *CHECK, "--json", password="secret").json())

    def test_stay_hidden_for_every_recorded_exchange(self):
        for peer, row in tool_case.exchanges():
            if row["status"] == "-":
                continue
            known = hashlib.md5(f"{digest_oracle.escape(row['user'])}:{row['realm']}:s3cret-word".encode()).hexdigest()
            folder = DATA / peer
            for arguments in (("check", "--request", folder / f"{row['name']}_authorized.sip"),
                              ("answer", "--request", folder / f"{row['name']}_request.sip", "--response",
                               folder / f"{row['name']}_challenge.sip")):
                done = self.run_tool(*arguments, "--user", row["user"], password="s3cret-word")
                self.assertIn(done.status, (0, 1), done)
                self.assertNotIn("s3cret-word", done.out + done.err)
                self.assertNotIn(known, done.out + done.err)


if __name__ == "__main__":
    tool_case.main()
