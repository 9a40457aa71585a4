"""The daemon and the clients that people use."""

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
from phones import baresip, client, linphone, sipp, sipsak  # noqa: E402

DOMAIN = "interop.example"
USERS = {"alice": "secret", "bob": "builder"}
# Clients that repeat a wrong password as fast as they can would otherwise lock out the cases after them.
LIMITS = "userFailuresPerMinute = 0\nsourceFailuresPerMinute = 0"


def expect(condition, text):
    if not condition:
        raise AssertionError(text)


class Site:
    """A daemon with its users, and what it knows and says."""

    def __init__(self, program, tool, stack=daemons.PHONES):
        self.daemon = daemons.Daemon(program, tool, USERS, limits=LIMITS, stack=stack, realm=DOMAIN,
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

    def since(self, number):
        """The reasons of the events after the first so many."""
        return [event["reason"] for event in self.events()[number:]]

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


def no_credentials_reached(callee):
    """Our credentials are for us alone."""
    expect(not any(re.search(rb"^proxy-authorization:", request, re.I | re.M) for request in callee.requests),
           "credentials were handed on")


def with_sipp(matrix, site):
    if not matrix.peer("sipp", client.package_version("sip-tester")):
        return

    def registers(transport):
        def run():
            with sipp.Sipp() as caller:
                caller.run("register.xml", "alice", "secret", site.server(), DOMAIN, transport)
                expect(caller.end() == 0, caller.said()[-800:])
            expect(site.contacts("alice"), "no binding")
            site.forget("alice")
        return run

    def wrong_password():
        before = len(site.events())
        with sipp.Sipp() as caller:
            caller.run("register.xml", "alice", "wrong", site.server(), DOMAIN)
            expect(caller.end() != 0, "sipp was content")
        expect("wrong-response" in site.since(before), f"the daemon says {site.since(before)}")
        expect(not site.contacts("alice"), "there is a binding")

    def message():
        # The scenario's message is for the domain itself: after the check nobody is there for it.
        before = len(site.events())
        with sipp.Sipp() as caller:
            caller.run("message.xml", "alice", "secret", site.server(), DOMAIN)
            caller.end()
        expect("passed" in site.since(before), f"the daemon says {site.since(before)}")

    def calls(scenario, answers, methods):
        def run():
            with Callee(answers) as callee, sipp.Sipp() as caller:
                site.bind("bob", callee.contact())
                caller.run(scenario, "alice", "secret", site.server(), DOMAIN)
                expect(caller.end() == 0, caller.said()[-1200:])
                callee.wait_for(*methods)
                no_credentials_reached(callee)
            site.forget("bob")
        return run

    matrix.case("sipp", "REGISTER, 401, UDP", registers("u1"))
    matrix.case("sipp", "REGISTER, 401, TCP", registers("t1"))
    matrix.case("sipp", "REGISTER, wrong password", wrong_password)
    matrix.case("sipp", "MESSAGE, 407", message)
    matrix.case("sipp", "INVITE, 407, ACK and BYE routed", calls("sipp_invite.xml", True, ("INVITE", "ACK", "BYE")))
    matrix.case("sipp", "INVITE, 407, CANCEL, 487", calls("sipp_cancel.xml", False, ("INVITE", "CANCEL", "ACK")))


def with_sipsak(matrix, site):
    if not matrix.peer("sipsak", client.package_version("sipsak")):
        return

    def registers(transport):
        def run():
            with sipsak.Sipsak() as phone:
                status = phone.register("alice", "secret", site.server(), "sip:alice@127.0.0.1:5077", transport)
                expect(status == 0, phone.said()[-1200:])
            expect(any("5077" in contact for contact in local_contacts(site)), "no binding")
        return run

    def wrong_password():
        before = len(site.events())
        with sipsak.Sipsak() as phone:
            status = phone.register("alice", "wrong", site.server(), "sip:alice@127.0.0.1:5077")
            expect(status != 0, "sipsak was content")
        expect("wrong-response" in site.since(before), f"the daemon says {site.since(before)}")

    matrix.case("sipsak", "REGISTER, UDP", registers("udp"))
    matrix.case("sipsak", "REGISTER, TCP", registers("tcp"))
    matrix.case("sipsak", "REGISTER, wrong password", wrong_password)


def local_contacts(site):
    """sipsak registers alice at the address of the server: an address of record of its own."""
    return [event["identity"] + " 5077" for event in site.events()
            if event["reason"] == "passed" and event.get("identity") == "alice"]


def with_baresip(matrix, site):
    if not matrix.peer("baresip", client.package_version("baresip-core")):
        return
    authorities = site.daemon.certificate

    def phone(user="alice", transport="udp", password=None, answer="manual"):
        return baresip.Baresip(user, password or USERS[user], DOMAIN, site.server(transport), transport, authorities,
                               answer)

    def registers(transport):
        def run():
            with phone(transport=transport) as alice:
                alice.run(4)
                alice.wait_for(r"200 OK")
                expect(site.contacts("alice"), "no binding")
                alice.end()
            site.wait_for_contact("alice", present=False)  # it takes its binding back when it ends
        return run

    def wrong_password():
        before = len(site.events())
        with phone(password="wrong") as alice:
            alice.run(4)
            alice.wait_for(r"(?i)401|403|503|authentication|unauthorized")
        expect("wrong-response" in site.since(before), f"the daemon says {site.since(before)}")
        expect(not site.contacts("alice"), "there is a binding")

    def calls(transport):
        def run():
            before = len(site.events())
            with Callee() as callee, phone(transport=transport) as alice:
                site.bind("bob", callee.contact())
                alice.run(6, f"/dial sip:bob@{DOMAIN}")
                callee.wait_for("INVITE", "ACK", "BYE", seconds=12)
                no_credentials_reached(callee)
            expect(site.since(before).count("wrong-response") == 0, f"the daemon says {site.since(before)}")
            site.forget("bob")
            site.forget("alice")
        return run

    def is_called():
        with phone("bob", answer="auto") as bob, phone() as alice:
            bob.run(9)
            bob.wait_for(r"200 OK")
            alice.run(6, f"/dial sip:bob@{DOMAIN}")
            alice.wait_for(r"(?i)call established")
            bob.wait_for(r"(?i)call established")
        site.forget("alice")
        site.forget("bob")

    for transport in ("udp", "tcp", "tls"):
        matrix.case("baresip", f"register, un-register, {transport.upper()}", registers(transport))
    matrix.case("baresip", "register, wrong password", wrong_password)
    matrix.case("baresip", "call with signed ACK and BYE, UDP", calls("udp"))
    matrix.case("baresip", "call with signed ACK and BYE, TCP", calls("tcp"))
    matrix.case("baresip", "calls baresip", is_called)


def with_linphone(matrix, site, name="linphone", algorithm="MD5"):
    if not matrix.peer(name, client.package_version("linphone-cli")):
        return
    authorities = site.daemon.certificate

    def registers(transport):
        def run():
            with linphone.Linphone("alice", transport, authorities) as phone:
                phone.register(DOMAIN, site.server(transport), "secret", transport)
                phone.wait_for_registration("Ok")
                expect(site.contacts("alice"), "no binding")
                expect(f"algorithm={algorithm}" in phone.log().replace('"', ""), f"no {algorithm} in what it sent")
                before = len(site.events())
                phone.tell("unregister 1")
                site.wait_for_contact("alice", present=False)
                # It un-registers with the nonce that it has, and the next count.
                expect("passed" in site.since(before), f"the daemon says {site.since(before)}")
        return run

    def wrong_password():
        before = len(site.events())
        with linphone.Linphone("alice") as phone:
            phone.register(DOMAIN, site.server(), "wrong")
            phone.wait_for_registration("Failed")
        expect("wrong-response" in site.since(before), f"the daemon says {site.since(before)}")
        expect(not site.contacts("alice"), "there is a binding")

    def calls():
        with Callee() as callee, linphone.Linphone("alice") as phone:
            site.bind("bob", callee.contact())
            phone.register(DOMAIN, site.server(), "secret")
            phone.wait_for_registration("Ok")
            phone.tell(f"call sip:bob@{DOMAIN}")
            callee.wait_for("INVITE", "ACK")
            phone.wait(0.3)
            phone.tell("terminate")
            callee.wait_for("BYE")
            no_credentials_reached(callee)
        site.forget("bob")
        site.forget("alice")

    for transport in ("udp", "tcp", "tls"):
        matrix.case(name, f"register, un-register with the next count, {transport.upper()}", registers(transport))
    matrix.case(name, "register, wrong password", wrong_password)
    matrix.case(name, "call and BYE", calls)


def run(matrix, program, tool, quick):
    """QUICK leaves out the phones."""
    with Site(program, tool) as site:
        with_sipp(matrix, site)
        with_sipsak(matrix, site)
        if not quick:
            with_baresip(matrix, site)
            with_linphone(matrix, site, "linphone, challenged with SHA-256 and MD5", "SHA-256")
        status = site.daemon.stop()
        matrix.peer("sipauthd", "itself")
        matrix.case("sipauthd", "ends in order after all of it", lambda: expect(status == 0, f"exit status {status}"))
