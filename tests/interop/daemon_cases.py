"""The daemon and the clients that people use."""

from daemon_site import DOMAIN, USERS, Callee, Site, expect
from phones import baresip, client, linphone, sipp, sipsak

# For phones that know MD5 alone; requests of dialogs are challenged as all others.
CAREFUL = """
[object.daemon.config.profiles]
default = "legacy"
[object.daemon.config.proxy]
challengeInDialog = true
"""
TRANSPORTS = ("UDP", "TCP", "TLS")


def refused(site, before, method):
    """That the daemon found the wrong password, and let nobody in."""
    reasons = site.since(before, method)
    expect("wrong-response" in reasons and "passed" not in reasons, f"the daemon says {reasons}")


def answered_at_once(site, before, method):
    """That a request passed with the credentials that it came with, without a new challenge."""
    expect(site.since(before, method) == ["passed"], f"{method}: the daemon says {site.since(before, method)}")


def with_sipp(matrix, site):
    if not matrix.peer("sipp", client.package_version("sip-tester")):
        return

    def run(scenario, password="secret", transport="u1"):
        """sipp's exit status, and what it sent and received."""
        with sipp.Sipp() as caller:
            caller.run(scenario, "alice", password, site.server(), DOMAIN, transport)
            return caller.end(), caller.messages()

    def registers(transport):
        status, messages = run("register.xml", transport=transport)
        expect(status == 0, messages)
        expect(site.contacts("alice"), "no binding")
        site.forget("alice")

    def register_wrong():
        before = len(site.events())
        expect(run("register.xml", "wrong")[0] != 0, "sipp was content")
        refused(site, before, "REGISTER")
        expect(not site.contacts("alice"), "there is a binding")

    def calls(scenario, answers, methods, transport="u1"):
        with Callee(answers) as callee:
            site.bind("bob", callee.contact())
            status, messages = run(scenario, transport=transport)
            expect(status == 0, messages)
            callee.wait_for(*methods)
            callee.keeps_credentials_out()
        site.forget("bob")

    def call_wrong(scenario, method):
        # sipp takes a second 407 for a repetition of the first one, and goes on to wait.
        before = len(site.events())
        with Callee() as callee, sipp.Sipp() as caller:
            site.bind("bob", callee.contact())
            caller.run(scenario, "alice", "wrong", site.server(), DOMAIN)
            site.wait_for_reason(before, method, "wrong-response")
            expect(caller.process.poll() != 0, "sipp was content")
            expect(not callee.seen, f"the called phone saw {callee.seen}")
        refused(site, before, method)
        site.forget("bob")

    matrix.case("sipp", "register, UDP", lambda: registers("u1"))
    matrix.case("sipp", "register, TCP", lambda: registers("t1"))
    matrix.case("sipp", "register, wrong password", register_wrong)
    matrix.case("sipp", "call, ACK and BYE, UDP", lambda: calls("sipp_invite.xml", True, ("INVITE", "ACK", "BYE")))
    matrix.case("sipp", "call, ACK and BYE, TCP",
                lambda: calls("sipp_invite.xml", True, ("INVITE", "ACK", "BYE"), "t1"))
    matrix.case("sipp", "call, wrong password", lambda: call_wrong("sipp_invite.xml", "INVITE"))
    matrix.case("sipp", "call given up: CANCEL, 487",
                lambda: calls("sipp_cancel.xml", False, ("INVITE", "CANCEL", "ACK")))
    matrix.case("sipp", "message, UDP", lambda: calls("sipp_message.xml", True, ("MESSAGE",)))
    matrix.case("sipp", "message, TCP", lambda: calls("sipp_message.xml", True, ("MESSAGE",), "t1"))
    matrix.case("sipp", "message, wrong password", lambda: call_wrong("sipp_message.xml", "MESSAGE"))


def with_sipsak(matrix, site):
    if not matrix.peer("sipsak", client.package_version("sipsak")):
        return

    def run(password, transport):
        before = len(site.events())
        with sipsak.Sipsak() as phone:
            status = phone.register("alice", password, site.server(), "sip:alice@127.0.0.1:5077", transport)
            return status, before, phone.said()[-1200:]

    def registers(transport):
        status, before, said = run("secret", transport)
        expect(status == 0, said)
        expect("passed" in site.since(before, "REGISTER"), f"the daemon says {site.since(before)}")

    def wrong_password():
        status, before, said = run("wrong", "udp")
        expect(status != 0, said)
        refused(site, before, "REGISTER")

    matrix.case("sipsak", "register, UDP", lambda: registers("udp"))
    matrix.case("sipsak", "register, TCP", lambda: registers("tcp"))
    matrix.case("sipsak", "register, wrong password", wrong_password)


