"""The daemon with its users as the cases need it, and a phone of ours that is called."""

import json
import os
import re
import socket
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "e2e"))

import daemon as daemons  # noqa: E402  (the path is set first)
import register  # noqa: E402
import sip_text  # noqa: E402
from phones import client  # noqa: E402

DOMAIN = "interop.example"
USERS = {"alice": "secret", "bob": "builder"}
# Clients that repeat a wrong password as fast as they can would otherwise lock out the cases after them.
LIMITS = "userFailuresPerMinute = 0\nsourceFailuresPerMinute = 0"


def expect(condition, text):
    if not condition:
        raise AssertionError(text)


class Site:
    """A daemon with its users, and what it knows and says."""

    def __init__(self, program, tool, stack=daemons.PHONES, more=""):
        """MORE: tables of the configuration that are not there yet."""
        self.daemon = daemons.Daemon(program, tool, USERS, limits=LIMITS + more, stack=stack, realm=DOMAIN,
                                     domains=f"{DOMAIN} 127.0.0.1 localhost", tls=True)

    def __enter__(self):
        self.daemon.start()
        register.REALM = DOMAIN
        return self

    def __exit__(self, *_):
        self.daemon.__exit__()

    def server(self, transport="udp"):
        return f"127.0.0.1:{self.daemon.tls_port if transport == 'tls' else self.daemon.port}"

    def contacts(self, user):
        """Where a user can be reached, as the registrar says."""
        asking = register.Client(self.daemon.port)
        answer = asking.register(user, USERS[user], None)
        asking.close()
        expect(answer.status == 200, f"asking for bindings gave {answer.status}")
        return answer.contacts()

    def forget(self, user):
        """Takes all bindings of a user away."""
        asking = register.Client(self.daemon.port)
        for contact in self.contacts(user):
            asking.register(user, USERS[user], contact, expires=0)
        asking.close()

    def bind(self, user, contact):
        asking = register.Client(self.daemon.port)
        answer = asking.register(user, USERS[user], contact)
        asking.close()
        expect(answer.status == 200, f"binding {user} gave {answer.status}")

    def events(self):
        """What the audit log has."""
        path = os.path.join(self.daemon.folder, "audit.jsonl")
        if not os.path.exists(path):
            return []
        with open(path, encoding="ascii") as file:
            return [json.loads(line) for line in file if line.endswith("\n")]

    def since(self, number, method=None):
        """The reasons of the events after the first so many, of one method or of all."""
        return [event["reason"] for event in self.events()[number:] if method in (None, event.get("method"))]

    def wait_for_reason(self, number, method, reason, seconds=10):
        """Until an event after the first so many has it."""
        deadline = time.monotonic() + seconds
        while reason not in self.since(number, method):
            expect(time.monotonic() < deadline, f"{method}: the daemon says {self.since(number, method)}")
            time.sleep(0.02)

    def wait_for_contact(self, user, present=True, seconds=10):
        deadline = time.monotonic() + seconds
        while bool(self.contacts(user)) != present:
            expect(time.monotonic() < deadline, f"{user} has {self.contacts(user)}")
            time.sleep(0.1)


class Callee(threading.Thread):
    """A phone of ours over UDP that rings, answers when it is told to, and hangs up when the caller does."""

    def __init__(self, answers=True):
        super().__init__(daemon=True)
        self.answers = answers
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((client.HOST, 0))
        self.socket.settimeout(0.1)
        self.port = self.socket.getsockname()[1]
        self.seen = []
        self.requests = []
        self.ended = False
        self.start()

    def contact(self):
        return f"sip:bob@{client.HOST}:{self.port}"

    def run(self):
        invite, invite_from = None, None
        while not self.ended:
            try:
                request, sender = self.socket.recvfrom(65535)
            except TimeoutError:
                continue
            if request.startswith(b"SIP/2.0"):
                continue
            method = request.split(b" ", 1)[0].decode()
            self.seen.append(method)
            self.requests.append(request)
            if method == "INVITE":
                invite, invite_from = request, sender
                self._reply(request, sender, "180 Ringing")
                if self.answers:
                    self._reply(request, sender, "200 OK", sdp=True)
            elif method == "CANCEL":
                self._reply(request, sender, "200 OK")
                self._reply(invite, invite_from, "487 Request Terminated")
            elif method != "ACK":
                self._reply(request, sender, "200 OK")
        self.socket.close()

    def _reply(self, request, sender, status, sdp=False):
        lines = []
        for line in request.split(b"\r\n\r\n", 1)[0].split(b"\r\n")[1:]:
            name = line.split(b":", 1)[0].strip().lower()
            if name in (b"to", b"t") and b"tag=" not in line:
                line += b";tag=callee"
            if name in (b"via", b"v", b"from", b"f", b"to", b"t", b"call-id", b"i", b"cseq", b"record-route"):
                lines.append(line)
        body = sip_text.SDP if sdp else b""
        head = [b"SIP/2.0 " + status.encode(), *lines, b"Contact: <" + self.contact().encode() + b">"]
        if sdp:
            head.append(b"Content-Type: application/sdp")
        head.append(b"Content-Length: %d" % len(body))
        self.socket.sendto(b"\r\n".join(head) + b"\r\n\r\n" + body, sender)

    def keeps_credentials_out(self):
        """Our credentials are for us alone."""
        expect(not any(re.search(rb"^proxy-authorization:", request, re.I | re.M) for request in self.requests),
               f"credentials were handed on:\n{self.requests}")

    def wait_for(self, *methods, seconds=10):
        """Until it has seen all of these."""
        deadline = time.monotonic() + seconds
        while not set(methods) <= set(self.seen):
            expect(time.monotonic() < deadline, f"the called phone saw only {self.seen}")
            time.sleep(0.05)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.ended = True
        self.join()
