"""`sipauth trace`: recorded traces as trees, what is masked in them, and files that are broken."""

import base64
import json

import tool_case
from tool_case import DATA, ToolCase

TIME = "2026-01-31T23:59:59.999Z"
RECORDED = DATA / "trace" / "wrong_password.trace"
SIGNED = (b'REGISTER sip:h SIP/2.0\r\nAuthorization: Digest username="alice", response="0123abcd", qop=auth\r\n'
          b"Via: x\r\n\r\n")


class Recording:
    """Writes the lines that a recorder would write."""

    def __init__(self, timestamp=1000):
        self.lines = []
        self.timestamp = timestamp

    def line(self, stream, kind, name=None, notable=False, parent=0, payload=None, **more):
        if payload is not None:
            more["payload"] = base64.b64encode(payload).decode()
        self.lines.append(json.dumps({"time": TIME, "timestamp": self.timestamp, "stream": stream, "parent": parent,
                                      "name": name or f"s{stream}", "kind": kind, "notable": notable, **more}))
        self.timestamp += 1
        return self

    def begin(self, *streams):
        for stream in streams:
            self.line(stream, "begin")
        return self

    def end(self, *streams):
        for stream in streams:
            self.line(stream, "end")
        return self

    def text(self, stream, text, **more):
        return self.line(stream, "text", text=text, **more)

    def link(self, stream, child, **more):
        return self.line(stream, "anchor", child=child, anchorKind=9, **more)

    def bytes(self):
        return "".join(line + "\n" for line in self.lines).encode()


class TraceCase(ToolCase):
    def tree(self, recording, *more, status=0):
        """The lines of the tree, without what stands at a time."""
        return self.expect(status, "trace", "-", *more, stdin=recording.bytes()).out.splitlines()

    def headings(self, recording, status=0):
        return [line for line in self.tree(recording, status=status) if " stream " in line]


