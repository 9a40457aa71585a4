"""`sipauth challenge`: the challenge headers that options give."""

import tool_case
from tool_case import ToolCase

import digest_oracle

PRESETS = ("STANDARD", "COMPATIBLE", "MINIMAL", "SWYX")
# The algorithms and qops of each preset's challenges, in their order.
OFFERS = {
    "MINIMAL": [("MD5", None)],
    "SWYX": [("MD5", None)],
}


def options(preset, realm='"r"', more=""):
    return f'defaults = "SIPAUTH_DEFAULTS_{preset}"\n' + (f"serverRealm = {realm}\n" if realm else "") + more


class Challenge(ToolCase):
    def challenge(self, status, text, *more):
        return self.expect(status, "challenge", "--options", self.file("options.toml", text), *more)

    def test_prints_the_headers_of_each_preset(self):
        for preset in PRESETS:
            for more, name in (((), "Www-Authenticate"), (("--proxy",), "Proxy-Authenticate")):
                with self.subTest(preset=preset, name=name):
                    done = self.challenge(0, options(preset), *more)
                    lines = done.out.splitlines()
                    self.assertTrue(lines)
                    offers = []
                    for line in lines:
                        header, _, value = line.partition(": ")
                        self.assertEqual(header, name)
                        found = digest_oracle.parameters(value)
                        self.assertEqual(found["realm"], "r")
                        offers.append((found["algorithm"], found.get("qop")))
                    self.assertEqual(len(offers), len(set(offers)))
                    self.assertEqual(offers, OFFERS.get(preset, offers))
                    self.assertEqual("MD5" in dict(offers), preset != "STANDARD")
                    self.assertEqual(None in [qop for _, qop in offers], preset != "STANDARD")

    def test_makes_new_nonces(self):
        nonces = [digest_oracle.parameters(line.partition(": ")[2])["nonce"]
                  for _ in range(2) for line in self.challenge(0, options("COMPATIBLE")).out.splitlines()]
        self.assertEqual(len(nonces), len(set(nonces)))

    def test_counts_the_bytes_that_go_over_the_wire(self):
        for more in ((), ("--proxy",)):
            text = options("COMPATIBLE", '"the \\"Größe\\""')
            result = self.challenge(0, text, "--json", *more).json()
            self.assertEqual(set(result), {"header", "challenges", "bytes", "notes"})
            for one in result["challenges"]:
                self.assertEqual(set(one), {"value", "bytes", "note"})
                self.assertEqual(one["bytes"], len(f"{result['header']}: {one['value']}\r\n".encode()))
                self.assertTrue(one["note"])
            self.assertEqual(result["bytes"], sum(one["bytes"] for one in result["challenges"]))
            self.assertRegex(self.challenge(0, text, *more).err, r"(?m)^\d+ challenges, \d+ bytes$")

    def test_warns_of_headers_that_do_not_fit_a_datagram(self):
        notes = self.challenge(0, options("STANDARD", f'"{"r" * 200}"'), "--json").json()["notes"]
        self.assertTrue(any("UDP" in note for note in notes), notes)
        notes = self.challenge(0, options("MINIMAL"), "--json").json()["notes"]
        self.assertEqual(notes, [])

    def test_offers_nothing_without_a_realm(self):
        done = self.challenge(1, options("STANDARD", realm=None))
        self.assertEqual(done.out, "")
        self.assertIn("serverRealm is not set", done.err)
        self.assertEqual(self.challenge(1, options("STANDARD", realm=None), "--json").json()["challenges"], [])

    def test_says_when_the_options_allow_nothing(self):
        done = self.challenge(1, options("MINIMAL", more="[digestQops]\n"))
        self.assertIn("no usable combination", done.err)

    def test_offers_basic_when_the_options_allow_it(self):
        done = self.challenge(0, options("MINIMAL", more="[schemes]\nSIPAUTH_SCHEME_BASIC = true\n"))
        self.assertEqual(done.out, 'Www-Authenticate: Basic realm="r"\n')
        self.assertIn("in clear", done.err)

    def test_leaves_out_the_opaque_when_told_so(self):
        done = self.challenge(0, options("MINIMAL", more="serverDigestOmitOpaque = true\n"))
        self.assertNotIn("opaque", done.out)
        self.assertIn("opaque", self.challenge(0, options("MINIMAL")).out)

    def test_gives_what_check_accepts_when_it_is_answered(self):
        value = self.challenge(0, options("STANDARD")).out.splitlines()[0].partition(": ")[2]
        settings = ["--options", self.file("options.toml", options("STANDARD"))]
        asked = tool_case.challenge(value)
        signed = self.answer(0, tool_case.request(), asked, *settings)["request"].encode()
        result = self.check(signed, asked, *settings)
        self.assertTrue(result["passed"])
        self.assertEqual(result["notes"], [])

    def test_reads_standard_input_and_tells_faults_of_the_file(self):
        done = self.expect(0, "challenge", "--options", "-", stdin=b'serverRealm = "r"\nserverRaelm = "r"\n')
        self.assertIn("-:2: error: unknown key 'serverRaelm'", done.err)


if __name__ == "__main__":
    tool_case.main()
