"""Every algorithm with every qop: what `check` computes is what hashlib computes, and `answer` agrees with both."""

import itertools

import tool_case
from tool_case import ToolCase, challenge, request

import digest_oracle

HASHES = ("MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512")
ALGORITHMS = [name + session for name in HASHES for session in ("", "-sess")]
QOPS = (None, "auth", "auth-int")
BODY = "v=0\r\ns=Größe\r\n".encode()
USER, REALM, PASSWORD, URI = 'al"ice\\ü', 'the "r\\realm"', "s3cret: ü", "sip:bob@example.org;transport=tcp"
OPTIONS = "[digestAlgorithms]\n" + "".join(
    f"SIPAUTH_DIGEST_ALGORITHM_{name.replace('-', '_').upper()} = true\n" for name in ALGORITHMS) + """[digestQops]
SIPAUTH_DIGEST_QOP_NONE = true
SIPAUTH_DIGEST_QOP_AUTH = true
SIPAUTH_DIGEST_QOP_AUTH_INT = true
"""


def usable():
    """All combinations but a session algorithm without qop, which has no client nonce to hash."""
    return [(algorithm, qop) for algorithm, qop in itertools.product(ALGORITHMS, QOPS)
            if qop or not algorithm.endswith("-sess")]


def credentials(algorithm, qop):
    found = {"username": digest_oracle.escape(USER), "realm": digest_oracle.escape(REALM), "nonce": 'a\\"nonce',
             "uri": URI, "algorithm": algorithm}
    if qop:
        found.update(qop=qop, nc="00000001", cnonce='a\\\\cnonce')
    found["response"] = digest_oracle.response_value(
        algorithm, found["username"], found["realm"], PASSWORD, found["nonce"], "INVITE", URI, qop, found.get("nc"),
        found.get("cnonce"), BODY)
    return digest_oracle.credentials_text(found)


class EveryAlgorithm(ToolCase):
    def test_counts_thirty_combinations(self):
        self.assertEqual(len(usable()), 30)

    def test_is_checked_as_hashlib_computes_it(self):
        for algorithm, qop in usable():
            with self.subTest(algorithm=algorithm, qop=qop):
                value = credentials(algorithm, qop)
                signed = request(f"Authorization: {value}", method="INVITE", uri=URI, body=BODY)
                result = self.check(signed, user=USER, password=PASSWORD)
                self.assertTrue(result["passed"], result)
                # The library's check and the tool's own computation are two.
                self.assertEqual(result["computed"], digest_oracle.parameters(value)["response"])

    def test_is_answered_so_that_hashlib_agrees(self):
        options = self.file("options.toml", OPTIONS)
        asked = request(method="INVITE", uri=URI, body=BODY)
        for algorithm, qop in usable():
            with self.subTest(algorithm=algorithm, qop=qop):
                realm = digest_oracle.escape(REALM)
                offered = challenge(f'Digest realm="{realm}", nonce="a\\"nonce", algorithm={algorithm}'
                                    + (f', qop="{qop}"' if qop else ""))
                result = self.answer(0, asked, offered, "--options", options, user=USER, password=PASSWORD)
                answered = result["request"].encode()
                found = digest_oracle.credentials_of(answered)
                self.assertEqual(found["response"], digest_oracle.response_for(answered, found, PASSWORD))
                self.assertEqual((found["algorithm"], found.get("qop")), (algorithm, qop))


if __name__ == "__main__":
    tool_case.main()
