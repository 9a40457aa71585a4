"""`sipauth parse`: what values hold, and the place of a fault."""

import tool_case
from tool_case import DATA, ToolCase, challenge, request

RIGHT = 'Digest username="alice", realm="r", nonce="n", uri="sip:h", response="0123456789abcdef0123456789abcdef"'


class Values(ToolCase):
    def parse(self, status, text):
        return self.expect(status, "parse", "--json", stdin=text if isinstance(text, bytes) else text.encode()).json()

    def test_tells_what_every_recorded_message_holds(self):
        for path in sorted(DATA.glob("[ksv]*/*_authorized.sip")) + sorted(DATA.glob("[ksv]*/*_challenge.sip")):
            with self.subTest(path.name):
                refused = path.name.startswith(("upper_case_response_a", "nc_not_hexadecimal_a"))
                result = self.expect(1 if refused else 0, "parse", "--json", path).json()
                self.assertEqual(len(result["errors"]), 1 if refused else 0)
                kind = "credentials" if "authorized" in path.name else "challenge"
                for value in result["values"]:
                    self.assertEqual((value["kind"], value["scheme"]), (kind, "Digest"))
                    self.assertIn("nonce", value["parameters"])

    def test_takes_values_header_lines_and_messages(self):
        for text, header, line in ((RIGHT, "", 1), (f"\n\n  {RIGHT}\n", "", 3),
                                   (f"authorization : {RIGHT}", "authorization", 1),
                                   (f"Via: x: y\r\nProxy-Authorization:{RIGHT}\r\n", "Proxy-Authorization", 2),
                                   (request("Via: x", f"Authorization: {RIGHT}"), "Authorization", 3)):
            with self.subTest(text):
                value, = self.parse(0, text)["values"]
                self.assertEqual((value["header"], value["line"], value["kind"]), (header, line, "credentials"))
                self.assertEqual(value["parameters"]["username"], "alice")

    def test_tells_challenges_from_credentials(self):
        lines = ('Digest realm="r", nonce="n"', 'Digest uri="sip:h"', "Basic YWxpY2U6c2VjcmV0", 'Basic realm="r"')
        kinds = [value["kind"] for value in self.parse(0, "\n".join(lines))["values"]]
        self.assertEqual(kinds, ["challenge", "credentials", "credentials", "challenge"])

    def test_shows_values_without_quotes_and_escapes(self):
        value, = self.parse(0, 'Digest realm="the \\"r\\" ü", QOP="auth,auth-int", unknown=1')["values"]
        self.assertEqual(value["parameters"], {"realm": 'the "r" ü', "QOP": "auth,auth-int", "unknown": "1"})

    def test_does_not_read_the_body(self):
        asked = request(f"Authorization: {RIGHT}", body=b"\r\nAuthorization: Bearer x\r\n")
        for text in (asked, asked.replace(b"\r\n", b"\n").replace(b"Length: 27", b"Length: 25")):
            self.assertEqual(len(self.parse(0, text)["values"]), 1)

    def test_says_no_when_there_is_nothing(self):
        for text in ("", "\n", "Via: x\n", request("Via: x")):
            result = self.parse(1, text)
            self.assertEqual(result, {"values": [], "errors": []})
        self.assertIn("no authentication header", self.expect(1, "parse").err)

    def test_never_shows_basic_credentials(self):
        done = self.expect(0, "parse", stdin=b"Authorization: Basic YWxpY2U6c2VjcmV0\n")
        self.assertNotIn("YWxp", done.out + done.err)
        self.assertIn("Basic credentials", done.out)
        done = self.expect(1, "parse", stdin=b"Authorization: Basic YWxpY2U6c2VjcmV0\n YWxpY2U6 x\n")
        self.assertNotIn("YWxp", done.out + done.err)
        self.assertIn("   ^", done.err)

    def test_refuses_a_broken_message(self):
        done = self.expect(2, "parse", stdin=b"REGISTER sip:h SIP/2.0\r\nno colon\r\n\r\n")
        self.assertIn("not a SIP message", done.err)


