"""Kamailio as registrar and proxy: it challenges, the tool answers, Kamailio accepts or refuses."""

import digest_oracle
import peers
import sip_text
from report import expect

REALM = "interop.example"
PASSWORD = "secret"
WRONG_PASSWORD = "not-secret"
# A user name with a backslash is hashed as it is escaped on the wire; Kamailio does the same.
USER, ESCAPED_USER = "alice", "office\\alice"


class Exchange:
    """One request that Kamailio challenges, and the same request again with what the tool makes of it."""

    def __init__(self, report, tool, kamailio, method, user):
        self.report, self.tool, self.kamailio = report, tool, kamailio
        self.method, self.user = method, user
        self.code = 401 if method == "REGISTER" else 407

    def run(self, password, qop, final_code):
        """Ends well when Kamailio's second response is the expected one, and all before it is right, too."""
        with peers.Endpoint() as endpoint:
            dialogue = sip_text.Dialogue("alice", REALM, endpoint.port)
            challenge = self._send(endpoint, dialogue.request(self.method, 1))
            expect(sip_text.status(challenge) == self.code, f"expected {self.code}")
            offered = digest_oracle.challenges_of(challenge)[-1]
            expect(offered.get("qop") == qop, f"Kamailio offers qop {offered.get('qop')}, expected {qop}")

            request = dialogue.request(self.method, 2)
            signed = self.tool.answer(request, challenge, self.user, password)
            if final_code is None:
                expect(signed is None, "the tool answered a challenge that it cannot know")
                self.report.note("sipauth answer: no usable challenge")
                return
            expect(signed is not None, "the tool gave no answer")
            self.report.note("sipauth answer")
            self._check_signed(request, challenge, signed, password)

            final = self._send(endpoint, signed)
            expect(sip_text.status(final) == final_code, f"expected {final_code}")
            if final_code == 200 and self.method == "REGISTER":
                bound = any(str(endpoint.port) in value for value in sip_text.headers(final, "Contact"))
                expect(bound, "the binding was not kept")

    def _send(self, endpoint, request):
        self.report.to_right(request)
        response = endpoint.exchange(request, self.kamailio.port)
        self.report.to_left(response)
        if self.method == "INVITE" and sip_text.status(response) >= 300:
            acknowledgement = sip_text.acknowledgement(request, response)
            self.report.to_right(acknowledgement)
            endpoint.send(acknowledgement, self.kamailio.port)
        return response

    def _check_signed(self, request, challenge, signed, password):
        """What is true of the tool's output without asking Kamailio."""
        name = digest_oracle.CREDENTIAL_NAMES[self.code]
        values = sip_text.headers(signed, name)
        expect(len(values) == 1, f"{len(values)} {name} headers, expected one")
        expect(sip_text.without_headers(signed, name) == request, "the tool changed more than the credentials")
        wrong = digest_oracle.mismatch(signed, challenge, password)
        expect(wrong is None, f"by an independent computation: {wrong}")
        found = digest_oracle.credentials_of(signed)
        expect(found["uri"] == sip_text.request_uri(request), "uri is not the Request-URI")
        expect(found["username"] == digest_oracle.escape(self.user), "another user name")
        expect(found.get("nc") == ("00000001" if "qop" in found else None), f"nc is {found.get('nc')}")


def run(report, tool):
    """All cases, grouped by the configuration that Kamailio runs with."""
    def case(kamailio, method, title, password, qop, final_code, user=USER):
        role = "registrar" if method == "REGISTER" else "proxy"
        report.case(f"kamailio as {role}, {title}", "sipauth", "kamailio", lambda: Exchange(
            report, tool, kamailio, method, user).run(password, qop, final_code))

    for define, qop in ((), None), (("WITH_QOP_AUTH",), "auth"):
        with peers.Kamailio(define) as kamailio:
            for method in "REGISTER", "INVITE":
                again = 401 if method == "REGISTER" else 407
                title = f"MD5, qop {qop or 'none'}"
                case(kamailio, method, f"{title}, right password", PASSWORD, qop, 200)
                case(kamailio, method, f"{title}, wrong password", WRONG_PASSWORD, qop, again)
                case(kamailio, method, f"{title}, user name to be escaped", PASSWORD, qop, 200, ESCAPED_USER)
    with peers.Kamailio(("WITH_QOP_AUTH", "WITH_UNKNOWN_FIRST")) as kamailio:
        for method in "REGISTER", "INVITE":
            case(kamailio, method, "an unknown challenge in front", PASSWORD, "auth", 200)
    with peers.Kamailio(("WITH_SHA_256",)) as kamailio:
        for method in "REGISTER", "INVITE":
            case(kamailio, method, "only a challenge of unknown algorithm", PASSWORD, None, None)
