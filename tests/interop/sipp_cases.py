"""sipp as client with Digest code of its own: the tool makes the challenge and judges what sipp sends back."""

import re

import digest_oracle
import peers
import sip_text
from report import expect
from tool import server_options

USER = "alice"
PASSWORD = "secret"
WRONG_PASSWORD = "not-secret"

# (scenario, code of the challenge, qop)
CALLS = (
    ("register.xml", 401, None),
    ("register.xml", 401, "auth"),
    ("register_body.xml", 401, "auth-int"),
    ("message.xml", 407, "auth"),
)
_REASONS = {401: "Unauthorized", 407: "Proxy Authentication Required", 200: "OK", 403: "Forbidden"}


class Call:
    """One call of sipp: it asks, is challenged, asks again, and gets the verdict that the caller's check gives."""

    def __init__(self, report, scenario, code):
        self.report, self.scenario, self.code = report, scenario, code
        self.request = self.challenge = self.authorized = self.final = None

    def run(self, password, challenge_lines, verdict, port=0, local_port=None):
        """`verdict` takes the request with credentials and the challenge, and returns whether to accept them."""
        with peers.Endpoint(port) as endpoint:
            with peers.Sipp(self.scenario, USER, password, endpoint.port, local_port) as sipp:
                self.request, sender = self._receive(endpoint)
                self.challenge = self._reply(endpoint, sender, self.request, self.code, challenge_lines)
                self.authorized, sender = self._receive(endpoint)
                accepted = verdict(self.authorized, self.challenge)
                self.final = self._reply(endpoint, sender, self.authorized, 200 if accepted else 403, ())
                status = sipp.wait()
        expect((status == 0) == accepted, f"sipp ended with {status}")

    def _receive(self, endpoint):
        message, sender = endpoint.receive()
        self.report.to_right(message)
        return message, sender

    def _reply(self, endpoint, port, request, code, lines):
        message = sip_text.reply(request, code, _REASONS[code], lines)
        self.report.to_left(message)
        endpoint.send(message, port)
        return message


def _expect_verdict(report, tool, options, password, accepted_wanted, cause):
    """A verdict function for Call.run that asks the tool and expects this of it."""
    def verdict(request, challenge):
        independent = digest_oracle.mismatch(request, challenge, password) is None
        expect(independent == accepted_wanted, "an independent computation disagrees with what the case expects")
        accepted, said = tool.check(request, challenge, USER, password, options)
        report.note(f"sipauth check: {'accepted' if accepted else 'refused'}")
        expect(accepted == accepted_wanted, f"the tool says:\n{said}")
        expect(cause is None or re.search(cause, said, re.I), f"no word of the cause:\n{said}")
        return accepted
    return verdict


def run(report, tool):
    def case(scenario, code, qop, algorithm, title, client_password, accepted, cause):
        def body():
            options = server_options(qop, algorithm)
            lines = tool.challenge(options, proxy=code == 407)
            report.note("sipauth challenge")
            verdict = _expect_verdict(report, tool, options, PASSWORD, accepted, cause)
            Call(report, scenario, code).run(client_password, lines, verdict)
        report.case(f"sipp, {scenario}, {algorithm}, qop {qop or 'none'}, {title}", "sipp", "sipauth", body)

    for scenario, code, qop in CALLS:
        case(scenario, code, qop, "MD5", "right password", PASSWORD, True, None)
        case(scenario, code, qop, "MD5", "wrong password", WRONG_PASSWORD, False,
             r"wrong password|password is wrong|password does not match")
    # sipp 3.6.1 takes a challenge of MD5-sess and says so in its answer, but computes plain MD5.
    case("register.xml", 401, "auth", "MD5-sess", "computed as MD5", PASSWORD, False, r"algorithm.*\bMD5\b")
