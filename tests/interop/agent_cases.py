"""The user agent of the tool, against Kamailio and against the daemon."""

import json
import os
import signal
import subprocess
import time

import peers
from daemon_site import DOMAIN, USERS, Callee, Site, expect
from phones import client

WAIT_SECONDS = 40
HASHES = ("MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512")
ALGORITHMS = [hash_name + suffix for hash_name in HASHES for suffix in ("", "_SESS")]
QOPS = ("NONE", "AUTH", "AUTH_INT")
# What the quick run takes of them.
QUICK_PAIRS = {("MD5", "NONE"), ("MD5_SESS", "NONE"), ("SHA256", "AUTH"), ("SHA512_SESS", "AUTH_INT")}
SIPAUTH_AGENTS = """
[object.daemon.config.profiles.userAgents.sipauth]
text = "sipauth"
profile = "strict"
"""


class Outcome:
    """What the user agent ended with, and the messages that it tells of."""

    def __init__(self, status, said, errors):
        self.status, self.said = status, said
        expect(said, f"status {status}: {errors}")
        told = json.loads(said)
        self.outcome, self.text, self.messages = told["outcome"], told["text"], told["messages"]

    def statuses(self, method):
        """The final responses to requests of a method."""
        return [m["status"] for m in self.messages
                if m["direction"] == "received" and m["cseq"].endswith(method) and m["status"] >= 200]

    def credentials(self, method):
        """Of each request of a method that left: its credentials, or null."""
        return [m.get("credentials", [None])[0] for m in self.messages
                if m["direction"] == "sent" and m.get("method") == method]

    def challenges(self, method):
        return [m["challenges"] for m in self.messages
                if m["direction"] == "received" and m["cseq"].endswith(method) and "challenges" in m]

    def must(self, condition):
        expect(condition, f"{self.text}\n{json.dumps(self.messages, indent=1)}")


class Agent:
    """Runs the user agent as alice towards a server."""

    def __init__(self, tool, server, transport, *more):
        self.tool, self.server, self.transport, self.more = tool, server, transport.lower(), more

    def command(self, command, uri, *arguments):
        return [self.tool, command, uri, "--json", "--password-env", "PASSWORD", "--proxy",
                f"sip:{self.server};transport={self.transport}", *self.more, *arguments]

    def run(self, command, uri, *arguments, user="alice", password="secret"):
        done = subprocess.run(self.command(command, uri, "--user", user, *arguments), stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=WAIT_SECONDS, check=False, text=True,
                              env={**os.environ, "PASSWORD": password})
        return Outcome(done.returncode, done.stdout, done.stderr)

    def register(self, *arguments, **named):
        return self.run("register", f"sip:{DOMAIN}", *arguments, **named)


def check_signed(outcome, method, algorithm, qop, counts):
    """That the requests of a method which bore credentials bore these."""
    signed = [c for c in outcome.credentials(method) if c]
    outcome.must(signed and all(plain(c["algorithm"]) == plain(algorithm) and c.get("qop") == qop for c in signed))
    if qop:
        outcome.must([int(c["nc"], 16) for c in signed] == counts)


def plain(algorithm):
    """Without the hyphen that some spellings have and the sign before "sess" that all have."""
    return algorithm.upper().replace("SHA-", "SHA").replace("-", "_")


def accepted(outcome, method, *statuses):
    outcome.must(outcome.status == 0 and outcome.statuses(method) == list(statuses))


def wrong_password(agent, command, uri, method, code, tries=2):
    """Ends after two answers, and says why."""
    outcome = agent.run(command, uri, password="wrong")
    outcome.must(outcome.status == 1 and outcome.statuses(method) == [code] * (tries + 1))
    outcome.must("wrong user name or password" in outcome.text)


# ---- against Kamailio

BOB = f"sip:bob@{DOMAIN}"


def registers(agent, algorithm, qop):
    outcome = agent.register()
    accepted(outcome, "REGISTER", 401, 200)
    check_signed(outcome, "REGISTER", algorithm, qop, [1])


def requests(agent, command, uri, algorithm, qop):
    outcome = agent.run(command, uri)
    accepted(outcome, command.upper(), 407, 200)
    check_signed(outcome, command.upper(), algorithm, qop, [1])


def counts(agent, algorithm):
    """One challenge serves four requests."""
    outcome = agent.register("--repeat", "3")
    accepted(outcome, "REGISTER", 401, 200, 200, 200, 200)
    check_signed(outcome, "REGISTER", algorithm, "auth", [1, 2, 3, 4])


