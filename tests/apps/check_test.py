"""`sipauth check`: verdicts and causes."""

import hashlib

import tool_case
from tool_case import DATA, ToolCase, challenge, request

import digest_oracle
import sip_text

CHALLENGE = challenge('Digest realm="r", nonce="n", opaque="o", algorithm=MD5, qop="auth,auth-int"')

# Faults that cannot be told from a wrong password: only the signer knows what the body was.
HIDDEN = {"body_changed": "wrong-password"}


def credentials(**changes):
    """Right credentials of alice for CHALLENGE, then changed; None takes a parameter away."""
    found = {"username": "alice", "realm": "r", "nonce": "n", "uri": "sip:example.org", "algorithm": "MD5",
             "cnonce": "c", "opaque": "o", "qop": "auth", "nc": "00000001"}
    hashed = {**found, **changes.pop("hashed", {})}
    found["response"] = digest_oracle.response_value(
        hashed["algorithm"], hashed["username"], hashed["realm"], hashed.get("password", "secret"), hashed["nonce"],
        hashed.get("method", "REGISTER"), hashed["uri"], hashed["qop"], hashed["nc"], hashed["cnonce"],
        hashed.get("body", b""))
    found.update(changes)
    return digest_oracle.credentials_text({name: value for name, value in found.items() if value is not None})


def authorized(value=None, **changes):
    return request(f"Authorization: {value or credentials(**changes)}")


class Recorded(ToolCase):
    def test_tells_the_verdict_and_the_fault_of_every_variant(self):
        variants = tool_case.rows("variants/variants.tsv", tool_case.VARIANT_COLUMNS)
        self.assertGreater(len(variants), 20)
        for row in variants:
            with self.subTest(row["name"]):
                read = {part: (DATA / "variants" / f"{row['name']}_{part}.sip").read_bytes()
                        for part in ("authorized", "challenge")}
                result = self.check(read["authorized"], read["challenge"], user=row["user"], password=row["password"])
                self.assertEqual(result["passed"], row["verdict"] == "accepted", result)
                kinds = [note["kind"] for note in result["notes"]]
                if not result["passed"]:
                    self.assertEqual(result["cause"]["kind"], HIDDEN.get(row["name"], row["cause"]), result)
                elif row["cause"] != "none":
                    self.assertEqual(kinds, [row["cause"]])
                else:
                    self.assertEqual(kinds, [])

    def test_judges_every_recorded_request_as_its_peer_did(self):
        checked = 0
        for peer, row in tool_case.exchanges():
            path = DATA / peer / f"{row['name']}_authorized.sip"
            if not path.exists():
                continue
            with self.subTest(peer=peer, name=row["name"]):
                checked += 1
                answered = (DATA / peer / f"{row['name']}_challenge.sip").read_bytes()
                result = self.check(path.read_bytes(), answered, user=row["user"], password=row["password"])
                self.assertEqual(result["passed"], row["status"] == "200", result)
                if row["used"] != row["password"]:
                    self.assertEqual(result["cause"]["kind"], "wrong-password")
                alone = self.check(path.read_bytes(), user=row["user"], password=row["password"])
                self.assertEqual(alone["passed"], result["passed"], alone)
        self.assertGreaterEqual(checked, 20)

    def test_finds_that_sipp_computes_md5_where_it_says_md5_sess(self):
        read = {part: (DATA / "sipp" / f"register_md5_sess_{part}.sip").read_bytes()
                for part in ("authorized", "challenge")}
        result = self.check(read["authorized"], read["challenge"])
        self.assertEqual(result["cause"]["kind"], "other-algorithm")
        self.assertIn("MD5,", result["cause"]["text"])


