"""Real SIP programs as child processes on the loopback interface. Whatever starts here is also stopped here."""

import contextlib
import ctypes
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time

import sip_text

HERE = os.path.dirname(os.path.abspath(__file__))
HOST = "127.0.0.1"
WAIT_SECONDS = 5
START_SECONDS = 10
_PR_SET_PDEATHSIG = 1


class PeerError(Exception):
    """A peer did not start or did not answer."""


def missing():
    """The names of the peers that are not installed."""
    return [name for name in ("kamailio", "sipp") if not find(name)]


def find(name):
    """The path of a program; those of the administrator count, too."""
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")


def free_port():
    """A port that nobody uses at this moment, for UDP and for TCP."""
    while True:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as udp, socket.socket() as tcp:
            udp.bind((HOST, 0))
            with contextlib.suppress(OSError):
                tcp.bind((HOST, udp.getsockname()[1]))
                return udp.getsockname()[1]


def _die_with_parent():
    # A child outlives us neither when we are killed.
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)


def _start(command, log, directory):
    return subprocess.Popen(command, cwd=directory, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                            start_new_session=True, preexec_fn=_die_with_parent)


def _stop(process):
    """Asks the process to end, and after a while ends it with all that it started."""
    if process.poll() is None:
        process.terminate()
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(WAIT_SECONDS)
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    process.wait(WAIT_SECONDS)


class Endpoint:
    """One UDP socket of ours; every wait is bounded."""

    def __init__(self, port=0):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((HOST, port))
        self.port = self.socket.getsockname()[1]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, message, port):
        self.socket.sendto(message, (HOST, port))

    def receive(self, seconds=WAIT_SECONDS):
        """(message, port of the sender)"""
        self.socket.settimeout(seconds)
        try:
            message, address = self.socket.recvfrom(65535)
        except (TimeoutError, ConnectionError) as error:
            raise PeerError(f"nothing received on port {self.port} in {seconds} s") from error
        return message, address[1]

    def exchange(self, request, port, seconds=WAIT_SECONDS):
        """Sends a request and returns its final response."""
        self.send(request, port)
        deadline = time.monotonic() + seconds
        while True:
            response, _ = self.receive(max(deadline - time.monotonic(), 0.01))
            same = all(sip_text.headers(response, name) == sip_text.headers(request, name)
                       for name in ("Call-ID", "CSeq"))
            if same and sip_text.status(response) >= 200:
                return response


class Kamailio:
    """Kamailio with our configuration; `defines` as kamailio.cfg lists them."""

    def __init__(self, defines=(), port=None):
        self.defines = defines
        self.wanted_port = port

    def __enter__(self):
        # A free port may be taken by another program before Kamailio has it: then the next one is tried.
        for attempt in range(3):
            try:
                self._launch(self.wanted_port or free_port())
                return self
            except PeerError:
                if attempt == 2 or self.wanted_port:
                    raise
        raise AssertionError("not reached")

    def __exit__(self, *_):
        _stop(self.process)
        self.log.close()
        self.directory.cleanup()

    def _launch(self, port):
        self.port = port
        self.directory = tempfile.TemporaryDirectory(prefix="sipauth-kamailio-")
        self.log = open(os.path.join(self.directory.name, "log"), "w+b")
        command = [find("kamailio"), "-f", os.path.join(HERE, "kamailio.cfg"), "-DD", "-E", "-m", "16", "-M", "4",
                   "-w", self.directory.name, "-Y", self.directory.name,
                   "-P", os.path.join(self.directory.name, "pid"), "-A", f"PEER_PORT={port}"]
        for define in self.defines:
            command += ["-A", define]
        self.process = _start(command, self.log, self.directory.name)
        try:
            self._wait_until_it_answers()
        except BaseException:
            self.__exit__()
            raise

    def _wait_until_it_answers(self):
        deadline = time.monotonic() + START_SECONDS
        with Endpoint() as endpoint:
            number = 1
            question = sip_text.Dialogue("probe", "interop.example", endpoint.port)
            while time.monotonic() < deadline:
                if self.process.poll() is not None:
                    raise PeerError(f"kamailio ended with {self.process.returncode}:\n{self.log_text()}")
                with contextlib.suppress(PeerError):
                    endpoint.exchange(question.request("OPTIONS", number), self.port, 0.2)
                    return
                number += 1
        raise PeerError(f"kamailio did not answer in {START_SECONDS} s:\n{self.log_text()}")

    def log_text(self):
        self.log.flush()
        self.log.seek(0)
        return self.log.read().decode(errors="replace")


class Sipp:
    """One call of sipp through one of our scenarios, against a port of ours."""

    def __init__(self, scenario, user, password, port, local_port=None):
        self.directory = tempfile.TemporaryDirectory(prefix="sipauth-sipp-")
        self.log = open(os.path.join(self.directory.name, "log"), "w+b")
        # sipp makes the uri of its credentials "sip:" and what -auth_uri gives: the Request-URI of the scenarios.
        command = [find("sipp"), f"{HOST}:{port}", "-sf", os.path.join(HERE, scenario), "-m", "1", "-nostdin",
                   "-i", HOST, "-p", str(local_port or free_port()), "-ci", HOST, "-s", user, "-au", user,
                   "-ap", password, "-auth_uri", "interop.example", "-timeout", "20s", "-timeout_error"]
        self.process = _start(command, self.log, self.directory.name)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        _stop(self.process)
        self.log.close()
        self.directory.cleanup()

    def wait(self):
        """sipp's exit status: 0 when the call went as the scenario says."""
        try:
            return self.process.wait(WAIT_SECONDS)
        except subprocess.TimeoutExpired as error:
            raise PeerError("sipp did not end") from error
