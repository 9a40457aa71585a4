"""`sipauth settings`: effective options and what is wrong in a file."""

import tomllib

import tool_case
from tool_case import ToolCase

EVERYTHING = """defaults = "SIPAUTH_DEFAULTS_COMPATIBLE"
serverRealm = "the \\"realm\\" \\\\ ü\\n"
serverUsrDirectoryName = "users"
serverChallengeExpiration = 5000
serverRechallenge = false
serverRechallengeInvalidAuthorization = true
serverAcceptAuthorizationReuse = true
serverDigestAcceptNonceReuse = false
serverDigestOmitOpaque = true
digestLowQualityRandomness = true

[schemes]
SIPAUTH_SCHEME_BASIC = true
SIPAUTH_SCHEME_DIGEST = true

[digestAlgorithms]
SIPAUTH_DIGEST_ALGORITHM_MD5 = true
SIPAUTH_DIGEST_ALGORITHM_SHA256 = false

[digestQops]
SIPAUTH_DIGEST_QOP_AUTH = true

[clientUsrReference]
directoryName = "users"
userId = "alice"
"""


class Settings(ToolCase):
    def settings(self, status, what, text, *more):
        return self.expect(status, "settings", what, "-", *more, stdin=text.encode())

    def effective(self, text):
        return self.settings(0, "show", text, "--json").json()["options"]


class Shown(Settings):
    def test_are_the_defaults_without_a_file(self):
        done = self.expect(0, "settings", "show")
        shown = tomllib.loads(done.out)
        self.assertEqual(shown["defaults"], "SIPAUTH_DEFAULTS_STANDARD")
        self.assertEqual(shown, self.expect(0, "settings", "show", "--json").json()["options"])
        self.assertIn("# default of SIPAUTH_DEFAULTS_STANDARD", done.out)
        self.assertNotIn("# explicit", done.out)
        self.assertEqual(self.expect(0, "settings", "normalize").out, "")

    def test_follow_the_preset(self):
        for preset in ("STANDARD", "COMPATIBLE", "MINIMAL", "SWYX"):
            shown = self.effective(f'defaults = "SIPAUTH_DEFAULTS_{preset}"\n')
            self.assertEqual(shown["defaults"], f"SIPAUTH_DEFAULTS_{preset}")
            self.assertEqual(shown["serverAcceptAuthorizationReuse"], preset == "SWYX")

    def test_say_what_is_explicit(self):
        done = self.settings(0, "show", "serverRechallenge = true\n[schemes]\nSIPAUTH_SCHEME_BASIC = true\n")
        self.assertRegex(done.out, r"(?m)^serverRechallenge = true +# explicit$")
        self.assertRegex(done.out, r"(?m)^\[schemes\] +# explicit$")
        self.assertRegex(done.out, r"(?m)^\[digestQops\] +# default of SIPAUTH_DEFAULTS_STANDARD$")
        result = self.settings(0, "show", "serverRechallenge = true\n", "--json").json()
        self.assertEqual(set(result), {"options", "explicit", "findings"})
        self.assertEqual(result["explicit"], {"serverRechallenge": True})
        self.assertEqual(result["findings"], [])

    def test_read_back_what_was_shown(self):
        for text in ("", EVERYTHING, 'defaults = "SIPAUTH_DEFAULTS_SWYX"\n'):
            self.assertEqual(self.effective(self.settings(0, "show", text).out), self.effective(text))


class Normalized(Settings):
    def test_read_back_to_the_same_options(self):
        for text in ("", EVERYTHING, 'defaults = "SIPAUTH_DEFAULTS_MINIMAL"\n', "[schemes]\n",
                     "[rfcBaseOptions]\nlineLength = 40\n"):
            with self.subTest(text):
                once = self.settings(0, "normalize", text).out
                self.assertEqual(self.settings(0, "normalize", once).out, once)
                self.assertEqual(self.effective(once), self.effective(text))

    def test_hold_what_the_file_says_and_no_more(self):
        once = tomllib.loads(self.settings(0, "normalize", EVERYTHING).out)
        for key, value in tomllib.loads(EVERYTHING).items():
            # A set that is explicit is written whole.
            if key in ("schemes", "digestAlgorithms", "digestQops"):
                value, once[key] = ({name for name, allowed in table.items() if allowed}
                                    for table in (value, once[key]))
            self.assertEqual(once.pop(key), value, key)
        self.assertEqual(once, {})
        self.assertEqual(self.settings(0, "normalize", 'defaults = "SIPAUTH_DEFAULTS_STANDARD"\n').out, "")


