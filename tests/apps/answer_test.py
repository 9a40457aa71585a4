"""`sipauth answer`: what is answered, and what is said about the challenges that are not."""

import tool_case
from tool_case import DATA, ToolCase, challenge, request

import digest_oracle
import sip_text

DIGEST = 'Digest realm="r", nonce="n"'
ALL_DIGEST = """defaults = "SIPAUTH_DEFAULTS_COMPATIBLE"
"""
WITH_BASIC = """[schemes]
SIPAUTH_SCHEME_BASIC = true
SIPAUTH_SCHEME_DIGEST = true
"""


class Recorded(ToolCase):
    def test_answers_every_recorded_challenge_so_that_check_accepts_it(self):
        answered = 0
        for peer, row in tool_case.exchanges():
            if row["name"] == "register_sha_256":
                continue
            with self.subTest(peer=peer, name=row["name"]):
                read = {part: (DATA / peer / f"{row['name']}_{part}.sip").read_bytes()
                        for part in ("request", "challenge")}
                options = ["--options", self.file("options.toml", "[digestAlgorithms]\n"
                                                  "SIPAUTH_DIGEST_ALGORITHM_MD5 = true\n"
                                                  "SIPAUTH_DIGEST_ALGORITHM_MD5_SESS = true\n"
                                                  "[digestQops]\nSIPAUTH_DIGEST_QOP_NONE = true\n"
                                                  "SIPAUTH_DIGEST_QOP_AUTH = true\n"
                                                  "SIPAUTH_DIGEST_QOP_AUTH_INT = true\n")]
                signed = self.answer(0, read["request"], read["challenge"], *options, user=row["user"],
                                     password=row["password"])["request"].encode()
                found = digest_oracle.credentials_of(signed)
                self.assertEqual(found.get("qop"), None if row["qop"] == "none" else row["qop"])
                self.assertEqual(found["response"], digest_oracle.response_for(signed, found, row["password"]))
                result = self.check(signed, read["challenge"], user=row["user"], password=row["password"])
                self.assertTrue(result["passed"], result)
                self.assertEqual(self.check(signed, read["challenge"], user=row["user"],
                                            password="wrong")["cause"]["kind"], "wrong-password")
                answered += 1
        self.assertEqual(answered, 20)

    def test_cannot_answer_the_other_spelling_of_an_algorithm(self):
        read = {part: (DATA / "kamailio" / f"register_sha_256_{part}.sip").read_bytes()
                for part in ("request", "challenge")}
        result = self.answer(1, read["request"], read["challenge"])
        self.assertIsNone(result["request"])
        self.assertIn('unknown algorithm "SHA-256"', result["challenges"][0]["decision"])


class Output(ToolCase):
    def test_prints_the_request_and_nothing_else(self):
        asked = request("X-Odd:   kept as it is  ", "Via: SIP/2.0/UDP h;branch=z9hG4bK1", body=b"\x00\xffbody\n")
        done = self.expect(0, "answer", "--request", self.file("r", asked), "--response",
                           self.file("c", challenge(DIGEST)), "--user", "alice", password="secret")
        value = sip_text.headers(done.stdout.replace(b"\xff", b"?"), "Authorization")[0]
        line = f"Authorization: {value}\r\n".encode()
        self.assertEqual(done.stdout.count(line), 1)
        self.assertEqual(done.stdout.replace(line, b""), asked)
        self.assertIn("taken", done.err)

    def test_answers_a_407_with_proxy_authorization(self):
        result = self.answer(0, request(), challenge(DIGEST, status=407))
        self.assertEqual(len(sip_text.headers(result["request"].encode(), "Proxy-Authorization")), 1)
        self.assertEqual(sip_text.headers(result["request"].encode(), "Authorization"), [])
        self.assertTrue(self.check(result["request"].encode(), challenge(DIGEST, status=407))["passed"])

    def test_replaces_old_credentials(self):
        result = self.answer(0, request('Authorization: Digest username="old"'), challenge(DIGEST))
        values = sip_text.headers(result["request"].encode(), "Authorization")
        self.assertEqual(len(values), 1)
        self.assertIn('username="alice"', values[0])

    def test_writes_line_ends_that_an_editor_took_away(self):
        asked = request(body=b"one\ntwo\n")
        result = self.answer(0, asked.replace(b"\r\n", b"\n"), challenge(DIGEST).replace(b"\r\n", b"\n"))
        head, _, body = result["request"].encode().partition(b"\r\n\r\n")
        self.assertEqual(body, b"one\ntwo\n")
        self.assertEqual(head.count(b"\n"), head.count(b"\r\n"))


