"""`sipauth register`, `options`, `message` and `invite` against a scripted server."""

import re
import socket
import subprocess
import threading

import tool_case
from tool_case import ToolCase

import digest_oracle
import sip_text
from agent_peer import Peer, later, now

ALGORITHMS = ("MD5", "MD5-sess", "SHA1", "SHA1-sess", "SHA224", "SHA224-sess", "SHA-256", "SHA-256-sess", "SHA384",
              "SHA384-sess", "SHA-512", "SHA-512-sess")


def credentials(request):
    return digest_oracle.credentials_of(request)


class AgentCase(ToolCase):
    def agent(self, status, command, peer, *more, user="alice", password="secret"):
        uri = peer.uri() if command in ("register", "options") else peer.uri("bob")
        limit = () if "--timeout" in more else ("--timeout", 20)
        return self.expect(status, command, uri, "--user", user, *limit, *more, password=password)

    def messages(self, status, command, peer, *more, **named):
        """The messages of a run with --json, and the whole object."""
        result = self.agent(status, command, peer, "--json", *more, **named).json()
        self.assertEqual(result["outcome"], ("accepted", "refused", None, "failed")[status])
        return result["messages"], result


class Registering(AgentCase):
    def test_answers_the_challenge(self):
        with Peer() as peer:
            done = self.agent(0, "register", peer)
        self.assertEqual(peer.methods(), ["REGISTER", "REGISTER"])
        self.assertEqual(peer.problems, [])
        lines = done.out.splitlines()
        self.assertEqual(len(lines), 5, done)
        self.assertRegex(lines[0], r"^-> REGISTER sip:127.0.0.1:\d+ SIP/2.0 +sent without credentials$")
        self.assertRegex(lines[1], r"^<- SIP/2.0 401 Challenged +challenged: 1 offered: SHA-256 auth$")
        self.assertRegex(lines[2], r"^-> REGISTER .* +answered: took SHA-256 auth of 1, nc=00000001$")
        self.assertRegex(lines[3], r"^<- SIP/2.0 200 OK +accepted$")
        self.assertEqual(lines[4], "accepted: 200 OK")
        self.assertNotIn("secret", done.out + done.err)

    def test_keeps_call_id_and_tag_and_counts_on(self):
        with Peer() as peer:
            self.agent(0, "register", peer, "--repeat", 2, "--expires", 77)
        self.assertEqual([sip_text.cseq_number(request) for request in peer.requests], [1, 2, 3, 4])
        for name in ("Call-ID", "From", "Expires", "Contact"):
            self.assertEqual(len({sip_text.headers(request, name)[0] for request in peer.requests}), 1, name)
        branches = {sip_text.headers(request, "Via")[0] for request in peer.requests}
        self.assertEqual(len(branches), 4)
        self.assertEqual(sip_text.headers(peer.requests[0], "Expires"), ["77"])
        self.assertRegex(sip_text.headers(peer.requests[0], "Contact")[0], r"^<sip:alice@127\.0\.0\.1:\d+>$")
        self.assertNotIn("Contact: <sip:alice@127.0.0.1:0>", peer.requests[0].decode())

    def test_is_authorized_at_once_when_it_repeats(self):
        with Peer() as peer:
            done = self.agent(0, "register", peer, "--repeat", 2)
        self.assertEqual(len(peer.requests), 4)
        self.assertEqual([credentials(request)["nc"] for request in peer.requests[1:]],
                         ["00000001", "00000002", "00000003"])
        self.assertEqual(peer.problems, [])
        self.assertIn("authorized at once: SHA-256 auth, nc=00000002", done.out)
        self.assertIn("authorized at once: SHA-256 auth, nc=00000003", done.out)

    def test_ends_with_wrong_credentials_after_two_tries(self):
        with Peer() as peer:
            done = self.agent(1, "register", peer, password="wrong")
        self.assertEqual(len(peer.requests), 3)
        self.assertEqual(done.out.splitlines()[-1],
                         "refused: 401 Challenged: wrong user name or password: the answers were refused")

    def test_answers_every_algorithm_in_the_spelling_of_the_server(self):
        for algorithm in ALGORITHMS:
            for qop in ("auth", "auth-int"):
                with self.subTest(algorithm=algorithm, qop=qop), \
                        Peer([f'algorithm={algorithm}, qop="{qop}"']) as peer:
                    self.agent(0, "register", peer, "--strongest", "--repeat", 1)
                    self.assertEqual(len(peer.requests), 3)
                    self.assertEqual(peer.problems, [])
                    self.assertEqual(credentials(peer.requests[2])["algorithm"], algorithm)
                    self.assertEqual(credentials(peer.requests[2])["qop"], qop)

    def test_answers_without_qop_and_without_algorithm(self):
        with Peer([""]) as peer:
            done = self.agent(0, "register", peer)
        self.assertIn("took MD5 without qop of 1", done.out)
        self.assertEqual(len(peer.requests), 2)

    def test_takes_the_strongest_of_several_and_skips_the_unknown(self):
        offers = ['algorithm=AKAv1-MD5, qop="auth"', 'algorithm=MD5, qop="auth"',
                  'algorithm=SHA-512-sess, qop="auth-int,auth"', 'algorithm=SHA-256, qop="auth"']
        with Peer(offers) as peer:
            messages, _ = self.messages(0, "register", peer, "--strongest")
        self.assertEqual([offer["algorithm"] for offer in messages[1]["challenges"]],
                         ["AKAv1-MD5", "MD5", "SHA-512-sess", "SHA-256"])
        self.assertEqual(messages[2]["decision"], "answered: took SHA-512-sess auth-int of 4, nc=00000001")
        self.assertEqual(messages[2]["credentials"],
                         [{"scheme": "Digest", "realm": "example.org", "algorithm": "SHA-512-sess", "qop": "auth-int",
                           "nc": "00000001"}])

    def test_follows_its_options(self):
        options = self.file("options.toml", "[digestAlgorithms]\nSIPAUTH_DIGEST_ALGORITHM_MD5 = true\n"
                                            "SIPAUTH_DIGEST_ALGORITHM_SHA256 = false\n")
        with Peer(['algorithm=SHA-256, qop="auth"', 'algorithm=MD5, qop="auth"']) as peer:
            self.assertIn("took MD5 auth of 2", self.agent(0, "register", peer, "--options", options).out)

    def test_survives_challenges_that_make_no_sense(self):
        for senseless in ("algorithm=MD5-sess", 'algorithm=SHA-256-sess, qop=""', "algorithm=\x01"):
            with self.subTest(senseless), Peer([senseless]) as peer:
                done = self.agent(1, "register", peer)
                self.assertEqual(len(peer.requests), 1)
                self.assertIn("refused: 401 Challenged: ", done.out)

    def test_answers_its_realm_only(self):
        with Peer(realm="elsewhere") as peer:
            done = self.agent(1, "register", peer, "--realm", "example.org")
            self.assertEqual(len(peer.requests), 1)
            self.assertIn("no challenge is for the account's realm", done.out)
            self.agent(0, "register", peer, "--realm", "elsewhere")

    def test_sends_no_password_in_clear(self):
        def basic(_, request, __):
            return [sip_text.reply(request, 401, "No", ['WWW-Authenticate: Basic realm="example.org"'])]
        with Peer(on=basic) as peer:
            done = self.agent(1, "register", peer, "--allow-basic")
            self.assertEqual(len(peer.requests), 1)
            self.assertIn("only Basic is offered", done.out)

    def test_uses_the_name_for_credentials_that_it_is_given(self):
        with Peer() as peer:
            self.agent(0, "register", peer, "--auth-user", "alice-1")
        self.assertEqual(credentials(peer.requests[1])["username"], "alice-1")
        self.assertIn("<sip:alice@127.0.0.1>", sip_text.headers(peer.requests[1], "To")[0])

    def test_goes_to_the_proxy_first(self):
        with Peer() as peer:
            self.expect(0, "register", "sip:alice@example.org", "--proxy", peer.uri(), password="secret")
        self.assertEqual(sip_text.request_uri(peer.requests[0]), "sip:example.org")
        self.assertEqual(sip_text.headers(peer.requests[0], "To"), ["<sip:alice@example.org>"])

    def test_recovers_from_a_stale_nonce(self):
        def expire(peer, request, _):
            if len(peer.requests) == 3:
                return [peer.challenge(request, ", stale=true")]
            return None
        with Peer(on=expire) as peer:
            done = self.agent(0, "register", peer, "--repeat", 1)
        self.assertEqual(len(peer.requests), 4)
        self.assertIn("(stale)", done.out)

    def test_gives_up_challenges_without_end(self):
        with Peer(on=lambda peer, request, _: [peer.challenge(request, ", stale=true")]) as peer:
            done = self.agent(1, "register", peer)
        self.assertEqual(len(peer.requests), 3)
        self.assertIn("challenged again and again", done.out)

    def test_shows_why_a_server_refuses(self):
        def forbid(_, request, __):
            return [sip_text.reply(request, 403, "No", ['Warning: 399 example.org "not today"',
                                                        "Reason: SIP;cause=403;text=\"x\""])]
        with Peer(on=forbid) as peer:
            done = self.agent(1, "register", peer)
        self.assertIn('   Warning: 399 example.org "not today"\n', done.out)
        self.assertIn("   Reason: SIP;cause=403", done.out)
        self.assertEqual(done.out.splitlines()[-1], "refused: 403 No")

    def test_takes_the_registration_back(self):
        with Peer() as peer:
            self.agent(0, "register", peer, "--unregister")
        self.assertEqual([sip_text.headers(request, "Expires")[0] for request in peer.requests], ["3600", "3600", "0"])
        self.assertEqual(credentials(peer.requests[2])["nc"], "00000002")

    def test_works_over_tcp(self):
        with Peer(transport="tcp") as peer:
            self.agent(0, "register", peer, "--repeat", 1)
        self.assertEqual(peer.problems, [])
        self.assertIn("transport=tcp", sip_text.headers(peer.requests[0], "Contact")[0])
        self.assertIn("SIP/2.0/TCP", sip_text.headers(peer.requests[0], "Via")[0])


