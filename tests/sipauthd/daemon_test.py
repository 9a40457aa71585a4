#!/usr/bin/env python3
"""The daemon as its clients and its operator meet it."""

import json
import os
import pathlib
import signal
import ssl
import subprocess
import time

import daemon_case
from daemon_case import CONFIGURATION, DaemonCase

BOTH = ("udp", "tcp")


class Register(DaemonCase):
    def test_a_user_registers_with_each_algorithm_over_each_transport(self):
        daemon = self.start()
        for transport in BOTH:
            for algorithm in ("MD5", "SHA-256"):
                with self.subTest(transport=transport, algorithm=algorithm):
                    client = self.client(daemon, transport=transport)
                    response = client.register(algorithm=algorithm)
                    self.assertEqual(response.status, 200, response)
                    self.assertIn(f"<sip:alice@{client.host}>", ",".join(response.headers("Contact")))

    def test_a_challenge_names_the_realm_and_both_algorithms_the_best_first(self):
        response = self.client(self.start()).ask("REGISTER", "sip:example.com")
        self.assertEqual(response.status, 401)
        lines = [daemon_case.parameters(line) for line in response.headers("WWW-Authenticate")]
        self.assertEqual([line["algorithm"] for line in lines], ["SHA-256", "MD5"])
        self.assertEqual({line["realm"] for line in lines}, {"example.com"})
        self.assertEqual(response.header("Server"), "sipauthd")
        self.assertIn(";tag=", response.header("To"))

    def test_a_second_registration_with_the_same_nonce_is_accepted_at_once(self):
        client = self.client(self.start())
        self.assertEqual(client.register().status, 200)
        again = client.credentials("REGISTER", "sip:example.com", client.challenge)
        self.assertIn("nc=00000002", again)
        response = client.ask("REGISTER", "sip:example.com", f"Authorization: {again}", "Expires: 300")
        self.assertEqual(response.status, 200, response)

    def test_wrong_passwords_and_unknown_users_are_answered_alike_and_never_served(self):
        daemon = self.start()
        answers = []
        for user, password in (("alice", "wrong"), ("nobody", "secret")):
            client = self.client(daemon, user, password)
            response = client.register()
            self.assertIn(response.status, (401, 403), response)
            answers.append((response.status, sorted(line.partition(":")[0] for line in response.lines)))
        self.assertEqual(answers[0], answers[1])
        daemon.send_signal(signal.SIGUSR1)
        daemon.wait_for(r"state bindings=0 ", "a binding was made")

    def test_a_captured_authorization_does_not_work_again(self):
        daemon = self.start()
        client = self.client(daemon)
        challenge = client.challenges(client.ask("REGISTER", "sip:example.com"))["MD5"]
        captured = "Authorization: " + client.credentials("REGISTER", "sip:example.com", challenge)
        self.assertEqual(client.ask("REGISTER", "sip:example.com", captured, "Expires: 300").status, 200)
        self.assertEqual(client.ask("REGISTER", "sip:example.com", captured, "Expires: 300").status, 401)
        other = self.client(daemon)
        self.assertEqual(other.ask("REGISTER", "sip:example.com", captured, "Expires: 300").status, 401)

    def test_a_retransmitted_request_gets_the_same_answer_and_counts_once(self):
        client = self.client(self.start())
        challenge = client.challenges(client.ask("REGISTER", "sip:example.com"))["MD5"]
        request = client.request("REGISTER", "sip:example.com", "Expires: 300",
                                 "Authorization: " + client.credentials("REGISTER", "sip:example.com", challenge))
        client.send(request)
        first = client.receive()
        client.send(request)
        second = client.receive()
        self.assertEqual(first.status, 200, first)
        self.assertEqual(first.lines, second.lines)

    def test_a_used_nonce_is_challenged_as_stale(self):
        daemon = self.start()
        client = self.client(daemon)
        self.assertEqual(client.register().status, 200)
        other = self.client(daemon)
        used = other.credentials("REGISTER", "sip:example.com", client.challenge)
        response = other.ask("REGISTER", "sip:example.com", f"Authorization: {used}")
        self.assertEqual(response.status, 401)
        self.assertTrue(all("stale=true" in line.lower() for line in response.headers("WWW-Authenticate")), response)

    def test_bindings_outlive_a_kill(self):
        daemon = self.start()
        self.assertEqual(self.client(daemon).register().status, 200)
        daemon.process.kill()
        daemon.process.wait()
        second = self.start()
        self.assertIn("1 bindings restored", second.text())
        response = self.client(second).register("Expires: 300")
        self.assertEqual(",".join(response.headers("Contact")).count("<sip:alice@"), 2)


