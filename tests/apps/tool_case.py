"""What the tests of the tool share: running it as a user does, and the recorded messages."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

TESTS = pathlib.Path(__file__).resolve().parents[1]
DATA = TESTS / "data"
sys.path.insert(0, str(TESTS / "interop"))

VARIABLE = "SIPAUTH_TEST_PASSWORD"
SECONDS = 60
EXCHANGE_COLUMNS = ("name", "user", "password", "used", "realm", "qop", "status")
VARIANT_COLUMNS = ("name", "verdict", "cause", "user", "password", "realm")


def rows(path, columns):
    """The rows of a table of tests/data as dictionaries."""
    lines = (DATA / path).read_text().splitlines()
    return [dict(zip(columns, line.split("\t"))) for line in lines if line and not line.startswith("#")]


def exchanges():
    """All recorded exchanges as (peer, row)."""
    return [(peer, row) for peer in ("kamailio", "sipp") for row in rows(f"{peer}/exchanges.tsv", EXCHANGE_COLUMNS)]


def message(*lines, body=b""):
    """A SIP message of a start line and header lines."""
    return "\r\n".join([*lines, f"Content-Length: {len(body)}"]).encode() + b"\r\n\r\n" + body


def request(*lines, method="REGISTER", uri="sip:example.org", body=b""):
    return message(f"{method} {uri} SIP/2.0", *lines, body=body)


def challenge(*values, status=401):
    """A 401 or 407 with these challenges."""
    name = "Proxy-Authenticate" if status == 407 else "WWW-Authenticate"
    return message(f"SIP/2.0 {status} Challenged", *(f"{name}: {value}" for value in values))


class Done:
    """A run of the tool that has ended."""

    def __init__(self, completed):
        self.status = completed.returncode
        self.stdout = completed.stdout
        self.out = completed.stdout.decode("utf-8", errors="replace")
        self.err = completed.stderr.decode("utf-8", errors="replace")

    def json(self):
        return json.loads(self.stdout.decode("utf-8"))

    def __repr__(self):
        return f"status {self.status}\n--- stdout\n{self.out}--- stderr\n{self.err}"


class ToolCase(unittest.TestCase):
    """A test with a directory of its own for the files that it gives to the tool."""

    tool = os.environ.get("SIPAUTH_TOOL", "")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return str(path)

    def run_tool(self, *arguments, stdin=b"", password=None):
        environment = {name: value for name, value in os.environ.items() if name != VARIABLE}
        # What a sanitizer finds shall not look like a "no".
        for name in ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            environment[name] = f"{environment.get(name, '')}:exitcode=99"
        if password is not None:
            environment[VARIABLE] = password
            arguments = (*arguments, "--password-env", VARIABLE)
        return Done(subprocess.run([self.tool, *map(str, arguments)], input=stdin, env=environment, timeout=SECONDS,
                                   capture_output=True, check=False))

    def expect(self, status, *arguments, **more):
        """Runs the tool; it must end with this status."""
        done = self.run_tool(*arguments, **more)
        self.assertEqual(done.status, status, f"{' '.join(map(str, arguments))}: {done}")
        return done

    def check(self, request_bytes, challenge_bytes=None, *more, user=None, password="secret"):
        """What `check --json` says; the exit status must say the same."""
        arguments = ["check", "--json", "--request", self.file("request.sip", request_bytes), *more]
        if challenge_bytes is not None:
            arguments += ["--challenge", self.file("challenge.sip", challenge_bytes)]
        if user is not None:
            arguments += ["--user", user]
        done = self.run_tool(*arguments, password=password)
        self.assertIn(done.status, (0, 1), done)
        result = done.json()
        self.assertEqual(result["passed"], done.status == 0)
        self.assertEqual(result["cause"] is None, done.status == 0)
        return result

    def answer(self, status, request_bytes, challenge_bytes, *more, user="alice", password="secret"):
        """What `answer --json` says."""
        return self.expect(status, "answer", "--json", "--request", self.file("request.sip", request_bytes),
                           "--response", self.file("challenge.sip", challenge_bytes), "--user", user, *more,
                           password=password).json()


def main():
    if not ToolCase.tool:
        raise SystemExit("SIPAUTH_TOOL must name the program to test")
    unittest.main()