class Tree(TraceCase):
    def test_shows_every_kind_of_line(self):
        recording = Recording().begin(1).line(1, "property", property="peer", text="192.0.2.1")
        recording.line(1, "property", property="bytes", payload=b"ab", payloadType="T")
        recording.line(1, "configuration", text="{ realm = \"r\" }").text(1, "some text")
        recording.line(1, "message", text="Outgoing", payload=b"OPTIONS sip:h SIP/2.0\r\nVia: x\r\n\r\nbody\r\n",
                       payloadType="SIPSN_MESSAGE")
        recording.line(1, "message", text="Other", payload=b"\r\n").line(1, "notable", notable=True)
        recording.line(1, "notable").begin(2).link(1, 2, text="the reason").end(2).end(1)
        self.assertEqual(self.tree(recording), [
            f"- stream 1 s1, {TIME}",
            "   +0.001  peer: 192.0.2.1",
            "   +0.002  bytes",
            "           T, 2 bytes",
            "             ab",
            '   +0.003  configuration: { realm = "r" }',
            "   +0.004  some text",
            "   +0.005  Outgoing",
            "           SIPSN_MESSAGE, 39 bytes",
            "             OPTIONS sip:h SIP/2.0",
            "             Via: x",
            "",
            "             body",
            "   +0.006  Other",
            "           payload, 2 bytes",
            "   +0.007  marked as notable",
            "   +0.008  no longer notable",
            "   +0.010  anchor 9: the reason",
            "    - stream 2 s2",
            "       +0.011  end",
            "   +0.012  end",
        ])

    def test_shows_texts_of_several_lines_below_each_other(self):
        lines = self.tree(Recording().begin(1).text(1, "one\ntwo\r\n\nthree"))
        self.assertEqual(lines[1:], ["   +0.001  one", "           two", "", "           three"])

    def test_marks_streams_that_are_notable_in_the_end(self):
        recording = Recording().begin(1, 2).line(1, "notable", notable=True).text(1, "fault", notable=True)
        recording.line(2, "notable", notable=True).line(2, "notable")
        self.assertEqual(self.headings(recording), [f"! stream 1 s1, {TIME}, notable", f"- stream 2 s2, {TIME}"])

    def test_counts_time_from_the_first_line_of_each_tree(self):
        recording = Recording(timestamp=-5000).begin(1)
        recording.timestamp = 60000
        recording.text(1, "late").begin(2).text(2, "root")
        lines = self.tree(recording)
        self.assertEqual(lines[1], "  +65.000  late")
        self.assertEqual(lines[3], "   +0.001  root")

    def test_shows_times_before_the_root_began(self):
        lines = self.tree(Recording().begin(2).text(2, "early").begin(1).link(1, 2))
        self.assertIn("       -0.001  early", lines)

    def test_puts_streams_under_their_anchors(self):
        recording = Recording().begin(1, 2, 3).text(2, "before").link(1, 2).link(2, 3).text(3, "deep").text(1, "after")
        self.assertEqual(self.tree(recording), [
            f"- stream 1 s1, {TIME}",
            "   +0.004  anchor 9",
            "    - stream 2 s2",
            "       +0.003  before",
            "       +0.005  anchor 9",
            "        - stream 3 s3",
            "           +0.006  deep",
            "   +0.007  after",
        ])

    def test_shows_a_stream_under_several_anchors_once(self):
        recording = Recording().begin(1, 2, 3).link(1, 3).link(2, 3).link(1, 3).text(3, "only once")
        lines = self.tree(recording)
        self.assertEqual(sum("only once" in line for line in lines), 1)
        self.assertEqual(self.headings(recording), [
            f"- stream 1 s1, {TIME}", "    - stream 3 s3", "    - stream 3 s3, see above",
            f"- stream 2 s2, {TIME}", "    - stream 3 s3, see above"])

    def test_comes_to_an_end_with_circles(self):
        recording = Recording().begin(1, 2, 3, 4, 5).link(1, 1).link(2, 3).link(3, 4).link(4, 2).text(5, "free")
        self.assertEqual(self.headings(recording), [
            f"- stream 5 s5, {TIME}",
            f"- stream 1 s1, {TIME}", "    - stream 1 s1, see above",
            f"- stream 2 s2, {TIME}", "    - stream 3 s3", "        - stream 4 s4",
            "            - stream 2 s2, see above"])

    def test_nests_as_deep_as_a_file_does(self):
        depth = 3000
        recording = Recording().begin(*range(1, depth + 1))
        for stream in range(1, depth):
            recording.link(stream, stream + 1)
        recording.text(depth, "the ground")
        lines = self.tree(recording)
        self.assertEqual(len(self.headings(recording)), depth)
        self.assertTrue(lines[-1].endswith("the ground"))
        self.assertLess(max(map(len, lines)), 200)

    def test_shows_streams_of_lost_anchors_at_the_margin(self):
        recording = Recording().begin(1, 2).text(2, "here", parent=1)
        self.assertEqual(self.headings(recording)[1],
                         f"- stream 2 s2, {TIME}, linked to stream 1 by a line that is not in the file")

    def test_shows_streams_of_which_the_beginning_is_lost(self):
        recording = Recording().link(1, 2).link(1, 7).link(1, 0).text(2, "rest")
        self.assertEqual(self.headings(recording)[1:], [
            "    - stream 2 s2", "    - stream 7, not in the file", "    - a stream that was not recorded"])

    def test_tells_several_runs_apart(self):
        run = Recording().begin(1, 2).link(1, 2).text(2, "first").end(2, 1)
        run.begin(1, 2).link(1, 2).text(2, "second").end(2, 1).begin(1).link(1, 2).begin(2).text(2, "third")
        self.assertEqual(self.headings(run), [
            f"- stream 1 s1, {TIME}", "    - stream 2 s2", f"- stream 1 s1, {TIME}", "    - stream 2 s2",
            f"- stream 1 s1, {TIME}", "    - stream 2, not in the file", f"- stream 2 s2, {TIME}"])

    def test_shows_what_is_no_text_as_bytes(self):
        recording = Recording().begin(1).text(1, "\x1b[31mred\x7f \u009b ü\t\U0001f600 \\x00")
        recording.line(1, "message", text="m", payload=b"a\0b\xff\rc \xc3\xbc \xed\xa0\x80\n\x1b")
        recording.line(2, "begin", name="\x1b]0;x")
        out = self.expect(0, "trace", "-", stdin=recording.bytes()).out
        self.assertIn("\\x1b[31mred\\x7f \\xc2\\x9b ü\t\U0001f600 \\x00", out)
        self.assertIn("a\\x00b\\xff\\x0dc ü \\xed\\xa0\\x80\n", out)
        self.assertIn("stream 2 \\x1b]0;x", out)
        self.assertNotIn("\x1b", out)

    def test_shows_what_a_recorder_wrote(self):
        lines = self.expect(0, "trace", RECORDED).out.splitlines()
        self.assertEqual([line.split(",")[0].strip() for line in lines if " stream " in line],
                         ["! stream 1 REGISTRAR", "! stream 2 sipauthDigestStateCheckAuthorization()",
                          "- stream 3 sipauthDigestStateTryComputeResponse()"])
        self.assertTrue(any(line.endswith("  Digest response mismatch.") for line in lines))