class OverTls(AgentCase):
    def certificate(self, name):
        path = str(self.folder / f"{name}.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-days", "2", "-subj", f"/CN={name}", "-addext", f"subjectAltName=IP:{name}", "-keyout", path,
                        "-out", path + ".crt"], check=True, capture_output=True)
        with open(path, "a", encoding="ascii") as file, open(path + ".crt", encoding="ascii") as certificate:
            file.write(certificate.read())
        return path, path + ".crt"

    def test_trusts_the_authority_that_it_is_given(self):
        path, authority = self.certificate("127.0.0.1")
        with Peer(transport="tls", certificate=path) as peer:
            done = self.agent(0, "register", peer, "--ca", authority)
            self.assertEqual(done.err, "")
        self.assertEqual(peer.problems, [])
        self.assertRegex(sip_text.headers(peer.requests[0], "Contact")[0], r"^<sip:alice@127\.0\.0\.1;transport=tls>$")

    def test_verifies_the_server(self):
        path, _ = self.certificate("127.0.0.1")
        with Peer(transport="tls", certificate=path) as peer:
            self.agent(3, "register", peer)
            self.assertEqual(peer.requests, [])

    def test_verifies_the_name(self):
        path, authority = self.certificate("127.0.0.2")
        with Peer(transport="tls", certificate=path) as peer:
            self.agent(3, "register", peer, "--ca", authority)
            self.assertEqual(peer.requests, [])

    def test_can_be_told_not_to_verify(self):
        path, _ = self.certificate("127.0.0.2")
        with Peer(transport="tls", certificate=path) as peer:
            done = self.agent(0, "register", peer, "--insecure")
            self.assertIn("--insecure", done.err)

    def test_sends_basic_when_that_is_allowed(self):
        path, authority = self.certificate("127.0.0.1")

        def basic(_, request, __):
            if sip_text.headers(request, "Authorization") == ["Basic YWxpY2U6c2VjcmV0"]:
                return [sip_text.reply(request, 200, "OK")]
            return [sip_text.reply(request, 401, "No", ['WWW-Authenticate: Basic realm="example.org"'])]
        with Peer(transport="tls", certificate=path, on=basic) as peer:
            self.agent(1, "register", peer, "--ca", authority)
            self.agent(1, "register", peer, "--insecure", "--allow-basic")
            done = self.agent(0, "register", peer, "--ca", authority, "--allow-basic")
            self.assertNotIn("YWxpY2U6c2VjcmV0", done.out)