class Refusals(DaemonCase):
    def test_what_cannot_be_accepted_is_answered_with_a_reason(self):
        client = self.client(self.start())
        wrong = client.request("REGISTER", "sip:example.com").replace(b" REGISTER\r\nContact", b" INVITE\r\nContact")
        client.send(wrong)
        response = client.receive()
        self.assertEqual(response.status, 400, response)
        self.assertIn("CSeq", response.reason)
        self.assertEqual(client.ask("INVITE", "tel:+4930").status, 416)
        self.assertEqual(client.ask("INVITE", "sip:bob@example.com", "Proxy-Require: foo").header("Unsupported"), "foo")

    def test_garbage_does_not_end_the_daemon(self):
        daemon = self.start()
        client = self.client(daemon)
        for data in (b"", b"\r\n\r\n", b"\0" * 100, b"REGISTER", b"SIP/2.0 200 OK\r\n\r\n",
                     client.request("REGISTER", "sip:example.com")[:60], os.urandom(4000)):
            client.send(data)
        lines = b"".join(b"X-%d: x\r\n" % number for number in range(3000))
        client.send(client.request("REGISTER", "sip:example.com").replace(b"Max-Forwards", lines + b"Max-Forwards"))
        # Those are answered or dropped; this one is challenged.
        call = client.call = "after-garbage"
        client.send(client.request("REGISTER", "sip:example.com"))
        while (response := client.receive()).header("Call-ID") != call:
            pass
        self.assertEqual(response.status, 401)
        self.assertIsNone(daemon.process.poll())