class Secrets(TraceCase):
    def assert_masked(self, recording, *secrets):
        for arguments in ((), ("--json",)):
            done = self.expect(0, "trace", "-", *arguments, stdin=recording.bytes())
            for secret in secrets:
                self.assertNotIn(secret, done.out)
            self.assertIn("(masked)", done.out)
        for arguments in (("--secrets",), ("--secrets", "--json")):
            done = self.expect(0, "trace", "-", *arguments, stdin=recording.bytes())
            for secret in secrets:
                self.assertIn(secret, done.out)
            self.assertNotIn("(masked)", done.out)

    def test_are_masked_in_messages(self):
        recording = Recording().begin(1).line(1, "message", text="m", payload=SIGNED)
        self.assert_masked(recording, "0123abcd")
        lines = self.tree(recording)
        self.assertIn('             Authorization: Digest username="alice", response="(masked)", qop=auth', lines)
        self.assertIn("             Via: x", lines)

    def test_are_masked_in_folded_and_basic_headers(self):
        self.assert_masked(Recording().begin(1).line(
            1, "property", property="p",
            payload=b'A: b\nproxy-authorization: Digest\n response="beef"\nAuthorization: Basic YWxpY2U6c2VjcmV0\n'),
                           "beef", "YWxpY2U6c2VjcmV0")

    def test_are_masked_in_texts(self):
        recording = Recording().begin(1).text(1, "H(A1): 0011").text(1, "result: aabb").text(1, "H(A2): ccdd")
        self.assert_masked(recording, "0011", "aabb")
        self.assertIn("   +0.003  H(A2): ccdd", self.tree(recording))

    def test_are_masked_in_properties_and_configurations(self):
        recording = Recording().begin(1).line(1, "property", property="clientPassword", text="hush")
        recording.line(1, "property", property="ha1", payload=b"hush2")
        recording.line(1, "configuration", text='{ user = "alice", "my Password" = "hush\\"3, 4", n = 1, '
                                                'users = { bob = { secret = 5678, realm = "r" } }, '
                                                'secrets = { x = "hush5", "y" = { z = "hush6" } }, last = "visible" }')
        self.assert_masked(recording, "hush", "5678")
        self.assertIn('   +0.003  configuration: { user = "alice", "my Password" = (masked), n = 1, '
                      'users = { bob = { secret = (masked), realm = "r" } }, '
                      'secrets = { x = (masked), "y" = { z = (masked) } }, last = "visible" }', self.tree(recording))

    def test_of_a_recorder_are_masked(self):
        shown = self.expect(0, "trace", "--secrets", RECORDED).out
        masked = self.expect(0, "trace", RECORDED).out
        self.assertEqual(len(shown.splitlines()), len(masked.splitlines()))
        secrets = [line.split(": ", 1)[1] for line in shown.splitlines() if "H(A1)" in line or "  result" in line]
        self.assertEqual(len(secrets), 2)
        for secret in secrets:
            self.assertRegex(secret, "^[0-9a-f]{32}$")
            self.assertNotIn(secret, masked)


class Json(TraceCase):
    def test_holds_what_the_file_does(self):
        recording = Recording().begin(1, 2).line(1, "property", property="p", text="v")
        recording.link(1, 2, text="why").link(1, 9)
        recording.line(2, "message", text="m", payload=b"\xff", payloadType="T", notable=True)
        result = self.expect(0, "trace", "--json", "-", stdin=recording.bytes()).json()
        self.assertEqual(set(result), {"streams", "errors"})
        self.assertEqual(result["errors"], [])
        first, second = result["streams"]
        self.assertEqual(set(first), {"stream", "name", "time", "linked", "notable", "lines"})
        self.assertEqual((first["stream"], first["name"], first["time"], first["linked"], first["notable"]),
                         (1, "s1", TIME, False, False))
        self.assertEqual((second["stream"], second["linked"], second["notable"]), (2, True, True))
        self.assertEqual(first["lines"], [
            {"kind": "begin", "timestamp": 1000, "notable": False},
            {"kind": "property", "timestamp": 1002, "notable": False, "property": "p", "text": "v"},
            {"kind": "anchor", "timestamp": 1003, "notable": False, "anchorKind": 9, "child": 1, "text": "why"},
            {"kind": "anchor", "timestamp": 1004, "notable": False, "anchorKind": 9, "child": None}])
        self.assertEqual(second["lines"][1], {"kind": "message", "timestamp": 1005, "notable": True, "text": "m",
                                              "payloadType": "T", "payload": "\ufffd"})

    def test_holds_the_errors(self):
        path = self.file("trace", b"nonsense\n" + Recording().begin(1).bytes())
        result = self.expect(1, "trace", "--json", path).json()
        self.assertEqual([(error["file"], error["line"]) for error in result["errors"]], [(path, 1)])
        self.assertEqual(len(result["streams"]), 1)


