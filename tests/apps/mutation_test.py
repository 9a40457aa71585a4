"""No input makes the tool abort: recorded messages with bytes changed, always in the same way."""

import os
import random

import settings_test
import tool_case
from tool_case import DATA, ToolCase

RUNS = int(os.environ.get("SIPAUTH_MUTATIONS", "150"))
SEED = 20260101
# What is worth finding in a message at a wrong place.
PIECES = (b"\r\n", b"\n", b"\r", b"\0", b'"', b"\\", b",", b"=", b" ", b"\t", b":", b";", b"\xff", b"\xc3", b"\xf4\x90",
          b"Digest ", b"Basic ", b"algorithm=MD5-sess", b"algorithm=SHA512", b'qop=""', b"qop=auth-int", b"nc=ffffffff",
          b"stale=true", b'nonce=""', b"Content-Length: 99999999999999999999\r\n", b"Authorization: ", b"401",
          b"SIP/2.0")


def mutated(source, chance):
    """The bytes with one to four changes."""
    data = bytearray(source)
    for _ in range(chance.randint(1, 4)):
        at = chance.randrange(len(data) + 1)
        kind = chance.randrange(4)
        if kind == 0:
            data[at:at + 1] = bytes([chance.randrange(256)])
        elif kind == 1:
            data[at:at] = chance.choice(PIECES)
        elif kind == 2:
            del data[at:at + chance.randint(1, 20)]
        else:
            other = chance.randrange(len(data) + 1)
            data[at:at] = data[other:other + chance.randint(1, 60)]
    return bytes(data)


def near_credentials(source, chance):
    """The bytes with changes inside the authentication header only, so that the message itself stays right."""
    low = source.lower()
    begin = max(low.find(name) for name in (b"\r\nauthorization:", b"\r\nproxy-authorization:",
                                            b"\r\nwww-authenticate:", b"\r\nproxy-authenticate:")) + 2
    end = source.find(b"\r\n", begin)
    return source[:begin] + mutated(source[begin:end], chance) + source[end:] if begin > 1 else mutated(source, chance)


class Mutation(ToolCase):
    def setUp(self):
        super().setUp()
        self.chance = random.Random(SEED)
        self.pairs = [(path.read_bytes(), path.with_name(path.name.replace("_authorized", "_challenge")).read_bytes())
                      for path in sorted(DATA.glob("[ksv]*/*_authorized.sip"))]
        self.assertGreater(len(self.pairs), 40)

    def survive(self, inputs, *arguments):
        """The tool ends by itself, with a status that it knows, and without a word from an assertion."""
        done = self.run_tool(*arguments, password="secret")
        self.assertIn(done.status, (0, 1, 2), f"{inputs}: {done}")
        return done.status

    def change(self, source):
        return self.chance.choice((mutated, near_credentials))(source, self.chance)

    def test_parse_survives(self):
        seen = set()
        for run in range(RUNS):
            source = self.change(self.chance.choice(self.chance.choice(self.pairs)))
            done = self.run_tool("parse", *(("--json",) if run % 2 else ()), stdin=source)
            self.assertIn(done.status, (0, 1, 2), f"{source}: {done}")
            seen.add(done.status)
        self.assertEqual(seen, {0, 1, 2})

    def test_check_survives(self):
        seen = set()
        for run in range(RUNS):
            signed, asked = self.chance.choice(self.pairs)
            signed = self.change(signed)
            asked = self.change(asked) if run % 3 == 0 else asked
            more = ("--challenge", self.file("c", asked)) if run % 4 else ()
            seen.add(self.survive((signed, asked), "check", "--secrets", "--json", "--request", self.file("r", signed),
                                  *more))
        self.assertEqual(seen, {0, 1, 2})

    def test_answer_survives(self):
        seen = set()
        for run in range(RUNS):
            signed, asked = self.chance.choice(self.pairs)
            signed = self.change(signed) if run % 3 == 0 else signed
            asked = self.change(asked)
            seen.add(self.survive((signed, asked), "answer", "--json", "--user", "alice", "--request",
                                  self.file("r", signed), "--response", self.file("c", asked)))
        self.assertEqual(seen, {0, 1, 2})

    def test_options_and_challenge_survive(self):
        seen = set()
        for run in range(RUNS // 2):
            file = self.file("options.toml", mutated(settings_test.EVERYTHING.encode(), self.chance))
            arguments = (("settings", "show"), ("settings", "normalize"), ("challenge", "--options"))[run % 3]
            done = self.run_tool(*arguments, file)
            self.assertIn(done.status, (0, 1, 2), f"{(self.folder / 'options.toml').read_bytes()}: {done}")
            seen.add(done.status)
        self.assertEqual(seen, {0, 1, 2})


if __name__ == "__main__":
    tool_case.main()
