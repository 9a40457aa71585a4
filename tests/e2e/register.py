"""Registrations over UDP, many at a time, from one socket: REGISTER, the answer to its challenge, and what came of it."""

import hashlib
import re
import secrets
import selectors
import socket
import time

REALM = "example.org"
RETRANSMIT_SECONDS = 0.5
GIVE_UP_SECONDS = 8

_CHALLENGE = re.compile(rb'^www-authenticate:\s*digest\s+(.*?)\r\n', re.I | re.M)
_PARAMETER = re.compile(r'([a-z]+)\s*=\s*(?:"([^"]*)"|([^\s,]+))', re.I)


def md5(text):
    return hashlib.md5(text.encode(), usedforsecurity=False).hexdigest()


def challenges(response):
    """The parameters of each Digest challenge."""
    return [{name.lower(): quoted or plain for name, quoted, plain in _PARAMETER.findall(line.decode())}
            for line in _CHALLENGE.findall(response)]


def credentials(challenge, user, password, uri, method="REGISTER", count=1):
    """The value of an Authorization header, MD5 with qop auth."""
    cnonce = secrets.token_hex(8)
    nc = f"{count:08x}"
    first = md5(f"{user}:{REALM}:{password}")
    second = md5(f"{method}:{uri}")
    response = md5(f"{first}:{challenge['nonce']}:{nc}:{cnonce}:auth:{second}")
    line = (f'Digest username="{user}", realm="{REALM}", nonce="{challenge["nonce"]}", uri="{uri}", qop=auth, nc={nc}, '
            f'cnonce="{cnonce}", response="{response}", algorithm=MD5')
    return line + (f', opaque="{challenge["opaque"]}"' if "opaque" in challenge else "")


class Registration:
    """One on its way. CONTACT null asks for the bindings that there are."""

    def __init__(self, user, password, contact, expires=3600):
        self.user, self.password, self.contact, self.expires = user, password, contact, expires
        self.call_id = secrets.token_hex(8)
        self.sequence = 0
        self.authorization = None
        self.started = time.monotonic()
        self.status = None  # of the final response; 0 when there was none
        self.response = b""
        self.request = b""
        self.sent = 0.0
        self.retransmissions = 0

    def build(self, address):
        self.sequence += 1
        contact = f"Contact: <{self.contact}>;expires={self.expires}\r\n" if self.contact else ""
        authorization = f"Authorization: {self.authorization}\r\n" if self.authorization else ""
        self.request = (
            f"REGISTER sip:{REALM} SIP/2.0\r\nVia: SIP/2.0/UDP {address[0]}:{address[1]};rport;"
            f"branch=z9hG4bK{self.call_id}{self.sequence}\r\nMax-Forwards: 70\r\n"
            f"From: <sip:{self.user}@{REALM}>;tag={self.call_id}\r\nTo: <sip:{self.user}@{REALM}>\r\n"
            f"Call-ID: {self.call_id}\r\nCSeq: {self.sequence} REGISTER\r\n{contact}{authorization}"
            "Content-Length: 0\r\n\r\n").encode()

    def contacts(self):
        """The contacts of a 200."""
        return {contact.decode() for contact in re.findall(rb"<([^>]+)>", b"".join(
            re.findall(rb"^contact:.*?\r\n", self.response, re.I | re.M)))}


class Client:
    """A socket with registrations on their way. DONE is called with each one that has ended."""

    def __init__(self, port, address="127.0.0.1", done=lambda registration: None):
        self.server = (address, port)
        self.done = done
        self.open = {}
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4 << 20)
        self.socket.bind((address, 0))
        self.socket.setblocking(False)
        self.address = self.socket.getsockname()
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.socket, selectors.EVENT_READ)

    def close(self):
        self.selector.close()
        self.socket.close()

    def start(self, registration):
        self.open[registration.call_id] = registration
        registration.build(self.address)
        self._send(registration)

    def run(self, seconds=0.01):
        """Takes in what comes within that time, and repeats what was lost."""
        if self.selector.select(seconds):
            for _ in range(1000):
                try:
                    self._take(self.socket.recv(65535))
                except (BlockingIOError, ConnectionError):
                    break
        now = time.monotonic()
        for registration in list(self.open.values()):
            if now - registration.started > GIVE_UP_SECONDS:
                self._end(registration, 0)
            elif now - registration.sent > RETRANSMIT_SECONDS:
                registration.retransmissions += 1
                self._send(registration)

    def finish(self):
        while self.open:
            self.run()

    def register(self, *arguments, **named):
        """One registration, to its end."""
        registration = Registration(*arguments, **named)
        self.start(registration)
        while registration.status is None:
            self.run()
        return registration

    def _send(self, registration):
        registration.sent = time.monotonic()
        try:
            self.socket.sendto(registration.request, self.server)
        except (BlockingIOError, ConnectionError):
            pass  # as if the network had lost it

    def _end(self, registration, status):
        registration.status = status
        del self.open[registration.call_id]
        self.done(registration)

    def _take(self, response):
        call_id = re.search(rb"^(?:call-id|i):\s*(\S+)", response, re.I | re.M)
        registration = self.open.get(call_id[1].decode()) if call_id else None
        sequence = re.search(rb"^cseq:\s*(\d+)", response, re.I | re.M)
        if not registration or not sequence or int(sequence[1]) != registration.sequence:
            return
        status = int(response.split(b" ", 2)[1])
        if status < 200:
            return
        registration.response = response
        usable = [c for c in challenges(response) if c.get("algorithm", "MD5") == "MD5" and "auth" in c.get("qop", "")]
        if status == 401 and usable and registration.sequence < 3:
            registration.authorization = credentials(usable[0], registration.user, registration.password,
                                                     f"sip:{REALM}")
            registration.build(self.address)
            self._send(registration)
        else:
            self._end(registration, status)
