"""What the tests of the daemon share: starting it, and a client that speaks SIP over a socket."""

import hashlib
import os
import pathlib
import re
import select
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True

SECONDS = 60
CONFIGURATION = """
[object.users]
sort = "USR_DIRECTORY"
[object.users.config]
decoys = true
[object.users.config.users.alice]
userName = "alice"
password = "secret"
[object.users.config.users.bob]
userName = "bob"
password = "geheim"

[object.main]
sort = "SIPAUTH_STACK"
[object.main.config]
serverRealm = "example.com"
serverUsrDirectoryName = "users"
serverChallengeExpiration = 30000
serverRechallenge = true
serverRechallengeInvalidAuthorization = true
[object.main.config.digestAlgorithms]
SIPAUTH_DIGEST_ALGORITHM_SHA256 = true
SIPAUTH_DIGEST_ALGORITHM_MD5 = true
[object.main.config.digestQops]
SIPAUTH_DIGEST_QOP_AUTH = true

[object.daemon]
sort = "SIPAUTHD"
[object.daemon.config]
domains = "example.com"
drainTime = 5000
[object.daemon.config.listeners.udp]
address = "127.0.0.1:0"
[object.daemon.config.listeners.tcp]
transport = "tcp"
address = "127.0.0.1:0"
[object.daemon.config.registrar]
minExpires = 10
[object.daemon.config.log]
audit = "audit.json"
"""


def parameters(line):
    """The parameters of a challenge."""
    return {name: quoted or plain for name, quoted, plain in re.findall(r'(\w+)=(?:"([^"]*)"|([^\s,]+))', line)}


class Response:
    """A SIP response."""

    def __init__(self, data):
        head, _, self.body = data.partition(b"\r\n\r\n")
        first, *self.lines = head.decode().split("\r\n")
        self.status = int(first.split()[1])
        self.reason = first.split(" ", 2)[2]

    def headers(self, name):
        return [line.partition(":")[2].strip() for line in self.lines
                if line.partition(":")[0].strip().lower() == name.lower()]

    def header(self, name):
        return next(iter(self.headers(name)), None)

    def __repr__(self):
        return f"{self.status} {self.reason} {self.lines}"


class Client:
    """A client with a socket of its own, for one user."""

    def __init__(self, address, user="alice", password="secret", transport="udp", authority=None):
        self.user, self.password, self.transport = user, password, transport
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM if transport == "udp" else socket.SOCK_STREAM)
        self.socket.settimeout(SECONDS)
        self.socket.connect(address)
        if transport == "tls":
            context = ssl.create_default_context(cafile=authority)
            self.socket = context.wrap_socket(self.socket, server_hostname="localhost")
        self.host = "%s:%d" % self.socket.getsockname()
        self.call = os.urandom(8).hex()
        self.cseq = 0
        self.count = 0
        self.challenge = None
        self.buffer = b""

    def close(self):
        self.socket.close()

    def request(self, method, uri, *lines, branch=None, cseq=None, to=None):
        self.cseq = cseq or self.cseq + 1
        head = [f"{method} {uri} SIP/2.0",
                f"Via: SIP/2.0/{self.transport.upper()} {self.host};branch=z9hG4bK{branch or os.urandom(6).hex()};rport",
                "Max-Forwards: 70", f"From: <sip:{self.user}@example.com>;tag=1",
                f"To: {to or f'<sip:{self.user}@example.com>'}", f"Call-ID: {self.call}",
                f"CSeq: {self.cseq} {method}", f"Contact: <sip:{self.user}@{self.host}>", *lines, "Content-Length: 0"]
        return ("\r\n".join(head) + "\r\n\r\n").encode()

    def credentials(self, method, uri, challenge, algorithm="MD5", **changes):
        """Credentials for a challenge; a second use of the same nonce counts on."""
        digest = {"MD5": hashlib.md5, "SHA-256": hashlib.sha256}[algorithm]
        hashed = lambda text: digest(text.encode()).hexdigest()
        if challenge != self.challenge:
            self.challenge, self.count = challenge, 0
        self.count += 1
        values = {"username": self.user, "realm": challenge["realm"], "nonce": challenge["nonce"], "uri": uri,
                  "cnonce": "0a4f113b", "nc": f"{self.count:08x}", "qop": "auth", "algorithm": algorithm}
        if "opaque" in challenge:
            values["opaque"] = challenge["opaque"]
        values |= changes
        inner = hashed(f"{values['username']}:{values['realm']}:{self.password}")
        values["response"] = hashed(f"{inner}:{values['nonce']}:{values['nc']}:{values['cnonce']}:auth:"
                                    + hashed(f"{method}:{values['uri']}"))
        plain = ("nc", "qop", "algorithm")
        return "Digest " + ", ".join(f"{name}={value}" if name in plain else f'{name}="{value}"'
                                     for name, value in values.items())

    def send(self, data):
        self.socket.sendall(data)

    def receive(self):
        if self.transport == "udp":
            return Response(self.socket.recv(65536))
        while b"\r\n\r\n" not in self.buffer:
            part = self.socket.recv(65536)
            if not part:
                raise EOFError
            self.buffer += part
        head, _, rest = self.buffer.partition(b"\r\n\r\n")
        length = int(re.search(rb"content-length:\s*(\d+)", head, re.I).group(1))
        while len(rest) < length:
            rest += self.socket.recv(65536)
        self.buffer = rest[length:]
        return Response(head + b"\r\n\r\n" + rest[:length])

    def ask(self, method, uri, *lines, **more):
        """Sends a request and gives its final response."""
        self.send(self.request(method, uri, *lines, **more))
        while (response := self.receive()).status < 200:
            pass
        return response

    def silent(self, seconds=0.3):
        """Whether nothing comes for a while."""
        return not select.select([self.socket], [], [], seconds)[0]

    def challenges(self, response):
        name = "Proxy-Authenticate" if response.status == 407 else "WWW-Authenticate"
        return {parameters(line).get("algorithm", "MD5"): parameters(line) for line in response.headers(name)}

    def signed(self, method, uri, *lines, algorithm="MD5", **more):
        """Asks, and asks again with credentials when it is challenged."""
        response = self.ask(method, uri, *lines, **more)
        if response.status not in (401, 407):
            return response
        name = "Proxy-Authorization" if response.status == 407 else "Authorization"
        credentials = self.credentials(method, uri, self.challenges(response)[algorithm], algorithm)
        return self.ask(method, uri, f"{name}: {credentials}", *lines, **more)

    def register(self, *lines, **more):
        return self.signed("REGISTER", "sip:example.com", *(lines or ("Expires: 300",)), **more)