class Asking(AgentCase):
    def test_sends_options(self):
        with Peer() as peer:
            messages, _ = self.messages(0, "options", peer, "--repeat", 1)
        self.assertEqual([message["direction"] for message in messages], ["sent", "received"] * 3)
        self.assertEqual([message.get("status") for message in messages[1::2]], [401, 200, 200])

    def test_sends_a_text_through_a_proxy_that_asks(self):
        with Peer(status=407) as peer:
            self.agent(0, "message", peer, "--text", "Grüße")
        self.assertEqual(sip_text.body(peer.requests[1]).decode(), "Grüße")
        self.assertEqual(sip_text.headers(peer.requests[1], "Authorization"), [])
        self.assertEqual(sip_text.headers(peer.requests[1], "Contact"), [])
        self.assertTrue(credentials(peer.requests[1]))

    def test_needs_no_user(self):
        with Peer(on=lambda _, request, __: [sip_text.reply(request, 200, "OK")]) as peer:
            self.expect(0, "options", peer.uri())
        with Peer() as peer:
            self.assertIn("with these options and credentials", self.expect(1, "options", peer.uri()).out)


class Calling(AgentCase):
    """Calls; PROGRESS answers the INVITE whose credentials are right."""

    def serve(self, progress):
        def on(peer, request, send):
            if sip_text.method(request) != "INVITE":
                return None
            return progress(peer, request, send) if peer.check(request) else [peer.challenge(request)]
        return Peer(on=on)

    @staticmethod
    def tagged(response, tag, peer, *lines):
        """A response of a dialog: with a tag of our own and a Contact."""
        text = re.sub(rb"(?m)^(To: [^;\r]*)(;tag=\w+)", rb"\1;tag=" + tag.encode(), response)
        for line in (f"Contact: <{peer.uri('bob')}>", *lines):
            name, _, value = line.partition(": ")
            text = sip_text.with_header(text, name, value)
        return text

    def accept(self, peer, request, _):
        return [self.tagged(sip_text.reply(request, 180, "Ringing"), "b1", peer),
                self.tagged(sip_text.reply(request, 200, "OK"), "b1", peer,
                            f"Record-Route: <sip:127.0.0.1:{peer.port};lr>")]

    def test_signs_invite_ack_and_bye(self):
        with self.serve(self.accept) as peer:
            messages, _ = self.messages(0, "invite", peer, "--hold", 0)
        self.assertEqual(peer.methods(), ["INVITE", "ACK", "INVITE", "ACK", "BYE"])
        self.assertEqual(peer.problems, [])
        self.assertIsNone(credentials(peer.requests[1]), "with nothing to sign it with")
        self.assertEqual([credentials(request)["nc"] for request in peer.requests[2:]],
                         ["00000001", "00000002", "00000003"])
        for request in peer.requests[3:]:
            self.assertEqual(sip_text.request_uri(request), peer.uri("bob"))
            self.assertEqual(sip_text.headers(request, "Route"), [f"<sip:127.0.0.1:{peer.port};lr>"])
            self.assertIn("tag=b1", sip_text.headers(request, "To")[0])
        self.assertEqual([sip_text.cseq_number(request) for request in peer.requests], [1, 1, 2, 2, 3])
        self.assertIn("a=inactive", sip_text.body(peer.requests[2]).decode())
        self.assertEqual(messages[-1]["status"], 200)

    def test_acknowledges_a_refusal(self):
        with self.serve(lambda _, request, __: [sip_text.reply(request, 486, "Busy Here")]) as peer:
            done = self.agent(1, "invite", peer)
        self.assertEqual(peer.methods(), ["INVITE", "ACK", "INVITE", "ACK"])
        self.assertEqual(credentials(peer.requests[3])["nc"], "00000002")
        self.assertEqual(peer.problems, [])
        self.assertEqual(done.out.splitlines()[-1], "refused: 486 Busy Here")

    def test_waits_with_an_early_cancel(self):
        rang = []

        def ring(_, request, send):
            def answer():
                rang.append(now())
                send(sip_text.reply(request, 180, "Ringing"))
            later(0.5, answer)
            return []

        cancelled = []

        def on(peer, request, send):
            method = sip_text.method(request)
            if method == "CANCEL":
                cancelled.append(now())
                invite = [one for one in peer.requests if sip_text.method(one) == "INVITE"][-1]
                return [*peer.registrar(request), sip_text.reply(invite, 487, "Request Terminated")]
            if method != "INVITE":
                return None
            # Repeated INVITEs are not answered twice.
            if len([one for one in peer.requests if sip_text.method(one) == "INVITE"]) > 2:
                return []
            return ring(peer, request, send) if peer.check(request) else [peer.challenge(request)]

        with Peer(on=on) as peer:
            done = self.agent(0, "invite", peer, "--cancel-after", 100)
        self.assertIn("CANCEL waits for a provisional response", done.out)
        self.assertEqual(done.out.splitlines()[-1], "cancelled")
        self.assertGreater(cancelled[0], rang[0])
        cancel = [one for one in peer.requests if sip_text.method(one) == "CANCEL"][0]
        self.assertEqual(credentials(cancel)["nc"], "00000002")
        self.assertEqual(credentials(peer.requests[-1])["nc"], "00000003")
        self.assertEqual(sip_text.method(peer.requests[-1]), "ACK")
        self.assertEqual(peer.problems, [])

    def test_ends_the_second_branch_of_a_fork(self):
        def fork(peer, request, _):
            return [self.tagged(sip_text.reply(request, 200, "OK"), tag, peer) for tag in ("b1", "b1", "b2", "b1")]
        with self.serve(fork) as peer:
            self.agent(0, "invite", peer, "--hold", 1)
        tags = [(sip_text.method(request), re.search(r"tag=(\w+)", sip_text.headers(request, "To")[0])[1])
                for request in peer.requests[3:]]
        self.assertEqual(tags.count(("ACK", "b1")), 3)
        self.assertEqual(tags.count(("ACK", "b2")), 1)
        self.assertEqual(tags.count(("BYE", "b2")), 1)
        self.assertEqual(tags[-1], ("BYE", "b1"))
        self.assertEqual(len({request for request in peer.requests if b"tag=b1" in request and
                              request.startswith(b"ACK")}), 1, "a repeated ACK is the same")

    def test_ends_when_the_other_side_hangs_up(self):
        def accept_and_end(peer, request, send):
            bye = (f"BYE {sip_text.headers(request, 'Contact')[0].strip('<>')} SIP/2.0\r\n"
                   f"Via: SIP/2.0/UDP 127.0.0.1:{peer.port};branch=z9hG4bKbye\r\nMax-Forwards: 70\r\n"
                   f"From: {sip_text.headers(request, 'To')[0]};tag=b1\r\n"
                   f"To: {sip_text.headers(request, 'From')[0]}\r\n"
                   f"Call-ID: {sip_text.headers(request, 'Call-ID')[0]}\r\nCSeq: 1 BYE\r\nContent-Length: 0\r\n\r\n")
            later(0.3, lambda: send(bye.encode()))
            return self.accept(peer, request, send)
        with self.serve(accept_and_end) as peer:
            done = self.agent(0, "invite", peer, "--hold", 30)
            peer.wait(lambda _: peer.responses)
            self.assertEqual([sip_text.status(response) for response in peer.responses], [200])
        self.assertEqual(done.out.splitlines()[-1], "accepted: the other side hung up")

    def test_fails_when_nobody_answers(self):
        with self.serve(lambda _, request, __: [sip_text.reply(request, 100, "Trying")]) as peer:
            messages, result = self.messages(3, "invite", peer, "--timeout", 1)
        self.assertEqual(messages[-1]["status"], 100)
        self.assertIn("no final response within 1 s", result["text"])