class Steps(ToolCase):
    def test_passes_all_steps_in_order(self):
        result = self.check(authorized(), CHALLENGE)
        self.assertTrue(result["passed"])
        self.assertEqual([step["check"].split()[0] for step in result["checks"]],
                         ["credentials", "scheme", "algorithm", "qop", "realm", "nonce", "opaque", "nonce", "response",
                          "response"])
        self.assertEqual({step["outcome"] for step in result["checks"]}, {"pass"})
        self.assertEqual(result["received"], result["computed"])
        self.assertEqual(len(result["computed"]), 32)

    def test_reaches_no_step_after_the_one_that_failed(self):
        result = self.check(authorized(realm="other", hashed={"realm": "other"}), CHALLENGE)
        self.assertEqual([step["outcome"] for step in result["checks"]], ["pass"] * 4 + ["fail"] + ["not reached"] * 5)
        self.assertEqual(result["checks"][4]["detail"], "Digest realm mismatch.")

    def test_prints_the_same_as_text(self):
        done = self.expect(1, "check", "--request", self.file("r", authorized()), "--challenge",
                           self.file("c", CHALLENGE), password="not-secret")
        self.assertRegex(done.out, r"(?m)^pass         realm is the challenge's$")
        self.assertRegex(done.out, r"(?m)^fail         response is the computed one: Digest response mismatch\.$")
        self.assertRegex(done.out, r"(?m)^received     [0-9a-f]{32}$")
        self.assertRegex(done.out, r"(?m)^computed     [0-9a-f]{32}$")
        self.assertRegex(done.out, r'(?m)^cause        wrong password for user "alice": ')
        self.assertEqual(done.err, "")