class Operation(DaemonCase):
    def test_a_reload_takes_a_new_password(self):
        daemon = self.start()
        client = self.client(daemon, password="changed")
        self.assertNotEqual(client.register().status, 200)
        daemon.configure(CONFIGURATION.replace('"secret"', '"changed"'))
        daemon.send_signal(signal.SIGHUP)
        daemon.wait_for("configuration reloaded", "the file is not taken")
        self.assertEqual(self.client(daemon, password="changed").register().status, 200)
        self.assertNotEqual(self.client(daemon).register().status, 200)

    def test_a_refused_file_changes_nothing(self):
        daemon = self.start()
        daemon.configure(CONFIGURATION.replace('"secret"', '"changed"').replace("drainTime = 5000", "drainTime = -1"))
        daemon.send_signal(signal.SIGHUP)
        found = daemon.wait_for(r"configuration refused, nothing has changed: .*", "the file is not refused")
        self.assertIn("sipauthd.toml:31: object 'daemon': drainTime: -1 is not within", found[0])
        self.assertEqual(self.client(daemon).register().status, 200)

    def test_a_reload_opens_the_logs_again(self):
        daemon = self.start()
        audit = self.folder / "audit.json"
        self.assertEqual(self.client(daemon).register().status, 200)
        audit.rename(self.folder / "audit.old")
        daemon.send_signal(signal.SIGHUP)
        daemon.wait_for("configuration reloaded", "no reload")
        self.assertEqual(self.client(daemon).register().status, 200)
        old = [json.loads(line) for line in (self.folder / "audit.old").read_text().splitlines()]
        new = [json.loads(line) for line in audit.read_text().splitlines()]
        for events in (old, new):
            self.assertEqual([event["reason"] for event in events], ["challenged", "passed"])
        self.assertEqual(old[1]["identity"], "alice")
        self.assertEqual(oct(audit.stat().st_mode & 0o777), "0o600")

    def test_no_secret_is_in_any_log(self):
        daemon = self.start(CONFIGURATION.replace("[object.daemon.config.log]",
                                                  '[object.daemon.config.log]\ntrace = "trace.json"\nlevel = "debug"'))
        client = self.client(daemon)
        self.assertEqual(client.register().status, 200)
        response = client.credentials("REGISTER", "sip:example.com", client.challenge, nc="00000001")
        response = daemon_case.parameters(response)["response"]
        daemon.end()
        for name in ("audit.json", "stderr.log", "trace.json"):
            text = (self.folder / name).read_text()
            self.assertTrue(text, name)
            self.assertNotIn("secret", text.replace("secrets", ""), name)
            self.assertNotIn(response, text, name)

    def test_counters_on_request_and_at_the_end(self):
        daemon = self.start()
        self.client(daemon).register()
        daemon.send_signal(signal.SIGUSR1)
        found = daemon.wait_for(r"counters (.*)", "no counters")
        self.assertIn("challenged=1", found[0])
        self.assertIn("passed=1", found[0])
        self.assertEqual(daemon.end(), 0)
        daemon.wait_for(r"counters (.*)", "no counters at the end", 2)

    def test_an_idle_daemon_ends_at_once(self):
        daemon = self.start()
        begin = time.monotonic()
        self.assertEqual(daemon.end(), 0)
        self.assertLess(time.monotonic() - begin, 4)
        self.assertIn("all requests have been answered", daemon.text())

    def test_while_a_request_is_open_new_ones_are_refused(self):
        daemon = self.start()
        callee = self.client(daemon, "bob", "geheim")
        self.assertEqual(callee.register().status, 200)
        caller = self.client(daemon)
        response = caller.ask("INVITE", "sip:bob@example.com", to="<sip:bob@example.com>")
        self.assertEqual(response.status, 407)
        credentials = caller.credentials("INVITE", "sip:bob@example.com", caller.challenges(response)["MD5"])
        caller.send(caller.request("INVITE", "sip:bob@example.com", f"Proxy-Authorization: {credentials}",
                                   to="<sip:bob@example.com>"))
        invite = callee.socket.recv(65536)
        self.assertTrue(invite.startswith(b"INVITE "), invite)
        daemon.send_signal(signal.SIGTERM)
        daemon.wait_for("draining: 1 requests are open", "no drain")
        late = self.client(daemon)
        refused = late.ask("REGISTER", "sip:example.com")
        self.assertEqual(refused.status, 503)
        self.assertTrue(refused.header("Retry-After"))
        # The call is answered, and then the daemon ends.
        head = [line for line in invite.decode().split("\r\n\r\n")[0].split("\r\n")
                if line.split(":")[0].lower() in ("via", "from", "call-id", "cseq", "record-route")]
        callee.send(("\r\n".join(["SIP/2.0 200 OK", *head, "To: <sip:bob@example.com>;tag=2",
                                  f"Contact: <sip:bob@{callee.host}>", "Content-Length: 0"]) + "\r\n\r\n").encode())
        while (response := caller.receive()).status < 200:
            pass
        self.assertEqual(response.status, 200)
        self.assertEqual(daemon.process.wait(daemon_case.SECONDS), 0)

    def test_a_second_signal_ends_it_at_once(self):
        daemon = self.start(CONFIGURATION.replace("drainTime = 5000", "drainTime = 600000"))
        callee = self.client(daemon, "bob", "geheim")
        callee.register()
        caller = self.client(daemon)
        response = caller.ask("INVITE", "sip:bob@example.com", to="<sip:bob@example.com>")
        credentials = caller.credentials("INVITE", "sip:bob@example.com", caller.challenges(response)["MD5"])
        caller.send(caller.request("INVITE", "sip:bob@example.com", f"Proxy-Authorization: {credentials}",
                                   to="<sip:bob@example.com>"))
        callee.socket.recv(65536)
        daemon.send_signal(signal.SIGTERM)
        daemon.wait_for("draining", "no drain")
        self.assertEqual(daemon.end(), 1)


class Tls(DaemonCase):
    CONFIGURATION = CONFIGURATION.replace("[object.daemon.config.registrar]", """[object.daemon.config.listeners.tls]
transport = "tls"
address = "127.0.0.1:0"
certificate = "own.pem"
privateKey = "own.key"
[object.daemon.config.registrar]""")

    def test_a_user_registers_over_tls(self):
        self.certificate("own")
        daemon = self.start(self.CONFIGURATION)
        client = self.client(daemon, transport="tls", authority=self.folder / "own.pem")
        response = client.register(algorithm="SHA-256")
        self.assertEqual(response.status, 200, response)

    def test_a_reload_takes_a_new_certificate_and_refuses_a_broken_one(self):
        self.certificate("own")
        daemon = self.start(self.CONFIGURATION)
        first = (self.folder / "own.pem").read_bytes()
        (self.folder / "first.pem").write_bytes(first)
        self.certificate("own")
        daemon.send_signal(signal.SIGHUP)
        daemon.wait_for("certificates read again", "the certificate is not read")
        self.assertEqual(self.client(daemon, transport="tls", authority=self.folder / "own.pem").register().status, 200)
        with self.assertRaises(ssl.SSLError):
            self.client(daemon, transport="tls", authority=self.folder / "first.pem")
        good = (self.folder / "own.pem").read_bytes()
        (self.folder / "good.pem").write_bytes(good)
        (self.folder / "own.pem").write_text("no certificate")
        daemon.send_signal(signal.SIGHUP)
        daemon.wait_for("configuration refused, nothing has changed: .*own.pem holds no certificate", "it is taken")
        daemon.wait_for("error certificates: ", "it is read")
        self.assertEqual(self.client(daemon, transport="tls", authority=self.folder / "good.pem").register().status, 200)


