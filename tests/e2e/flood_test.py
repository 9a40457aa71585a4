#!/usr/bin/env python3
"""Floods sipauthd with unauthenticated requests from many loopback addresses. Honest phones must be able to register
meanwhile, its memory must stay bounded, and go back after the flood.
"""

import argparse
import secrets
import socket
import sys
import threading
import time

sys.dont_write_bytecode = True

from daemon import Daemon  # noqa: E402
from register import Client, REALM  # noqa: E402

SOURCES = 200
BOUND_MIB = 400  # more than 30 s of challenges at 5,000 a second take
BACK_SECONDS = 45


def request(address, port, number):
    return (f"REGISTER sip:{REALM} SIP/2.0\r\nVia: SIP/2.0/UDP {address}:{port};rport;branch=z9hG4bK{number}\r\n"
            f"Max-Forwards: 70\r\nFrom: <sip:nobody{number}@{REALM}>;tag={number}\r\nTo: <sip:nobody{number}@{REALM}>\r\n"
            f"Call-ID: {secrets.token_hex(6)}\r\nCSeq: 1 REGISTER\r\nContact: <sip:x@{address}>\r\n"
            "Content-Length: 0\r\n\r\n").encode()


class Flood(threading.Thread):
    """Sends at a rate, from many addresses, and never looks at an answer."""

    def __init__(self, port, rate, seconds):
        super().__init__()
        self.port, self.rate, self.seconds = port, rate, seconds
        self.sent = 0
        self.elapsed = 0.0

    def run(self):
        sockets = []
        for i in range(SOURCES):
            source = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            source.bind((f"127.{1 + i // 100}.{i % 100}.{1 + i % 250}", 0))
            source.setblocking(False)
            sockets.append((source, *source.getsockname()))
        start = time.monotonic()
        while self.elapsed < self.seconds:
            self.elapsed = time.monotonic() - start
            while self.sent < self.elapsed * self.rate:
                source, address, port = sockets[self.sent % SOURCES]
                try:
                    source.sendto(request(address, port, self.sent), ("127.0.0.1", self.port))
                except (BlockingIOError, ConnectionError):
                    pass
                self.sent += 1
            time.sleep(0.002)
        for source, *_ in sockets:
            source.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--tool", required=True)
    parser.add_argument("--rate", type=int, default=5000)
    parser.add_argument("--seconds", type=float, default=30)
    parser.add_argument("--only-flood", action="store_true", help="do not wait for the memory to go back")
    options = parser.parse_args()
    with Daemon(options.daemon, options.tool, {"alice": "secret"}, address="127.0.0.1") as daemon:
        client = Client(daemon.port)
        for i in range(20):
            client.register("alice", "secret", f"sip:alice@127.0.0.1:{20000 + i}")
            client.register("alice", "secret", f"sip:alice@127.0.0.1:{20000 + i}", expires=0)
        before = daemon.resident()
        flood = Flood(daemon.port, options.rate, options.seconds)
        flood.start()
        honest, failed, peak, slowest, repeats = 0, [], before, 0.0, 0
        while flood.is_alive():
            answer = client.register("alice", "secret", "sip:alice@127.0.0.1:30000")
            honest += 1
            repeats += answer.retransmissions
            slowest = max(slowest, time.monotonic() - answer.started)
            if answer.status != 200:
                failed.append(answer.status)
            peak = max(peak, daemon.resident())
            time.sleep(0.05)
        flood.join()
        peak = max(peak, daemon.resident())
        print(f"{flood.sent} requests from {SOURCES} addresses in {flood.elapsed:.1f} s "
              f"({flood.sent / flood.elapsed:.0f} a second); memory {before:.1f} MiB before, {peak:.1f} at the most")
        print(f"{honest} honest registrations meanwhile, {len(failed)} failed {failed[:5]}, {repeats} repeated requests, "
              f"the slowest took {slowest * 1000:.0f} ms", flush=True)
        problems = []
        if failed:
            problems.append("an honest registration failed")
        if peak > BOUND_MIB:
            problems.append(f"more than {BOUND_MIB} MiB")
        if flood.sent / flood.elapsed < options.rate * 0.9:
            problems.append("the flood was too slow to count")
        if not options.only_flood:
            deadline = time.monotonic() + BACK_SECONDS
            # What stays is bounded tables (nonces, networks) that have grown to what they may have.
            limit = before + max(0.35 * (peak - before), 24)
            while daemon.resident() > limit and time.monotonic() < deadline:
                time.sleep(1)
                client.register("alice", "secret", "sip:alice@127.0.0.1:30000")
            print(f"memory afterwards {daemon.resident():.1f} MiB, at most {limit:.1f} expected")
            if daemon.resident() > limit:
                problems.append("the memory did not come back")
        client.close()
        if not daemon.alive():
            problems.append("the daemon died\n" + daemon.said())
    print("\n".join(problems) if problems else "unharmed")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