class Broken(TraceCase):
    GOOD = {"time": TIME, "timestamp": 1, "stream": 1, "parent": 0, "name": "n", "kind": "begin", "notable": False}

    def error(self, line):
        """What is said about a line that stands behind a good one and in front of another."""
        bad = line if isinstance(line, bytes) else json.dumps(line).encode()
        good = json.dumps(self.GOOD).encode()
        text = json.dumps({**self.GOOD, "kind": "text", "text": "goes on"}).encode()
        path = self.file("trace", good + b"\n" + bad + b"\n" + text + b"\n")
        done = self.expect(1, "trace", path)
        self.assertIn("goes on", done.out)
        self.assertEqual(len(done.err.splitlines()), 1, done.err)
        self.assertTrue(done.err.startswith(f"{path}:2:"), done.err)
        return done.err.split("error: ")[1].rstrip("\n")

    def test_lines_are_told_with_their_number(self):
        for line in (b"{", b'{"time":', b"\xff", b'{"time":"2026"', b"x" * 100000, b"[" * 100000, b'"\x00"'):
            with self.subTest(line[:20]):
                self.assertEqual(self.error(line), "this is no JSON")
        for line in (b"1", b"null", b"[]", b'"text"'):
            with self.subTest(line):
                self.assertEqual(self.error(line), "this is no JSON object")

    def test_lines_lack_a_member(self):
        for name in self.GOOD:
            with self.subTest(name):
                line = {key: value for key, value in self.GOOD.items() if key != name}
                self.assertEqual(self.error(line), f'"{name}" is missing')
        self.assertEqual(self.error({**self.GOOD, "kind": "property"}), '"property" is missing')
        self.assertEqual(self.error({**self.GOOD, "kind": "anchor", "child": 2}), '"anchorKind" is missing')
        self.assertEqual(self.error({**self.GOOD, "kind": "anchor", "anchorKind": 2}), '"child" is missing')

    def test_lines_have_a_member_of_another_type(self):
        for changes, what in (({"time": 1}, '"time" is no text'), ({"name": None}, '"name" is no text'),
                              ({"kind": ["text"]}, '"kind" is no text'), ({"kind": "Text"}, '"kind" is unknown'),
                              ({"timestamp": "1"}, '"timestamp" is no integer'),
                              ({"timestamp": 1.5}, '"timestamp" is no integer'),
                              ({"timestamp": 2**62}, '"timestamp" is out of range'),
                              ({"timestamp": -2**62}, '"timestamp" is out of range'),
                              ({"stream": 0}, '"stream" is out of range'),
                              ({"stream": 2**64 - 1}, '"stream" is out of range'),
                              ({"stream": 2**70}, '"stream" is no integer'),
                              ({"parent": -1}, '"parent" is out of range'),
                              ({"notable": 1}, '"notable" is neither true nor false'),
                              ({"text": 1}, '"text" is no text'), ({"payloadType": 1}, '"payloadType" is no text'),
                              ({"payload": 1}, '"payload" is no text'), ({"payload": "YQ="}, '"payload" is no Base64'),
                              ({"payload": "ü"}, '"payload" is no Base64'),
                              ({"kind": "anchor", "anchorKind": 1, "child": -1}, '"child" is out of range')):
            with self.subTest(changes):
                self.assertEqual(self.error({**self.GOOD, **changes}), what)

    def test_lines_of_every_sort_leave_the_tool_whole(self):
        good = RECORDED.read_bytes()
        for cut in range(0, len(good), 97):
            done = self.run_tool("trace", "-", stdin=good[:cut])
            self.assertIn(done.status, (0, 1), done)
            changed = bytearray(good)
            changed[cut] ^= 0x15
            done = self.run_tool("trace", "-", stdin=bytes(changed))
            self.assertIn(done.status, (0, 1), done)

    def test_files_end_within_a_line(self):
        whole = Recording().begin(1).text(1, "last").bytes()
        self.assertIn("last", self.expect(0, "trace", "-", stdin=whole[:-1]).out)
        done = self.expect(1, "trace", "-", stdin=whole[:-2])
        self.assertIn("-:2:", done.err)

    def test_empty_lines_do_not_count(self):
        self.expect(0, "trace", "-", stdin=b"\n \r\n" + Recording().begin(1).bytes() + b"\n\r\n")

    def test_files_without_streams_are_a_no(self):
        for text in (b"", b"\n"):
            done = self.expect(1, "trace", "-", stdin=text)
            self.assertEqual((done.out, done.err), ("", "-: no trace stream\n"))

    def test_files_that_cannot_be_read_are_a_mistake(self):
        for path in (self.folder / "none", self.folder):
            self.assertIn("cannot be read", self.expect(2, "trace", path).err)
        self.expect(2, "trace")


if __name__ == "__main__":
    tool_case.main()