def calls(agent, algorithm="MD5", qop="auth"):
    """The ACK of the 200 is signed with the second count, the BYE with the third."""
    outcome = agent.run("invite", BOB, "--hold", "0")
    accepted(outcome, "INVITE", 407, 200)
    accepted(outcome, "BYE", 200)
    check_signed(outcome, "INVITE", algorithm, qop, [1])
    check_signed(outcome, "ACK", algorithm, qop, [2])
    check_signed(outcome, "BYE", algorithm, qop, [3])


def gives_up(agent, uri, algorithm="MD5", qop="auth"):
    """CANCEL and the ACK of the 487 are signed, too."""
    outcome = agent.run("invite", uri, "--cancel-after", "200")
    accepted(outcome, "INVITE", 407, 487)
    check_signed(outcome, "CANCEL", algorithm, qop, [2])
    check_signed(outcome, "ACK", algorithm, qop, [3])


def skips(agent, command, uri, method, code, *skipped):
    outcome = agent.run(command, uri)
    accepted(outcome, method, code, 200)
    names = [c.get("algorithm", c["scheme"]) for c in outcome.challenges(method)[0]]
    outcome.must(names == [*skipped, "MD5"])
    check_signed(outcome, method, "MD5", "auth", [1])


def used_nonce(agent):
    """The second request is told that its nonce has served, and goes again with the new one."""
    outcome = agent.register("--repeat", "1")
    accepted(outcome, "REGISTER", 401, 200, 401, 200)
    outcome.must([c[0].get("stale", False) for c in outcome.challenges("REGISTER")] == [False, True])
    check_signed(outcome, "REGISTER", "MD5", "auth", [1, 2, 1])


def expired_nonce(agent):
    """It refreshes its registration after two seconds, with a nonce that counts for one."""
    outcome = agent.register("--expires", "3", "--listen", "3")
    accepted(outcome, "REGISTER", 401, 200, 401, 200)
    outcome.must([c[0].get("stale", False) for c in outcome.challenges("REGISTER")] == [False, True])


def no_count_no_reuse(agent):
    """Without qop each request is challenged anew: a nonce without count serves once."""
    outcome = agent.register("--repeat", "1")
    accepted(outcome, "REGISTER", 401, 200, 401, 200)
    check_signed(outcome, "REGISTER", "MD5", None, None)


def kamailio_sets(quick):
    """defines, [(case, function of an agent)]"""
    register_wrong = lambda agent: wrong_password(agent, "register", f"sip:{DOMAIN}", "REGISTER", 401)  # noqa: E731
    message_wrong = lambda agent: wrong_password(agent, "message", BOB, "MESSAGE", 407)  # noqa: E731
    yield ("WITH_QOP_AUTH",), [
        ("MD5, qop auth: register", lambda agent: registers(agent, "MD5", "auth")),
        ("MD5, qop auth: register, wrong password", register_wrong),
        ("MD5, qop auth: message", lambda agent: requests(agent, "message", BOB, "MD5", "auth")),
        ("MD5, qop auth: message, wrong password", message_wrong),
        ("MD5, qop auth: options", lambda agent: requests(agent, "options", BOB, "MD5", "auth")),
        ("MD5, qop auth: four requests, one challenge", lambda agent: counts(agent, "MD5")),
        ("MD5, qop auth: call, signed ACK and BYE", calls),
        ("MD5, qop auth: call, wrong password", lambda agent: wrong_password(agent, "invite", BOB, "INVITE", 407)),
        ("MD5, qop auth: call given up, signed CANCEL", lambda agent: gives_up(agent, f"sip:ringing@{DOMAIN}")),
    ]
    yield (), [
        ("MD5, no qop: register", lambda agent: registers(agent, "MD5", None)),
        ("MD5, no qop: register, wrong password", register_wrong),
        ("MD5, no qop: message", lambda agent: requests(agent, "message", BOB, "MD5", None)),
        ("MD5, no qop: challenged each time", no_count_no_reuse),
    ]
    yield ("WITH_QOP_AUTH", "WITH_SHA_256"), [
        ("SHA-256, qop auth: register", lambda agent: registers(agent, "SHA-256", "auth")),
        ("SHA-256, qop auth: register, wrong password", register_wrong),
        ("SHA-256, qop auth: message", lambda agent: requests(agent, "message", BOB, "SHA-256", "auth")),
        ("SHA-256, qop auth: four requests, one challenge", lambda agent: counts(agent, "SHA-256")),
        ("SHA-256, qop auth: call, signed ACK and BYE", lambda agent: calls(agent, "SHA-256")),
    ]
    yield ("WITH_QOP_AUTH", "WITH_UNKNOWN_FIRST"), [
        ("unknown challenges in front: register",
         lambda agent: skips(agent, "register", f"sip:{DOMAIN}", "REGISTER", 401, "SHA3-512", "Bearer")),
        ("unknown challenges in front: message",
         lambda agent: skips(agent, "message", BOB, "MESSAGE", 407, "SHA3-512", "Bearer")),
        ("unknown challenges in front: register, wrong password", register_wrong),
    ]
    yield ("WITH_QOP_AUTH", "WITH_SESS_FIRST"), [
        ("MD5-sess without qop in front: register",
         lambda agent: skips(agent, "register", f"sip:{DOMAIN}", "REGISTER", 401, "MD5-sess")),
        ("MD5-sess without qop in front: message",
         lambda agent: skips(agent, "message", BOB, "MESSAGE", 407, "MD5-sess")),
    ]
    yield ("WITH_QOP_AUTH", "WITH_ONE_TIME_NONCE"), [
        ("one-time nonces: the used one is stale", used_nonce),
        ("one-time nonces: register, wrong password", register_wrong),
    ]
    if not quick:
        yield ("WITH_QOP_AUTH", "NONCE_SECONDS=1"), [
            ("nonces that expire: register again", expired_nonce),
            ("nonces that expire: register, wrong password", register_wrong),
        ]