class Faults(ToolCase):
    """Each fault stands at the character behind the mark "§"."""

    CASES = (
        ('Digest realm=§"r', "the quoted string does not end"),
        ("Digest realm§", "'=' must follow the parameter name"),
        ('Digest realm §"r"', "'=' must follow the parameter name"),
        ("Digest realm=§", "a value must stand here"),
        ('Digest realm="r",§, nonce="n"', "a parameter name must stand here"),
        ('Digest realm="r" §nonce="n"', "a comma must stand between parameters"),
        ('Digest realm="r", stale=§maybe', 'stale must be true or false, not "maybe"'),
        ('Digest realm="r", qop=§"a b,;"', "qop must be"),
        ('Digest username="a", response=§"ABCDEF"', "response has hexadecimal digits in upper case"),
        ('Digest username="a", response=§"xyz"', "response must be hexadecimal digits in lower case"),
        ('Digest username="a", nc=§0000000g, qop=auth', "nc must be hexadecimal digits"),
        ('Digest username="a", nc=§100000000', "nc must be hexadecimal digits, at most ffffffff"),
        ('Digest username="a", uri=§":"', "uri is no valid URI"),
        ('Digest username="a", algorithm=§"M D"', "algorithm must be a token"),
        ('Digest realm="ü", stale=§"ö"', 'stale must be true or false, not "ö"'),
        ("§Bearer abc", 'unknown scheme "Bearer"'),
        ('§"Digest" realm="r"', "a scheme must stand here"),
        ("Authorization: Basic §YWxpY2U6c2VjcmV", "this is no well-formed Base64"),
        ("Authorization: Basic §YWxpY2U=", "the decoded credentials have no colon"),
        ("Authorization: Basic §OnNlY3JldA==", "the user name is empty"),
        ("Authorization: Basic §YWxpY2U6", "the password is empty"),
        ("Authorization: Basic YWxpY2U6c2VjcmV0 §x", "nothing may follow Basic credentials"),
        ("Authorization: Basic§", "Base64 must stand here"),
        ("Authorization:§", "a scheme must stand here"),
        ('\tWWW-Authenticate:  \tDigest realm=§"r', "the quoted string does not end"),
    )

    def assert_fault(self, text, reason):
        lines = text.split("\n")
        line = next(number for number, source in enumerate(lines) if "§" in source)
        column = lines[line].index("§")
        source = lines[line].replace("§", "").rstrip()
        path = self.file("values", text.replace("§", ""))
        done = self.expect(1, "parse", path)
        told, shown, caret = done.err.splitlines()
        self.assertTrue(told.startswith(f"{path}:{line + 1}:{column + 1}: error: {reason}"), told)
        blanks = "".join("\t" if char == "\t" else " " for char in lines[line][:column])
        self.assertEqual(caret, f"  {blanks}^")
        if "Basic" not in source:
            self.assertEqual(shown, "  " + source)
        error, = self.expect(1, "parse", "--json", path).json()["errors"]
        self.assertEqual((error["file"], error["line"], error["column"]), (path, line + 1, column + 1))
        self.assertTrue(error["error"].startswith(reason))

    def test_points_at_the_character(self):
        for text, reason in self.CASES:
            with self.subTest(text):
                self.assert_fault(text, reason)

    def test_points_into_the_line_of_a_folded_header(self):
        self.assert_fault('Via: x\nAuthorization: Digest username="a",\n  nc=§x,\n uri="sip:h"\n', "nc must be")
        self.assert_fault('Authorization:\n\tDigest username="a",\n\tqop=auth,\n \t nc=§"x"', "nc must be")
        self.assert_fault('Authorization: Digest username="a",\n uri="sip:h",§,', "a parameter name must")
        self.assert_fault('Authorization: §Bearer\n a="b"', "unknown scheme")

    def test_reads_a_folded_header_as_one_value(self):
        done = self.expect(0, "parse", "--json", stdin=b'WWW-Authenticate: Digest\n realm="r",\r\n\tnonce="n"\n')
        value, = done.json()["values"]
        self.assertEqual(value["parameters"], {"realm": "r", "nonce": "n"})

    def test_goes_on_after_a_fault(self):
        result = self.expect(1, "parse", "--json", stdin=challenge("Bearer", 'Digest realm="r"', "Digest =")).json()
        self.assertEqual(([value["line"] for value in result["values"]], [error["line"] for error in result["errors"]]),
                         ([3], [2, 4]))


if __name__ == "__main__":
    tool_case.main()