class Choice(ToolCase):
    def decisions(self, status, *values, options=None, **arguments):
        more = ["--options", self.file("options.toml", options)] if options else []
        result = self.answer(status, request(), challenge(*values), *more, **arguments)
        self.assertEqual([offer["value"] for offer in result["challenges"]], list(values))
        self.assertEqual(result["request"] is None, status == 1)
        return [offer["decision"] for offer in result["challenges"]]

    def test_skips_an_unknown_algorithm(self):
        told = self.decisions(0, f"{DIGEST}, algorithm=SHA3-512", DIGEST)
        self.assertEqual(told, ['dropped: unknown algorithm "SHA3-512"', "taken"])

    def test_ranks_stronger_algorithms_better_qops_and_earlier_lines_first(self):
        told = self.decisions(0, f'{DIGEST}, algorithm=MD5, qop="auth"', f'{DIGEST}, algorithm=SHA256, qop="auth"',
                              f"{DIGEST}, algorithm=SHA256", f'{DIGEST}, algorithm=SHA512, qop="auth"',
                              f'{DIGEST}, algorithm=SHA256, qop="auth"')
        self.assertEqual([line.split(":")[0] for line in told],
                         ["ranked 5", "ranked 2", "ranked 4", "taken", "ranked 3"])

    def test_ranks_challenges_with_empty_nonces_apart(self):
        told = self.decisions(0, 'Digest realm="r", nonce=""', 'Digest realm="r", nonce="", algorithm=SHA256')
        self.assertEqual(sorted(line.split(":")[0] for line in told), ["ranked 2", "taken"])

    def test_says_why_each_other_was_dropped(self):
        for value, reason in (
                ('Digest realm="r"', "unusable: no nonce"), ('Digest nonce="n"', "unusable: no realm"),
                (f"{DIGEST}, algorithm=SHA1", "the options do not allow the algorithm SHA1"),
                (f'{DIGEST}, qop="auth-conf"', "the options allow none of the qops that it offers"),
                ('Basic realm="r"', "the options do not allow the scheme Basic"),
                (f"{DIGEST}, stale=maybe", 'malformed: stale must be true or false, not "maybe"'),
                ("Bearer x", 'malformed: unknown scheme "Bearer"')):
            with self.subTest(value):
                self.assertEqual(self.decisions(1, value, options=ALL_DIGEST), ["dropped: " + reason])
        self.assertEqual(self.decisions(1, f"{DIGEST}, algorithm=SHA256",
                                        options='defaults = "SIPAUTH_DEFAULTS_STANDARD"\n'),
                         ["dropped: it offers no qop and the options demand one"])

    def test_calls_a_session_algorithm_without_qop_unusable(self):
        options = ("[digestAlgorithms]\nSIPAUTH_DIGEST_ALGORITHM_MD5 = true\nSIPAUTH_DIGEST_ALGORITHM_MD5_SESS = true\n"
                   "[digestQops]\nSIPAUTH_DIGEST_QOP_NONE = true\nSIPAUTH_DIGEST_QOP_AUTH = true\n")
        for qop in ("", ', qop=""'):
            value = f"{DIGEST}, algorithm=MD5-sess{qop}"
            told = "dropped: unusable: a session algorithm without qop"
            self.assertEqual(self.decisions(1, value, options=options), [told])
            self.assertEqual(self.decisions(0, value, DIGEST, options=options), [told, "taken"])

    def test_looks_at_no_more_challenges_than_the_library(self):
        told = self.decisions(0, *[f'Digest realm="r", nonce="{number}"' for number in range(101)])
        self.assertEqual(told[0], "taken")
        self.assertIn("not looked at", told[100])

    def test_answers_basic_when_the_options_allow_it(self):
        result = self.answer(0, request(), challenge('Basic realm="r"'), "--options",
                             self.file("options.toml", WITH_BASIC))
        self.assertEqual(sip_text.headers(result["request"].encode(), "Authorization"), ["Basic YWxpY2U6c2VjcmV0"])
        told = self.decisions(0, 'Basic realm="r"', DIGEST + ', algorithm=SHA256, qop="auth"', options=WITH_BASIC)
        self.assertEqual([line.split(":")[0] for line in told], ["ranked 2", "taken"])

    def test_says_when_there_is_no_challenge(self):
        for status, name in ((401, "WWW-Authenticate"), (407, "Proxy-Authenticate")):
            done = self.expect(1, "answer", "--request", self.file("r", request()), "--response",
                               self.file("c", challenge(status=status)), "--user", "alice")
            self.assertIn(name, done.err)
            self.assertEqual(done.out, "")


class Refused(ToolCase):
    def run_answer(self, asked, response, user="alice", options=""):
        return self.expect(2, "answer", "--request", self.file("r", asked), "--response", self.file("c", response),
                           "--user", user, "--options", self.file("options.toml", options or ALL_DIGEST),
                           password="secret").err

    def test_takes_requests_and_challenges_only(self):
        self.assertIn("not a request", self.run_answer(challenge(DIGEST), challenge(DIGEST)))
        self.assertIn("neither a 401 nor a 407", self.run_answer(request(), request()))
        self.assertIn("neither a 401 nor a 407", self.run_answer(request(), challenge(DIGEST, status=200)))
        self.assertIn("not a SIP message", self.run_answer(b"hello\r\n\r\n", challenge(DIGEST)))

    def test_says_what_a_user_name_cannot_be(self):
        self.assertIn("user name", self.run_answer(request(), challenge(DIGEST), user="al\r\nX: ice"))
        self.assertIn("user name", self.run_answer(request(), challenge('Basic realm="r"'), user="al:ice",
                                                   options=WITH_BASIC))


if __name__ == "__main__":
    tool_case.main()