class Listening(AgentCase):
    def call(self, peer, method, number, branch=None):
        """A request of the server's own to the Contact that was registered. The ACK of a refusal has the branch of its
        INVITE, all others one of their own."""
        contact = sip_text.headers(peer.requests[-1], "Contact")[0].strip("<>")
        content = "v=0\r\n" if method == "INVITE" else ""
        text = (f"{method} {contact} SIP/2.0\r\n"
                f"Via: SIP/2.0/UDP 127.0.0.1:{peer.port};branch=z9hG4bK{branch or method}{number}\r\n"
                f"Max-Forwards: 70\r\nFrom: <sip:bob@127.0.0.1>;tag=b\r\nTo: <sip:alice@127.0.0.1>\r\n"
                f"Call-ID: call{number}@127.0.0.1\r\nCSeq: 1 {method}\r\nContact: <{peer.uri('bob')}>\r\n"
                f"Record-Route: <sip:127.0.0.1:{peer.port};lr>\r\nContent-Length: {len(content)}\r\n\r\n{content}")
        peer.client(text.encode())

    def while_listening(self, peer, work, *more):
        """Runs WORK as soon as the agent is registered."""
        failures = []

        def watch():
            try:
                peer.wait(lambda _: len(peer.requests) >= 2)
                work()
            except AssertionError as failure:
                failures.append(failure)
        thread = threading.Thread(target=watch)
        thread.start()
        done = self.agent(0, "register", peer, "--listen", 2, "--unregister", *more)
        thread.join()
        self.assertEqual(failures, [])
        return done

    def test_answers_requests_and_calls(self):
        def statuses(count):
            peer.wait(lambda _: len(peer.responses) >= count)
            return [sip_text.status(response) for response in peer.responses]

        def work():
            self.call(peer, "OPTIONS", 1)
            self.assertEqual(statuses(1), [200])
            self.call(peer, "INVITE", 2)
            self.assertEqual(statuses(3), [200, 180, 200])
            self.call(peer, "ACK", 2)
            self.call(peer, "BYE", 2)
            self.call(peer, "INFO", 4)
            peer.wait(lambda _: any(sip_text.status(response) == 405 for response in peer.responses))
        with Peer() as peer:
            self.while_listening(peer, work)
        accepted = peer.responses[2]
        self.assertEqual(sip_text.headers(accepted, "Record-Route"), [f"<sip:127.0.0.1:{peer.port};lr>"])
        self.assertEqual(sip_text.headers(accepted, "To"), sip_text.headers(peer.responses[1], "To"))
        self.assertIn("a=inactive", sip_text.body(accepted).decode())
        self.assertEqual(sip_text.headers(peer.requests[-1], "Expires"), ["0"])

    def test_answers_with_the_address_that_it_registered(self):
        def work():
            self.call(peer, "INVITE", 1)
            peer.wait(lambda _: len(peer.responses) >= 2)
            self.call(peer, "ACK", 1)
        for transport in ("udp", "tcp"):
            with self.subTest(transport), Peer(transport=transport) as peer:
                self.while_listening(peer, work)
                contacts = {sip_text.headers(message, "Contact")[0] for message in peer.requests + peer.responses}
                self.assertEqual(len(contacts), 1, contacts)

    def test_is_busy_when_told_so(self):
        def work():
            self.call(peer, "INVITE", 1)
            peer.wait(lambda _: peer.responses)
            self.call(peer, "ACK", 1, "INVITE")
        with Peer() as peer:
            self.while_listening(peer, work, "--busy")
        self.assertEqual({sip_text.status(response) for response in peer.responses}, {486})

    def test_registers_anew_in_time(self):
        def short(peer, request, _):
            answers = peer.registrar(request)
            return [answer.replace(b";expires=60", b";expires=1") for answer in answers]
        with Peer(on=short) as peer:
            self.while_listening(peer, lambda: peer.wait(lambda _: len(peer.requests) >= 3))
        self.assertEqual(peer.problems, [])