def against_kamailio(matrix, tool, quick):
    if not matrix.peer("kamailio", client.package_version("kamailio")):
        return
    matrix.section("The user agent against Kamailio")
    for defines, cases in kamailio_sets(quick):
        with peers.Kamailio(defines) as kamailio:
            for transport in ("UDP", "TCP"):
                agent = Agent(tool, f"{peers.HOST}:{kamailio.port}", transport)
                for case, run in cases:
                    matrix.case(transport, case, lambda: run(agent))


# ---- against the daemon

def stack_of(algorithms, qops):
    """The tables of a stack that offers these."""
    def table(name, kind, chosen):
        lines = "".join(f"SIPAUTH_DIGEST_{kind}_{one} = true\n" for one in chosen)
        return f"[object.main.config.{name}]\n{lines}"
    return table("digestAlgorithms", "ALGORITHM", algorithms) + table("digestQops", "QOP", qops)


# What the user agent may answer with: a "-sess" algorithm never goes without qop.
OPTIONS = {"NONE": stack_of(HASHES, ("NONE",)), "AUTH": stack_of(ALGORITHMS, ("AUTH",)),
           "AUTH_INT": stack_of(ALGORITHMS, ("AUTH_INT",))}


class ChangingSite(Site):
    """A daemon whose stack is changed while it runs."""

    def __init__(self, program, tool):
        self.stack = stack_of(("MD5",), ("AUTH",))
        super().__init__(program, tool, self.stack, more=SIPAUTH_AGENTS)
        self.options = {}
        for qop, text in OPTIONS.items():
            self.options[qop] = os.path.join(self.daemon.folder, f"options-{qop}.toml")
            with open(self.options[qop], "w", encoding="ascii") as file:
                file.write(text.replace("object.main.config.", ""))

    def offer(self, algorithms, qops):
        """Has the daemon offer these; returns when it does."""
        stack = stack_of(algorithms, qops)
        with open(self.daemon.config, encoding="ascii") as file:
            text = file.read()
        with open(self.daemon.config, "w", encoding="ascii") as file:
            file.write(text.replace(self.stack, stack))
        self.stack = stack
        log = os.path.join(self.daemon.folder, "sipauthd.log")

        def seen():
            with open(log, encoding="ascii") as file:
                return file.read()
        before = len(seen())
        self.daemon.process.send_signal(signal.SIGHUP)
        deadline = time.monotonic() + 10
        while "certificates" not in seen()[before:]:
            expect(time.monotonic() < deadline and self.daemon.alive(), f"no reload:\n{self.daemon.said()}")
            time.sleep(0.01)
        expect("configuration reloaded" in seen()[before:], seen()[before:])


TOKENS = {"NONE": None, "AUTH": "auth", "AUTH_INT": "auth-int"}


def pair(site, agent, algorithm, qop):
    """A registration and a message, each with a challenge of this algorithm and qop."""
    site.offer([algorithm], [qop])
    options = "--options", site.options[qop]
    outcome = agent.register(*options)
    accepted(outcome, "REGISTER", 401, 200)
    check_signed(outcome, "REGISTER", algorithm, TOKENS[qop], [1])
    outcome = agent.run("message", BOB, "--text", f"{algorithm}, {qop}", *options)
    accepted(outcome, "MESSAGE", 407, 200)
    check_signed(outcome, "MESSAGE", algorithm, TOKENS[qop], [1])


