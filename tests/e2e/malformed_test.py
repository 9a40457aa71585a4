#!/usr/bin/env python3
"""Sends sipauthd mutated datagrams and broken TCP streams. After each batch a valid REGISTER must be challenged within a
second. The same seed sends the same bytes.
"""

import argparse
import random
import socket
import struct
import sys
import time

sys.dont_write_bytecode = True

from daemon import Daemon  # noqa: E402
from register import Client, REALM, Registration, credentials  # noqa: E402

SEEDS = [
    "REGISTER sip:{realm} SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:{port};rport;branch=z9hG4bK{n}\r\nMax-Forwards: 70\r\n"
    "From: <sip:alice@{realm}>;tag=t{n}\r\nTo: <sip:alice@{realm}>\r\nCall-ID: c{n}\r\nCSeq: 1 REGISTER\r\n"
    "Contact: <sip:alice@127.0.0.1:{port}>;expires=60, \"x\" <sip:b@c>;q=0.5\r\nAuthorization: {auth}\r\n"
    "Content-Length: 0\r\n\r\n",
    "INVITE sip:bob@{realm} SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:{port};rport;branch=z9hG4bK{n}\r\nVia: SIP/2.0/TCP a.b\r\n"
    "Max-Forwards: 7\r\nRoute: <sip:127.0.0.1;lr>,<sip:x.y;lr>\r\nFrom: Alice <sip:alice@{realm}>;tag=t{n}\r\n"
    "To: <sip:bob@{realm}>\r\nCall-ID: c{n}\r\nCSeq: 7 INVITE\r\nContact: <sip:alice@127.0.0.1:{port}>\r\n"
    "Proxy-Authorization: {auth}\r\nContent-Type: application/sdp\r\nContent-Length: 4\r\n\r\nv=0\n",
    "ACK sip:bob@{realm} SIP/2.0\r\nv: SIP/2.0/UDP 127.0.0.1:{port};branch=z9hG4bK{n}\r\nf: <sip:a@b>;tag=1\r\n"
    "t: <sip:bob@{realm}>;tag=2\r\ni: c{n}\r\nCSeq: 7 ACK\r\nl: 0\r\n\r\n",
    "CANCEL sip:bob@{realm} SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:{port};branch=z9hG4bK{n}\r\nFrom: <sip:a@b>;tag=1\r\n"
    "To: <sip:bob@{realm}>\r\nCall-ID: c{n}\r\nCSeq: 7 CANCEL\r\nContent-Length: 0\r\n\r\n",
    "SIP/2.0 200 OK\r\nVia: SIP/2.0/UDP 127.0.0.1:{port};branch=z9hG4bK{n}\r\nFrom: <sip:a@b>;tag=1\r\n"
    "To: <sip:b@c>;tag=3\r\nCall-ID: c{n}\r\nCSeq: 7 INVITE\r\nContent-Length: 0\r\n\r\n",
    "MESSAGE sip:bob@{realm};user=phone?a=b SIP/2.0\r\nVia: SIP/2.0/UDP [::1]:5;branch=z9hG4bK{n};received=1.2.3.4\r\n"
    "From: \"\\\"q\" <sip:%61lice@{realm}>;tag=t{n}\r\nTo: <tel:+49>\r\nCall-ID: c{n}\r\nCSeq: 1 MESSAGE\r\n"
    "Proxy-Authorization: Digest qop=\"auth,auth-int\", username=\"\\\\\\\"\"\r\nContent-Length: 2\r\n\r\nhi",
]
PIECES = [b"\r\n", b"\0", b"\"", b"\\", b",", b";", b"<", b">", b"=", b" ", b"\t", b"%", b"@", b":", b"\xff\xfe",
          b"Via: ", b"Authorization: Digest ", b"SIP/2.0", b"9" * 30, b"a" * 5000, b"qop=\"auth\", " * 400, b"-1",
          b"Content-Length: 99999999999\r\n", b"Contact: *\r\n", b"Expires: -1\r\n", b"To: <sip:a@b>;tag=x\r\n",
          b"\r\n\r\n", b"algorithm=MD5-sess", b"nc=ffffffff", b"X: y\r\n" * 300]