class Causes(ToolCase):
    def assert_cause(self, kind, *arguments, password="secret", **changes):
        result = self.check(authorized(**changes), CHALLENGE, *arguments, password=password)
        self.assertEqual(result["cause"] and result["cause"]["kind"], kind, result)
        return result

    def test_names_what_differs_from_the_challenge(self):
        for name, value, kind in (("realm", "x", "realm-differs"), ("nonce", "x", "nonce-differs"),
                                  ("opaque", "x", "opaque-differs"), ("opaque", None, "opaque-missing"),
                                  ("algorithm", "SHA256", "algorithm-differs"), ("nc", "00000002", "nc-not-expected"),
                                  ("nc", None, "nc-missing"), ("algorithm", "SHA-256", "algorithm-unknown"),
                                  ("qop", "auth-conf", "qop-unknown")):
            with self.subTest(name=name, value=value):
                right = {"hashed": {name: value}} if value and "unknown" not in kind else {}
                self.assert_cause(kind, **{name: value}, **right)
        value = credentials(qop=None, nc=None, cnonce=None, hashed={"qop": None})
        self.assertEqual(self.check(authorized(value), CHALLENGE)["cause"]["kind"], "qop-differs")

    def test_tells_a_wrong_response_before_another_difference(self):
        result = self.assert_cause("wrong-password", opaque="x", password="not-secret")
        self.assertIn("besides, the opaque is not the challenge's", result["cause"]["text"])

    def test_names_what_was_hashed_instead(self):
        for kind, hashed in (("other-method", {"method": "INVITE"}), ("other-user-name", {"username": "alice@r"}),
                             ("other-qop", {"qop": None}), ("other-algorithm", {"algorithm": "SHA512"}),
                             ("nc-not-hashed", {"nc": ""})):
            with self.subTest(kind):
                self.assert_cause(kind, hashed=hashed)
        self.assert_cause("uri-differs", uri="sip:x", hashed={"uri": "sip:example.org"})

    def test_names_the_form_in_which_the_nonce_count_was_hashed(self):
        for kind, written, hashed in (("nc-upper-case", "0000000A", "0000000A"), ("nc-unpadded", "0000000a", "a"),
                                      ("nc-unpadded", "00a", "00a"), ("nc-decimal", "0000000a", "10"),
                                      ("nc-decimal", "0000000a", "00000010")):
            with self.subTest(written=written, hashed=hashed):
                self.assert_cause(kind, "--nonce-count", "10", nc=written, hashed={"nc": hashed})

    def check_body(self, value, body):
        return self.check(request(f"Authorization: {value}", body=body), CHALLENGE)

    def test_names_a_changed_body(self):
        for hashed in (b"", b"text\n", b"text"):
            value = credentials(qop="auth-int", hashed={"qop": "auth-int", "body": hashed})
            self.assertEqual(self.check_body(value, b"text\r\n")["cause"]["kind"], "body-changed")
        value = credentials(qop="auth-int", hashed={"qop": "auth-int", "body": b"text\r\n"})
        self.assertEqual(self.check_body(value, b"text")["cause"]["kind"], "body-changed")
        self.assertTrue(self.check_body(value, b"text\r\n")["passed"])

    def test_names_a_body_that_was_not_hashed(self):
        value = credentials(qop="auth-int", hashed={"qop": "auth"})
        self.assertEqual(self.check_body(value, b"text")["cause"]["kind"], "body-not-hashed")

        def md5(*parts):
            return hashlib.md5(":".join(parts).encode()).hexdigest()

        response = md5(md5("alice", "r", "secret"), "n", "00000001", "c", "auth-int",
                       md5("REGISTER", "sip:example.org"))
        value = credentials(qop="auth-int", response=response)
        self.assertEqual(self.check_body(value, b"text")["cause"]["kind"], "body-not-hashed")

    def test_names_what_is_missing(self):
        self.assert_cause("cnonce-missing", cnonce=None)
        self.assert_cause("response-missing", response=None)
        result = self.check(request(), CHALLENGE)
        self.assertEqual(result["cause"]["kind"], "no-credentials")
        # A 407 asks for other credentials than a 401.
        asked = CHALLENGE.replace(b"401", b"407").replace(b"WWW-", b"Proxy-")
        self.assertEqual(self.check(authorized(), asked)["cause"]["kind"], "no-credentials")

    def test_says_when_a_mended_response_is_wrong_as_well(self):
        result = self.check(authorized(response="A" * 32), CHALLENGE)
        self.assertEqual(result["cause"]["kind"], "malformed")
        self.assertIn("does not match either", result["cause"]["text"])

    def test_reads_a_response_in_upper_case_as_no_credentials(self):
        value = credentials()
        upper = value.replace(digest_oracle.parameters(value)["response"],
                              digest_oracle.parameters(value)["response"].upper())
        result = self.check(authorized(upper), CHALLENGE)
        self.assertEqual(result["cause"]["kind"], "upper-case-response")
        self.assertIn("reads no credentials at all", result["cause"]["text"])
        self.assertEqual([step["outcome"] for step in result["checks"]], ["fail"])

    def test_needs_no_password_to_call_credentials_malformed(self):
        for value in ('Digest username="alice', "Basic =", "Bearer x"):
            with self.subTest(value):
                done = self.expect(1, "check", "--json", "--request", self.file("r", authorized(value)))
                self.assertEqual(done.json()["cause"]["kind"], "malformed")


class NonceCount(ToolCase):
    def test_expects_the_count_that_it_is_told(self):
        later = authorized(nc="0000000f", hashed={"nc": "0000000f"})
        self.assertEqual(self.check(later, CHALLENGE)["cause"]["kind"], "nc-not-expected")
        self.assertTrue(self.check(later, CHALLENGE, "--nonce-count", "15")["passed"])
        self.assertEqual(self.check(later, CHALLENGE, "--nonce-count", "14")["cause"]["kind"], "nc-not-expected")
        self.assertTrue(self.check(later)["passed"])

    def test_refuses_a_count_that_is_none(self):
        for count in ("-1", "4294967296", "x"):
            self.expect(2, "check", "--request", self.file("r", authorized()), "--nonce-count", count,
                        password="secret")


