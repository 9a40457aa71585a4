"""What driving each of the clients has in common."""

import ctypes
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time

HOST = "127.0.0.1"
_PR_SET_PDEATHSIG = 1


class ClientError(Exception):
    """A client did not do what the case needs."""


def find(program):
    return shutil.which(program, path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")


def version(command, pattern):
    """The version that a program tells of itself; "" when it is not there."""
    if not find(command[0]):
        return ""
    said = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=20, check=False)
    match = re.search(pattern, (said.stdout + said.stderr).decode(errors="replace"))
    return match[1] if match else "?"


def package_version(package):
    """The version of a Debian package; "" when it is not installed."""
    said = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package], capture_output=True, check=False)
    return said.stdout.decode() if said.returncode == 0 else ""


def _die_with_parent():
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


class Client:
    """A program in a folder of its own, whose output is kept."""

    def __init__(self):
        self.directory = tempfile.TemporaryDirectory(prefix="sipauth-phone-")
        self.folder = self.directory.name
        self.output = os.path.join(self.folder, "output")
        self.process = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        self.directory.cleanup()

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def start(self, command, stdin=subprocess.DEVNULL, environment=None):
        with open(self.output, "ab") as out:
            self.process = subprocess.Popen(command, cwd=self.folder, stdin=stdin, stdout=out, stderr=subprocess.STDOUT,
                                            env={**os.environ, **(environment or {})}, start_new_session=True,
                                            preexec_fn=_die_with_parent)

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(3)
            except subprocess.TimeoutExpired:
                os.killpg(self.process.pid, signal.SIGKILL)
        if self.process:
            self.process.wait()
            if self.process.stdin:
                self.process.stdin.close()
        self.process = None

    def said(self):
        with open(self.output, encoding="utf-8", errors="replace") as file:
            return file.read()

    def wait_for(self, pattern, seconds=10):
        """Until the output has it; the match."""
        deadline = time.monotonic() + seconds
        while True:
            match = re.search(pattern, self.said())
            if match:
                return match
            if time.monotonic() > deadline:
                raise ClientError(f"no {pattern!r} in what {type(self).__name__} said:\n{self.said()[-1500:]}")
            time.sleep(0.05)

    def end(self, seconds=15):
        """The exit status."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired as error:
            raise ClientError(f"{type(self).__name__} did not end:\n{self.said()[-1500:]}") from error