def mutate(random_, message):
    """Some bytes changed, cut, doubled, moved, or replaced by pieces that parsers dislike."""
    message = bytearray(message)
    for _ in range(random_.choice((1, 1, 2, 3, 8))):
        if not message:
            break
        position = random_.randrange(len(message))
        kind = random_.randrange(7)
        if kind == 0:
            message[position] = random_.randrange(256)
        elif kind == 1:
            del message[position:position + random_.choice((1, 4, 40))]
        elif kind == 2:
            message[position:position] = random_.choice(PIECES)
        elif kind == 3:
            end = position + random_.randrange(60)
            message[position:position] = message[position:end]
        elif kind == 4:
            del message[position:]
        elif kind == 5:
            other = random_.randrange(len(message))
            message[position:position + 20], message[other:other + 20] = message[other:other + 20], \
                message[position:position + 20]
        else:
            lines = bytes(message).split(b"\r\n")
            random_.shuffle(lines)
            message = bytearray(b"\r\n".join(lines))
    return bytes(message[:60000])


def messages(random_, port, nonce):
    """Mutated messages without end; some carry a nonce that was issued."""
    number = 0
    while True:
        number += 1
        auth = credentials({"nonce": nonce[0] or "0"}, "alice", "secret", f"sip:{REALM}")
        seed = random_.choice(SEEDS).format(realm=REALM, port=port, n=f"{number}x{random_.randrange(50)}", auth=auth)
        yield mutate(random_, seed.encode("latin-1", "replace"))


def challenged(daemon, client, nonce):
    """Whether a valid REGISTER is challenged within a second, and then accepted."""
    if not daemon.alive():
        return False
    start = time.monotonic()
    answer = client.register("alice", "wrong", "sip:alice@127.0.0.1:9")  # answered with another challenge
    if answer.status != 401 or time.monotonic() - start > 2:
        return False
    nonce[0] = answer.response.split(b'nonce="')[1].split(b'"')[0].decode()
    start = time.monotonic()
    probe = Registration("alice", "secret", "sip:alice@127.0.0.1:9")
    client.start(probe)
    while probe.status is None:
        client.run()
    return probe.status == 200 and time.monotonic() - start < 1


def streams(random_, daemon, generator, count):
    """Broken TCP streams: cut, joined, slow, reset in the middle."""
    held = []
    for _ in range(count):
        connection = socket.create_connection((daemon.address, daemon.port), 5)
        try:
            for _ in range(random_.randrange(1, 4)):
                connection.sendall(next(generator))
        except OSError:
            pass  # it is allowed to hang up on us
        kind = random_.randrange(3)
        if kind == 0:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            connection.close()
        elif kind == 1:
            connection.close()
        else:
            held.append(connection)
    for connection in held:
        connection.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--tool", required=True)
    parser.add_argument("--datagrams", type=int, default=100000)
    parser.add_argument("--streams", type=int, default=1000)
    parser.add_argument("--batch", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    random_ = random.Random(options.seed)
    nonce = [""]
    limits = "sourceFailuresPerMinute = 0\nuserFailuresPerMinute = 0\nnetworkChallengesPerSecond = 0"
    with Daemon(options.daemon, options.tool, {"alice": "secret"}, limits=limits) as daemon:
        client = Client(daemon.port)
        sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        sender.bind((daemon.address, 0))
        generator = messages(random_, sender.getsockname()[1], nonce)
        sent = 0
        while sent < options.datagrams:
            for _ in range(min(options.batch, options.datagrams - sent)):
                try:
                    sender.sendto(next(generator), (daemon.address, daemon.port))
                except ConnectionError:
                    pass
                sent += 1
                if sent % 50 == 0:
                    time.sleep(0.001)
            if not challenged(daemon, client, nonce):
                print(f"after {sent} datagrams of seed {options.seed} it does not serve any more\n{daemon.said()}")
                return 1
        print(f"{sent} mutated datagrams: served after each batch", flush=True)
        done = 0
        while done < options.streams:
            count = min(max(options.batch // 10, 1), options.streams - done)
            streams(random_, daemon, generator, count)
            done += count
            if not challenged(daemon, client, nonce):
                print(f"after {done} streams of seed {options.seed} it does not serve any more\n{daemon.said()}")
                return 1
        print(f"{done} broken streams: served after each batch; memory {daemon.resident():.1f} MiB")
        client.close()
        sender.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