class CommandLine(DaemonCase):
    def test_check_tells_what_a_file_means(self):
        path = self.folder / "a.toml"
        path.write_text(CONFIGURATION)
        path.chmod(0o600)
        done = self.run_daemon("--check", path)
        self.assertEqual(done.returncode, 0, done)
        self.assertIn("  udp: udp 127.0.0.1:0\n", done.stdout)
        self.assertRegex(done.stdout, r'  Digest realm="example.com".*algorithm=SHA-256')
        self.assertRegex(done.stdout, r"  linphone 5\.1 +logs in +with SHA-256 \(profile default\)\n")
        self.assertRegex(done.stdout, r"  sipsak 0\.9\.8 +does not log in +it does not know SHA-256")
        self.assertTrue(done.stdout.endswith("No warnings.\n"), done.stdout)
        self.assertEqual(self.run_daemon("--config", path, "--check").stdout.splitlines()[:9],
                         done.stdout.splitlines()[:9])
        self.assertFalse((self.folder / "bindings.db").exists(), "nothing is opened")

    def test_check_warns_and_refuses(self):
        path = self.folder / "a.toml"
        path.write_text(CONFIGURATION.replace("decoys = true\n", ""))
        path.chmod(0o600)
        done = self.run_daemon("--check", path)
        self.assertEqual(done.returncode, 1, done)
        self.assertRegex(done.stdout, "\nwarning: object 'users': decoys is not true: ")
        path.write_text(CONFIGURATION.replace("drainTime", "drainedTime"))
        done = self.run_daemon("--check", path)
        self.assertEqual(done.returncode, 2, done)
        self.assertIn(f"{path}:31: object 'daemon': drainedTime: this key is not known", done.stderr)

    def test_the_shipped_configuration_has_nothing_to_warn_of(self):
        shipped = os.environ["SIPAUTHD_SHIPPED"]
        done = self.run_daemon("--check", shipped)
        self.assertEqual(done.returncode, 0, done)
        self.assertNotIn("earlier version", done.stdout)
        self.assertRegex(done.stdout, r"  baresip 1\.0 +logs in +with MD5 \(profile legacy\)\n")

    def test_the_tool_knows_the_daemons_object(self):
        path = self.folder / "a.toml"
        path.write_text(CONFIGURATION)
        done = subprocess.run([os.environ["SIPAUTH_TOOL"], "config", "migrate", str(path)], capture_output=True, text=True,
                              check=False)
        self.assertEqual(done.returncode, 0, done)
        self.assertNotIn("of an earlier version", self.run_daemon("--check", path).stdout)
        done = subprocess.run([os.environ["SIPAUTH_TOOL"], "config", "show", str(path)], capture_output=True, text=True,
                              check=False)
        self.assertIn("drainTime = 5000\n", done.stdout, done)
        self.assertIn("maxExpires = 7200  # default\n", done.stdout, done)

    def test_a_daemon_that_cannot_start_says_why(self):
        path = self.folder / "a.toml"
        done = self.run_daemon("--config", path)
        self.assertEqual(done.returncode, 2, done)
        path.write_text(CONFIGURATION.replace('address = "127.0.0.1:0"', 'address = "192.0.2.1:5060"', 1))
        done = self.run_daemon("--config", path)
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("sipauthd: listener udp: ", done.stderr)

    def test_version_and_wrong_usage(self):
        self.assertRegex(self.run_daemon("--version").stdout, r"^sipauthd \d+\.\d+\n$")
        self.assertEqual(self.run_daemon("--colour").returncode, 2)

    def test_core_dumps_are_off_and_files_are_for_the_owner_only(self):
        daemon = self.start()
        limits = pathlib.Path(f"/proc/{daemon.process.pid}/limits").read_text()
        self.assertRegex(limits, r"Max core file size +0 +0 ")
        self.assertEqual(oct((self.folder / "bindings.db").stat().st_mode & 0o777), "0o600")


if __name__ == "__main__":
    daemon_case.main()