class Failing(AgentCase):
    def test_ends_with_3_when_nobody_answers(self):
        with Peer(on=lambda *_: []) as peer:
            messages, result = self.messages(3, "register", peer, "--timeout", 1)
        self.assertTrue(messages)
        self.assertIn("no final response within 1 s", result["text"])

    def test_ends_with_3_when_nothing_is_there(self):
        with socket.socket() as closed:
            closed.bind(("127.0.0.1", 0))
            uri = f"sip:127.0.0.1:{closed.getsockname()[1]};transport=tcp"
            self.assertTrue(self.expect(3, "options", uri, "--timeout", 5).out.splitlines()[-1].startswith("failed: "))

    def test_ends_with_3_for_a_name_that_is_unknown(self):
        done = self.expect(3, "options", "sip:no-such-host.invalid")
        self.assertIn("no-such-host.invalid", done.err)

    def test_ends_with_2_for_wrong_usage(self):
        good = "sip:alice@127.0.0.1:9"
        for arguments in (("register",), ("register", "alice"), ("register", "tel:123"), ("invite", "http://x"),
                          ("register", "sip:127.0.0.1"), ("options", good, "--proxy", "x"),
                          ("options", good, "--transport", "sctp"), ("options", good, "--local", "here"),
                          ("options", good, "--timeout", "0"), ("register", good, "--expires", "-1"),
                          ("options", good, "--user", "a\r\nX: y"), ("options", good, "--ca", "a", "--insecure"),
                          ("options", good, "--strongest", "--options", "x"), ("invite", good, "--hold", "x"),
                          ("options", good, "--options", self.folder / "none")):
            with self.subTest(arguments):
                done = self.expect(2, *arguments, password="secret")
                self.assertEqual(done.out, "")
                self.assertTrue(done.err)

    def test_survives_what_is_no_sip(self):
        def noise(_, request, send):
            for bytes_ in (b"\0\0\0\0", b"SIP/2.0 200\r\n\r\n", b"HTTP/1.1 200 OK\r\n\r\n",
                           sip_text.reply(request, 200, "OK").replace(b"REGISTER", b"OPTIONS")):
                send(bytes_)
            return None
        with Peer(on=noise) as peer:
            self.agent(0, "register", peer)
        self.assertEqual(len(peer.requests), 2)


if __name__ == "__main__":
    tool_case.main()
