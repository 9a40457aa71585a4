"""sipauthd as a child process on the loopback interface, with its own folder, users and configuration."""

import contextlib
import ctypes
import os
import random
import signal
import socket
import subprocess
import tempfile
import time

START_SECONDS = 20
_PR_SET_PDEATHSIG = 1
HOST = "127.0.0.1"
REALM = "example.org"

CONFIG = """\
[object.users]
sort = "USR_DIRECTORY"
[object.users.config]
driver = "sqlite"
path = "users.db"
keyFile = "users.key"
decoys = true

[object.main]
sort = "SIPAUTH_STACK"
[object.main.config]
serverRealm = "{realm}"
serverUsrDirectoryName = "users"
serverRechallengeInvalidAuthorization = true
serverChallengeExpiration = 30000
{stack}
[object.daemon]
sort = "SIPAUTHD"
[object.daemon.config]
stack = "main"
domains = "{domains}"
[object.daemon.config.listeners.udp]
transport = "udp"
address = "{host}:{port}"
[object.daemon.config.listeners.tcp]
transport = "tcp"
address = "{host}:{port}"
{listeners}
[object.daemon.config.registrar]
database = "bindings.db"
maxContacts = 1000
# These give up when they are offered SHA-256, too.
[object.daemon.config.profiles.userAgents.baresip]
text = "baresip"
profile = "legacy"
[object.daemon.config.profiles.userAgents.sipp]
text = "sipp"
profile = "legacy"
[object.daemon.config.profiles.userAgents.sipsak]
text = "sipsak"
profile = "legacy"
[object.daemon.config.limits]
{limits}
[object.daemon.config.log]
file = "sipauthd.log"
audit = "audit.jsonl"
"""

# What phones can answer.
PHONES = """\
[object.main.config.digestAlgorithms]
SIPAUTH_DIGEST_ALGORITHM_MD5 = true
SIPAUTH_DIGEST_ALGORITHM_SHA256 = true
[object.main.config.digestQops]
SIPAUTH_DIGEST_QOP_AUTH = true
"""
TLS = """\
[object.daemon.config.listeners.tls]
transport = "tls"
address = "{host}:{port}"
certificate = "cert.pem"
privateKey = "key.pem"
"""


class DaemonError(Exception):
    """The daemon did not do what every test needs."""


def free_port(address=HOST):
    """A port of four digits that is free for UDP and for TCP at this moment; some clients cut a longer one."""
    while True:
        port = random.SystemRandom().randrange(2000, 10000)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as udp, socket.socket() as tcp:
            with contextlib.suppress(OSError):
                udp.bind((address, port))
                tcp.bind((address, port))
                return port


def make_certificate(folder, address):
    """A certificate that signs itself, for an address."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                    "-addext", f"subjectAltName=IP:{address},DNS:localhost", "-keyout", "key.pem", "-out", "cert.pem"],
                   cwd=folder, check=True, stderr=subprocess.DEVNULL)


def _die_with_parent():
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


class Daemon:
    """A folder with a configuration, and the process while it runs."""

    def __init__(self, program, tool, users, limits="", stack=PHONES, address=HOST, realm=REALM, domains=REALM, tls=False):
        self.program, self.tool, self.address, self.realm = program, tool, address, realm
        self.directory = tempfile.TemporaryDirectory(prefix="sipauthd-")
        self.folder = self.directory.name
        self.port = free_port(address)
        self.tls_port = free_port(address)
        self.certificate = os.path.join(self.folder, "cert.pem")
        if tls:
            make_certificate(self.folder, address)
        self.process = None
        self.config = os.path.join(self.folder, "sipauthd.toml")
        with open(self.config, "w", encoding="ascii") as file:
            listeners = TLS.format(host=address, port=self.tls_port) if tls else ""
            file.write(CONFIG.format(host=address, port=self.port, limits=limits, stack=stack, realm=realm,
                                     domains=domains, listeners=listeners))
        os.chmod(self.config, 0o600)
        for user, password in users.items():
            self.add_user(user, password)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.kill()
        self.directory.cleanup()

    def add_user(self, user, password):
        """Returns when the directory has the user."""
        subprocess.run([self.tool, "user", "add", user, "--config", self.config, "--directory", "users",
                        "--password-env", "PASSWORD"], env={**os.environ, "PASSWORD": password}, check=True,
                       cwd=self.folder, stdout=subprocess.DEVNULL)

    def start(self):
        """Starts it, and returns when it answers."""
        self.out = open(os.path.join(self.folder, "out"), "ab")
        self.process = subprocess.Popen([self.program, "--config", self.config], cwd=self.folder,
                                        stdin=subprocess.DEVNULL, stdout=self.out, stderr=subprocess.STDOUT,
                                        preexec_fn=_die_with_parent)
        deadline = time.monotonic() + START_SECONDS
        while not self.answers():
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise DaemonError(f"sipauthd does not answer, status {self.process.poll()}\n{self.said()}")

    def answers(self, seconds=0.2):
        """Whether an OPTIONS is answered in that time."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            probe.bind((self.address, 0))
            probe.settimeout(seconds)
            port = probe.getsockname()[1]
            probe.sendto((f"OPTIONS sip:{self.realm} SIP/2.0\r\nVia: SIP/2.0/UDP {self.address}:{port};rport;"
                          f"branch=z9hG4bK{time.monotonic_ns()}\r\nMax-Forwards: 70\r\nFrom: <sip:probe@{self.realm}>;tag=p\r\n"
                          f"To: <sip:{self.realm}>\r\nCall-ID: {time.monotonic_ns()}\r\nCSeq: 1 OPTIONS\r\n"
                          "Content-Length: 0\r\n\r\n").encode(), (self.address, self.port))
            with contextlib.suppress(TimeoutError, ConnectionError):
                return probe.recv(65535).startswith(b"SIP/2.0")
            time.sleep(0.02)
            return False

    def kill(self):
        """As if the power failed for the process: no chance to write anything."""
        if self.process and self.process.poll() is None:
            self.process.kill()
        if self.process:
            self.process.wait()
            self.out.close()
        self.process = None

    def stop(self, seconds=30):
        """Ends it in order; its exit status."""
        self.process.terminate()
        status = self.process.wait(seconds)
        self.out.close()
        self.process = None
        return status

    def alive(self):
        return self.process is not None and self.process.poll() is None

    def resident(self):
        """MiB of memory that it has."""
        with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as statm:
            return int(statm.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 2**20

    def said(self):
        """What it wrote to its log and its standard output, the end."""
        text = ""
        for name in ("out", "sipauthd.log"):
            path = os.path.join(self.folder, name)
            if os.path.exists(path):
                with open(path, encoding="utf-8", errors="replace") as file:
                    text += file.read()[-3000:]
        return text