def with_baresip(matrix, site, careful):
    if not matrix.peer("baresip", client.package_version("baresip-core")):
        return

    def phone(user="alice", transport="udp", password=None, answer="manual", at=site):
        return baresip.Baresip(user, password or USERS[user], DOMAIN, at.server(transport), transport,
                               at.daemon.certificate, answer)

    def registers(transport):
        with phone(transport=transport) as alice:
            alice.run()
            alice.wait_for(r"200 OK")
            expect(site.contacts("alice"), "no binding")
            alice.process.terminate()
            alice.end()
        site.wait_for_contact("alice", present=False)  # it takes its binding back when it ends

    def register_wrong():
        before = len(site.events())
        with phone(password="wrong") as alice:
            alice.run()
            alice.wait_for(r"(?i)401|403|503|authentication|unauthorized")
        refused(site, before, "REGISTER")
        expect(not site.contacts("alice"), "there is a binding")

    def calls(transport, at=site):
        """It hangs up when its sound file has ended."""
        before = len(at.events())
        with Callee() as callee, phone(transport=transport, at=at) as alice:
            at.bind("bob", callee.contact())
            alice.run(f"/dial sip:bob@{DOMAIN}")
            callee.wait_for("INVITE", "ACK", "BYE", seconds=12)
            callee.keeps_credentials_out()
        expect("passed" in at.since(before, "INVITE"), f"the daemon says {at.since(before)}")
        if at is careful:
            answered_at_once(at, before, "BYE")  # nonce count 3: the ACK took 2
        at.forget("bob")
        at.forget("alice")

    def call_wrong():
        before = len(site.events())
        with Callee() as callee, phone(password="wrong") as alice:
            site.bind("bob", callee.contact())
            alice.run(f"/dial sip:bob@{DOMAIN}")
            alice.wait_for(r"(?i)session closed|call.*closed|terminated")
            expect(not callee.seen, f"the called phone saw {callee.seen}")
        refused(site, before, "INVITE")
        site.forget("bob")

    def is_called():
        with phone("bob", answer="auto") as bob, phone() as alice:
            bob.run()
            bob.wait_for(r"200 OK")
            alice.run(f"/dial sip:bob@{DOMAIN}")
            alice.wait_for(r"(?i)call established")
            bob.wait_for(r"(?i)call established")
            alice.wait_for(r"(?i)terminated")
        site.forget("alice")
        site.forget("bob")

    for transport in TRANSPORTS:
        matrix.case("baresip", f"register, {transport}", lambda: registers(transport.lower()))
    matrix.case("baresip", "register, wrong password", register_wrong)
    for transport in TRANSPORTS:
        matrix.case("baresip", f"call, ACK and BYE, {transport}", lambda: calls(transport.lower()))
    matrix.case("baresip", "call, wrong password", call_wrong)
    for transport in TRANSPORTS:
        matrix.case("baresip", f"call, BYE checked and passed at once, {transport}",
                    lambda: calls(transport.lower(), careful))
    matrix.case("baresip", "is called by itself", is_called)


def with_linphone(matrix, site, name, algorithm, careful=False):
    """CAREFUL: the site challenges requests of dialogs, too."""
    if not matrix.peer("linphone", client.package_version("linphone-cli")):
        return

    def phone(transport="udp", password="secret"):
        # It compares the name of a certificate with host names only, not with addresses.
        server = site.server(transport)
        if transport == "tls":
            server = server.replace(client.HOST, "localhost")
        return linphone.Linphone("alice", password, DOMAIN, server, transport, site.daemon.certificate)

    def registers(transport):
        with phone(transport) as alice:
            alice.wait_for_registration("Ok")
            expect(site.contacts("alice"), "no binding")
            expect(f"algorithm={algorithm}" in alice.log().replace('"', ""), f"no {algorithm} in what it sent")
            before = len(site.events())
            alice.tell("unregister 1")
            site.wait_for_contact("alice", present=False)
            # It un-registers with the nonce that it has, and the next count.
            expect(site.since(before, "REGISTER")[0] == "passed", f"the daemon says {site.since(before)}")

    def register_wrong():
        before = len(site.events())
        with phone(password="wrong") as alice:
            alice.wait_for_registration("Failed")
        refused(site, before, "REGISTER")
        expect(not site.contacts("alice"), "there is a binding")

    def calls(transport):
        before = len(site.events())
        with Callee() as callee, phone(transport) as alice:
            site.bind("bob", callee.contact())
            alice.wait_for_registration("Ok")
            alice.tell(f"call sip:bob@{DOMAIN}")
            alice.wait_for("LinphoneCallStreamsRunning")
            callee.wait_for("INVITE", "ACK")
            alice.tell("terminate")
            callee.wait_for("BYE")
            callee.keeps_credentials_out()
        expect("passed" in site.since(before, "INVITE"), f"the daemon says {site.since(before)}")
        if careful:
            answered_at_once(site, before, "BYE")  # nonce count 2: its ACK repeats the credentials of the INVITE
        site.forget("bob")
        site.forget("alice")

    for transport in TRANSPORTS:
        matrix.case(name, f"register, {transport}", lambda: registers(transport.lower()))
    matrix.case(name, "register, wrong password", register_wrong)
    for transport in TRANSPORTS:
        case = "call, BYE checked and passed at once" if careful else "call, ACK and BYE"
        matrix.case(name, f"{case}, {transport}", lambda: calls(transport.lower()))


def ends(matrix, site, what):
    status = site.daemon.stop()
    if matrix.peer("sipauthd", "itself"):
        matrix.case("sipauthd", f"ends in order, {what}", lambda: expect(status == 0, f"exit status {status}"))


def run(matrix, program, tool, quick):
    """QUICK leaves out the phones."""
    if matrix.only and not {"sipp", "sipsak", "baresip", "linphone"} & set(matrix.only):
        return None
    matrix.section("Clients against sipauthd")
    with Site(program, tool) as site:
        with_sipp(matrix, site)
        with_sipsak(matrix, site)
        if quick:
            return ends(matrix, site, "phones")
        with Site(program, tool, more=CAREFUL) as careful:
            with_baresip(matrix, site, careful)
            with_linphone(matrix, site, "linphone, SHA-256", "SHA-256")
            with_linphone(matrix, careful, "linphone, MD5", "MD5", careful=True)
            ends(matrix, careful, "challenging in dialogs")
        ends(matrix, site, "phones")