class Daemon:
    """A daemon that runs."""

    def __init__(self, program, folder, configuration=CONFIGURATION):
        self.folder = pathlib.Path(folder)
        self.file = self.folder / "sipauthd.toml"
        self.configure(configuration)
        self.log = self.folder / "stderr.log"
        with self.log.open("wb") as log:
            self.process = subprocess.Popen([program, "--config", str(self.file)], stdin=subprocess.DEVNULL,
                                            stdout=subprocess.DEVNULL, stderr=log)
        self.wait_for(r" info ready\n", "the daemon does not start")

    def configure(self, text):
        self.file.write_text(text)
        self.file.chmod(0o600)

    def text(self):
        return self.log.read_text()

    def wait_for(self, pattern, why, count=1):
        """Waits until the log has a pattern that often; gives what it found."""
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            found = re.findall(pattern, self.text())
            if len(found) >= count:
                return found
            if self.process.poll() is not None and len(re.findall(pattern, self.text())) < count:
                break
            time.sleep(0.02)
        raise AssertionError(f"{why}: {self.text()}")

    def address(self, transport="udp"):
        port = re.search(rf"listening on {transport} 127\.0\.0\.1:(\d+)", self.text()).group(1)
        return "127.0.0.1", int(port)

    def send_signal(self, number):
        self.process.send_signal(number)

    def end(self, number=signal.SIGTERM):
        """Ends the daemon; gives its exit status."""
        if self.process.poll() is None:
            self.send_signal(number)
        return self.process.wait(SECONDS)


class DaemonCase(unittest.TestCase):
    """A test with a folder and daemons of its own."""

    program = os.environ.get("SIPAUTHD", "")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def start(self, configuration=CONFIGURATION):
        daemon = Daemon(self.program, self.folder, configuration)
        self.addCleanup(self.finish, daemon)
        return daemon

    def finish(self, daemon):
        if daemon.process.poll() is None:
            daemon.process.kill()
            daemon.process.wait()

    def client(self, daemon, *arguments, **more):
        client = Client(daemon.address(more.get("transport", "udp")), *arguments, **more)
        self.addCleanup(client.close)
        return client

    def certificate(self, name):
        """A new certificate of its own making for localhost."""
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-days", "30", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
                        "-keyout", str(self.folder / f"{name}.key"), "-out", str(self.folder / f"{name}.pem")],
                       check=True, capture_output=True)

    def run_daemon(self, *arguments):
        return subprocess.run([self.program, *map(str, arguments)], capture_output=True, text=True, timeout=SECONDS,
                              check=False)


def main():
    if not DaemonCase.program:
        raise SystemExit("SIPAUTHD must name the program to test")
    unittest.main()
