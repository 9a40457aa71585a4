"""A SIP server for the tests of the user agent: challenges, checks and answers what a test tells it to, over UDP, TCP
or TLS. It shares no code with the tool."""

import re
import secrets
import socket
import ssl
import threading
import time

import digest_oracle
import sip_text


def algorithm_of(name):
    """An algorithm in either spelling, as the oracle knows it."""
    return re.sub(r"^SHA-", "SHA", name or "MD5")


class Peer:
    """Runs in a thread of its own until it is closed. CHALLENGES are parameters of Digest challenges, without realm and
    nonce; ON is called for each request, as on(peer, request, reply_to), and may return a list of responses, or None
    for what a registrar does."""

    def __init__(self, challenges=("algorithm=SHA-256, qop=\"auth\"",), transport="udp", status=401, password="secret",
                 realm="example.org", on=None, certificate=None):
        self.challenges, self.status, self.password, self.realm, self.on = challenges, status, password, realm, on
        self.transport = transport
        self.requests, self.responses, self.problems = [], [], []
        self.next_count = {}
        self.client = None
        self.changed = threading.Condition()
        kind = socket.SOCK_DGRAM if transport == "udp" else socket.SOCK_STREAM
        self.socket = socket.socket(socket.AF_INET, kind)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.tls = None
        if certificate:
            self.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.tls.load_cert_chain(certificate)
        self.closed = False
        if transport != "udp":
            self.socket.listen()
        self.thread = threading.Thread(target=self.serve_udp if transport == "udp" else self.serve_streams, daemon=True)
        self.thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.closed = True
        self.socket.settimeout(0.01)
        if self.transport == "udp":
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM).sendto(b"", ("127.0.0.1", self.port))
        else:
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
            except OSError:
                pass
        self.thread.join(10)
        self.socket.close()

    def uri(self, user=None):
        who = f"{user}@" if user else ""
        parameter = "" if self.transport == "udp" else f";transport={self.transport}"
        return f"sip:{who}127.0.0.1:{self.port}{parameter}"

    def serve_udp(self):
        while not self.closed:
            try:
                message, address = self.socket.recvfrom(65535)
            except TimeoutError:
                continue
            if message.strip():
                self.receive(message, lambda reply, to=address: self.socket.sendto(reply, to))

    def serve_streams(self):
        while not self.closed:
            try:
                connection, _ = self.socket.accept()
            except (TimeoutError, OSError):
                continue
            threading.Thread(target=self.serve_stream, args=(connection,), daemon=True).start()

    def serve_stream(self, connection):
        try:
            if self.tls:
                connection = self.tls.wrap_socket(connection, server_side=True)
            pending = b""
            while data := connection.recv(65535):
                pending += data
                while (message := self.framed(pending)) is not None:
                    pending = pending[len(message):]
                    if message.strip():
                        self.receive(message, connection.sendall)
        except (OSError, ssl.SSLError):
            pass

    @staticmethod
    def framed(pending):
        """The first whole message of a stream, or None."""
        head, separator, rest = pending.partition(b"\r\n\r\n")
        if not separator:
            return None
        length = re.search(rb"(?im)^Content-Length *: *(\d+)", head)
        length = int(length[1]) if length else 0
        return head + separator + rest[:length] if len(rest) >= length else None

    def receive(self, message, send):
        with self.changed:
            self.client = send
            if message.startswith(b"SIP/2.0"):
                self.responses.append(message)
                self.changed.notify_all()
                return
            self.requests.append(message)
            self.changed.notify_all()
        answers = self.on(self, message, send) if self.on else None
        for answer in self.registrar(message) if answers is None else answers:
            send(answer)

    def registrar(self, request):
        """Challenges, checks and accepts."""
        if sip_text.method(request) in ("ACK", "CANCEL"):
            self.check(request)
            return [] if sip_text.method(request) == "ACK" else [sip_text.reply(request, 200, "OK")]
        if not self.check(request):
            return [self.challenge(request)]
        contact = [f"Contact: {value};expires=60" for value in sip_text.headers(request, "Contact")]
        return [sip_text.reply(request, 200, "OK", contact)]

    def challenge(self, request, extra=""):
        name = "WWW-Authenticate" if self.status == 401 else "Proxy-Authenticate"
        lines = []
        for parameters in self.challenges:
            nonce = secrets.token_hex(8)
            self.next_count[nonce] = 1
            comma = ", " if parameters else ""
            lines.append(f'{name}: Digest realm="{self.realm}", nonce="{nonce}"{comma}{parameters}{extra}')
        return sip_text.reply(request, self.status, "Challenged", lines)

    def check(self, request):
        """Whether the credentials are right, with the count that comes next; what is wrong is noted."""
        name = "Authorization" if self.status == 401 else "Proxy-Authorization"
        values = sip_text.headers(request, name)
        if not values:
            return False
        found = digest_oracle.parameters(values[0])
        nonce = found.get("nonce")
        if nonce not in self.next_count:
            return False
        expected = digest_oracle.response_for(request, found, self.password, algorithm_of(found.get("algorithm")))
        if expected != found["response"]:
            return False
        if "nc" in found:
            if int(found["nc"], 16) != self.next_count[nonce]:
                self.problems.append(f"{sip_text.start_line(request)}: nc={found['nc']}")
            self.next_count[nonce] = int(found["nc"], 16) + 1
        return True

    def wait(self, ready, seconds=20):
        """Waits until ready(self) holds."""
        with self.changed:
            if not self.changed.wait_for(lambda: ready(self), seconds):
                raise AssertionError(f"in vain: {self.requests} {self.responses}")

    def methods(self):
        return [sip_text.method(request) for request in self.requests]


def later(seconds, function):
    """Calls a function after a while, from another thread."""
    timer = threading.Timer(seconds, function)
    timer.daemon = True
    timer.start()


def now():
    return time.monotonic()