def impossible(site, agent, algorithm):
    """A "-sess" algorithm without qop cannot be (RFC 2617 section 3.2.2.2): no password goes into anything."""
    site.offer([algorithm], ["NONE"])
    outcome = agent.register("--options", site.options["AUTH"])
    outcome.must(outcome.status == 1 and not any(outcome.credentials("REGISTER")))


def one_challenge(matrix, site, quick):
    agent = Agent(site.daemon.tool, site.server(), "udp")
    for qop in QOPS:
        for algorithm in ALGORITHMS:
            if quick and (algorithm, qop) not in QUICK_PAIRS:
                continue
            name = algorithm.replace("_SESS", "-sess")
            if qop == "NONE" and algorithm.endswith("_SESS"):
                matrix.case("no qop", f"{name} (without qop: refused)", lambda: impossible(site, agent, algorithm))
            else:
                matrix.case(TOKENS[qop] or "no qop", name, lambda: pair(site, agent, algorithm, qop))


class Phone(client.Client):
    """The user agent as bob, registered and taking calls."""

    def __init__(self, agent):
        super().__init__()
        command = agent.command("register", f"sip:{DOMAIN}", "--user", "bob", "--listen", "60")
        command.remove("--json")  # so that it tells of each message when it comes
        self.start(command, environment={"PASSWORD": USERS["bob"]})
        self.wait_for("listening")


def all_challenges(matrix, site, transport, callee, quick):
    """With everything on offer the strongest is taken."""
    # Over UDP what is offered has to fit into a packet.
    strongest, qop, offers = ("SHA256", "auth", 2) if transport == "UDP" else ("SHA512-sess", "auth-int", 12)
    agent = Agent(site.daemon.tool, site.server(transport.lower()), transport, "--strongest",
                  *(["--ca", site.daemon.certificate] if transport == "TLS" else []))

    def case(name, run):
        matrix.case(transport, name, run)

    def registers_again():
        outcome = agent.register("--repeat", "2")
        accepted(outcome, "REGISTER", 401, 200, 200, 200)
        outcome.must(len(outcome.challenges("REGISTER")[0]) == offers)
        check_signed(outcome, "REGISTER", strongest, qop, [1, 2, 3])

    def cancels():
        callee.answers = False
        try:
            gives_up(agent, BOB, strongest, qop)
            callee.wait_for("CANCEL", "ACK")
        finally:
            callee.answers = True

    def calls_itself():
        site.forget("bob")
        with Phone(agent) as phone:
            calls(agent, strongest, qop)
            for line in ("<- INVITE", "-> SIP/2.0 200", "<- ACK", "<- BYE"):
                phone.wait_for(line)
        site.forget("bob")
        site.bind("bob", callee.contact())

    def refuses_certificate():
        stranger = Agent(site.daemon.tool, site.server("tls"), "TLS")
        outcome = stranger.register()
        outcome.must(outcome.status == 3 and "certificate" in outcome.text and not outcome.statuses("REGISTER"))

    case("register three times, challenged once", registers_again)
    case("register, wrong password", lambda: wrong_password(agent, "register", f"sip:{DOMAIN}", "REGISTER", 401))
    case("message", lambda: requests(agent, "message", BOB, strongest, qop))
    case("message, wrong password", lambda: wrong_password(agent, "message", BOB, "MESSAGE", 407))
    case("call, signed ACK and BYE", lambda: calls(agent, strongest, qop))
    case("call, wrong password", lambda: wrong_password(agent, "invite", BOB, "INVITE", 407))
    case("call given up, signed CANCEL", cancels)
    if not quick:
        case("calls another one of its kind", calls_itself)
    if transport == "TLS":
        case("certificate of an unknown authority: refused", refuses_certificate)
    callee.keeps_credentials_out()


def against_the_daemon(matrix, program, tool, quick):
    if not matrix.peer("sipauth", "itself"):
        return
    with ChangingSite(program, tool) as site, Callee() as callee:
        site.bind("bob", callee.contact())
        matrix.section("The user agent against sipauthd, one challenge at a time")
        one_challenge(matrix, site, quick)
        matrix.section("The user agent against sipauthd, twelve challenges at a time")
        site.offer(reversed(ALGORITHMS), ("AUTH_INT", "AUTH"))
        for transport in ("TCP",) if quick else ("UDP", "TCP", "TLS"):
            all_challenges(matrix, site, transport, callee, quick)
        status = site.daemon.stop()
        matrix.case("TCP", "the daemon ends in order", lambda: expect(status == 0, f"exit status {status}"))


def run(matrix, program, tool, quick):
    against_kamailio(matrix, tool, quick)
    against_the_daemon(matrix, program, tool, quick)
