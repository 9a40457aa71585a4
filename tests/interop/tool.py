"""The tool under test, run as a user runs it: files in, results on standard output, the exit status as verdict."""

import os
import re
import subprocess
import tempfile

SECONDS = 30
PASSWORD_VARIABLE = "SIPAUTH_INTEROP_PASSWORD"

# One option file for each qop a server of ours can demand. All of them speak MD5, the hash that the peers have.
ANSWER_OPTIONS = 'defaults = "SIPAUTH_DEFAULTS_COMPATIBLE"\n'
SERVER_OPTIONS = """defaults = "SIPAUTH_DEFAULTS_COMPATIBLE"
serverRealm = "interop.example"

[digestAlgorithms]
SIPAUTH_DIGEST_ALGORITHM_{algorithm} = true

[digestQops]
SIPAUTH_DIGEST_QOP_{qop} = true
"""
_QOP_NAMES = {None: "NONE", "auth": "AUTH", "auth-int": "AUTH_INT"}


class ToolError(Exception):
    """The tool did something else than expected."""


def server_options(qop, algorithm="MD5"):
    """The options of a server that demands this qop (None: none) and this algorithm, as a TOML text."""
    return SERVER_OPTIONS.format(qop=_QOP_NAMES[qop], algorithm=algorithm.upper().replace("-", "_"))


class Tool:
    """`sipauth`, or another program with its command line; the files that it reads lie in a private directory."""

    def __init__(self, path):
        self.path = os.path.abspath(path)
        self.password_by_file = False

    def __enter__(self):
        self.directory = tempfile.TemporaryDirectory(prefix="sipauth-interop-")
        return self

    def __exit__(self, *_):
        self.directory.cleanup()

    def _file(self, name, content):
        path = os.path.join(self.directory.name, name)
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return path

    def _run(self, arguments, password=None):
        """The finished process. The password goes by turns through the environment and through a file."""
        environment = dict(os.environ)
        environment.pop(PASSWORD_VARIABLE, None)
        if password is not None:
            self.password_by_file = not self.password_by_file
            if self.password_by_file:
                arguments = [*arguments, "--password-file", self._file("password", password + "\n")]
            else:
                arguments = [*arguments, "--password-env", PASSWORD_VARIABLE]
                environment[PASSWORD_VARIABLE] = password
        try:
            done = subprocess.run([self.path, *arguments], env=environment, capture_output=True, timeout=SECONDS,
                                  stdin=subprocess.DEVNULL, check=False)
        except subprocess.TimeoutExpired as error:
            raise ToolError(f"{arguments[0]} did not end in {SECONDS} s") from error
        if done.returncode not in (0, 1):
            raise ToolError(f"{arguments[0]} ended with {done.returncode}: {done.stderr.decode(errors='replace')}")
        return done

    def answer(self, request, response, user, password):
        """The request with credentials, exactly as the tool prints it; None when no challenge can be answered."""
        done = self._run(
            ["answer", "--request", self._file("request.sip", request), "--response",
             self._file("response.sip", response), "--user", user, "--options",
             self._file("options.toml", ANSWER_OPTIONS)], password)
        if done.returncode == 1 and not done.stderr:
            raise ToolError("answer failed without a word on standard error")
        return done.stdout if done.returncode == 0 else None

    def check(self, request, challenge, user, password, options):
        """(accepted, what the tool says)"""
        done = self._run(
            ["check", "--request", self._file("request.sip", request), "--challenge",
             self._file("response.sip", challenge), "--user", user, "--options",
             self._file("options.toml", options)], password)
        return done.returncode == 0, done.stdout.decode(errors="replace")

    def challenge(self, options, proxy=False):
        """The challenge header lines that these options give."""
        name = "Proxy-Authenticate" if proxy else "Www-Authenticate"
        done = self._run(["challenge", "--options", self._file("options.toml", options)]
                         + (["--proxy"] if proxy else []))
        lines = re.findall(rf"^{name}:[^\r\n]*", done.stdout.decode(), re.M | re.I)
        if done.returncode or not lines:
            raise ToolError(f"challenge printed no {name} line: {done.stdout.decode()}{done.stderr.decode()}")
        return lines