class Notes(ToolCase):
    OPTIONS = """serverRealm = "r"
[digestAlgorithms]
SIPAUTH_DIGEST_ALGORITHM_MD5 = true
[digestQops]
SIPAUTH_DIGEST_QOP_AUTH = true
"""

    def kinds(self, options, value):
        result = self.check(authorized(value), None, "--options", self.file("options.toml", options))
        return [note["kind"] for note in result["notes"]]

    def test_says_nothing_about_what_the_options_offer(self):
        self.assertEqual(self.kinds(self.OPTIONS, credentials()), [])

    def test_says_what_the_options_do_not_offer(self):
        self.assertEqual(self.kinds(self.OPTIONS, credentials(realm="x")), ["realm-not-offered"])
        self.assertEqual(self.kinds(self.OPTIONS, credentials(qop="auth-int")), ["qop-not-offered"])
        self.assertEqual(self.kinds(self.OPTIONS, credentials(algorithm="SHA256")), ["algorithm-not-offered"])
        self.assertEqual(self.kinds(self.OPTIONS + "[schemes]\nSIPAUTH_SCHEME_BASIC = true\n", credentials()),
                         ["scheme-not-offered"])

    def test_says_that_of_several_credentials_the_last_are_read(self):
        lines = (f"Authorization: {credentials(response='0' * 32)}", f"Authorization: {credentials()}")
        result = self.check(request(*lines), CHALLENGE)
        self.assertTrue(result["passed"])
        self.assertEqual([note["kind"] for note in result["notes"]], ["several-credentials"])


class Basic(ToolCase):
    REQUEST = authorized("Basic YWxpY2U6c2VjcmV0")
    OPTIONS = "[schemes]\nSIPAUTH_SCHEME_BASIC = true\n"

    def basic(self, *more, **arguments):
        return self.check(self.REQUEST, None, "--options", self.file("options.toml", self.OPTIONS), *more, **arguments)

    def test_checks_name_and_password(self):
        self.assertTrue(self.basic()["passed"])
        self.assertEqual(self.basic(password="not-secret")["cause"]["kind"], "wrong-password")
        self.assertEqual(self.basic(user="bob")["cause"]["kind"], "other-user-name")

    def test_refuses_it_unless_the_options_allow_it(self):
        self.assertEqual(self.check(self.REQUEST)["cause"]["kind"], "scheme-not-offered")


class Unusable(ToolCase):
    def test_does_not_abort_on_a_session_algorithm_without_qop(self):
        for qop in ("", ', qop=""'):
            asked = challenge(f'Digest realm="r", nonce="n", algorithm=MD5-sess{qop}')
            done = self.expect(2, "check", "--request", self.file("r", authorized()), "--challenge",
                               self.file("c", asked), password="secret")
            self.assertIn("no Digest line that can be answered", done.err)
        value = credentials(algorithm="MD5-sess", qop=None, nc=None, cnonce=None)
        done = self.expect(2, "check", "--request", self.file("r", authorized(value)), password="secret")
        self.assertIn("session algorithm and no qop", done.err)

    def test_picks_the_challenge_that_was_answered(self):
        asked = challenge('Digest realm="x", nonce="x"', 'Digest realm="r", nonce="n", opaque="o", qop="auth"')
        self.assertTrue(self.check(authorized(), asked)["passed"])

    def test_asks_for_what_it_cannot_know(self):
        for value, text in ((credentials(username=None), "--user"), (credentials(realm=None), "--challenge"),
                            (credentials(algorithm="SHA-256"), "unknown algorithm")):
            done = self.expect(2, "check", "--request", self.file("r", authorized(value)), password="secret")
            self.assertIn(text, done.err)

    def test_keeps_the_body_of_a_message_with_bare_line_feeds(self):
        body = b"one\ntwo\n"
        text = request(f"Authorization: {credentials(qop='auth-int', hashed={'qop': 'auth-int', 'body': body})}",
                       body=body)
        self.assertTrue(self.check(text.replace(b"\r\n", b"\n"), CHALLENGE)["passed"])
        self.assertEqual(sip_text.body(text), body)


if __name__ == "__main__":
    tool_case.main()