class Wrong(Settings):
    FINDINGS = (
        ("\nserverRaelm = 'r'\n", 2, "unknown key 'serverRaelm' (did you mean 'serverRealm'?)"),
        ("somethingElse = 1\n", 1, "unknown key 'somethingElse'"),
        ("serverRealm = 1\n", 1, "'serverRealm' is an integer, must be text"),
        ("serverRechallenge = 'true'\n", 1, "'serverRechallenge' is text, must be a boolean"),
        ("serverChallengeExpiration = true\n", 1, "'serverChallengeExpiration' is a boolean, must be an integer"),
        ("schemes = 'x'\n", 1, "'schemes' is text, must be a table"),
        ("[serverRealm]\na = 1\n", 1, "'serverRealm' is a table, must be text"),
        ("\n\nserverChallengeExpiration = -1\n", 3,
         "'serverChallengeExpiration' is -1, must be at least 0 milliseconds"),
        ("defaults = 'SIPAUTH_DEFAULTS_NONE'\n", 1, "unknown preset 'SIPAUTH_DEFAULTS_NONE'"),
        ("[digestQops]\n\nSIPAUTH_DIGEST_QOP_AUTO = true\n", 3,
         "unknown key 'digestQops.SIPAUTH_DIGEST_QOP_AUTO' (did you mean 'SIPAUTH_DIGEST_QOP_AUTH'?)"),
        ("[digestQops]\nSIPAUTH_DIGEST_QOP_AUTH = 1\n", 2,
         "'digestQops.SIPAUTH_DIGEST_QOP_AUTH' is an integer, must be a boolean"),
        ("serverUsrDirectoryName = 'no name'\n", 1, "'serverUsrDirectoryName' must be 1 to 255 letters"),
        ("[clientUsrReference]\ndirectoryName = ''\n", 2, "'clientUsrReference.directoryName' must be 1 to 255"),
        ("[rfcBaseOptions]\nalphabet = 'x'\n", 2, "unknown alphabet 'x'"),
        ("[rfcBaseOptions]\nlineLength = -5\n", 2, "'lineLength' cannot be -5"),
        ("serverRealm = ['r']\n", 1, "'serverRealm' is neither text, integer, boolean nor table"),
        ("serverRealm = 1.5\n", 1, "'serverRealm' is neither text, integer, boolean nor table"),
    )

    def test_is_named_with_its_line(self):
        for text, line, what in self.FINDINGS:
            for command in ("show", "normalize"):
                with self.subTest(text=text, command=command):
                    done = self.settings(1, command, text)
                    self.assertEqual(len(done.err.splitlines()), 1, done)
                    self.assertRegex(done.err, rf"^-:{line}(:\d+)?: error: ")
                    self.assertIn(what, done.err)
                    finding, = self.settings(1, command, text, "--json").json()["findings"]
                    self.assertEqual((finding["file"], finding["line"]), ("-", line))
                    self.assertTrue(finding["error"].startswith(what), finding)
            self.assertEqual(self.effective_of_wrong(text), self.effective(""))

    def effective_of_wrong(self, text):
        """What is wrong is as the preset says. A set of its own is explicit whatever is wrong in it."""
        shown = self.settings(1, "show", text, "--json").json()["options"]
        if text.startswith("[digestQops]"):
            shown["digestQops"] = self.effective("")["digestQops"]
        shown.pop("clientUsrReference", None)
        return shown

    def test_is_told_in_the_order_of_the_file(self):
        done = self.settings(1, "show", "b = 1\nserverRealm = 1\na = 1\n")
        self.assertEqual([line.split(":")[1] for line in done.err.splitlines()], ["1", "2", "3"])

    def test_toml_is_refused_with_its_place(self):
        for text, place in (("serverRealm = \n", "-:1:"), ("a = 1\na = 2\n", "-:2:"), ("\n[x\n", "-:2:"),
                            ("a = '\xff\n", "-:1:")):
            for more in ((), ("--json",)):
                done = self.settings(2, "show", text, *more)
                self.assertIn(place, done.err)
                self.assertEqual(done.out, "")
        self.assertEqual(self.expect(2, "settings", "show", "-", stdin=b"a = '\xff'\n").out, "")


if __name__ == "__main__":
    tool_case.main()
