#!/usr/bin/env python3
"""What a registrar must not let through: a REGISTER that was captured on the wire and is sent once more by somebody
else, and one with a nonce that the registrar never issued.

    intruder.py HOST PORT USER PASSWORD      ends with 0 when both are refused
"""

import hashlib
import re
import secrets
import socket
import sys

REALM = "example.org"


def md5(text):
    return hashlib.md5(text.encode(), usedforsecurity=False).hexdigest()


def register(user, address, number, authorization="", branch=None):
    return (f"REGISTER sip:{REALM} SIP/2.0\r\nVia: SIP/2.0/UDP {address[0]}:{address[1]};rport;"
            f"branch=z9hG4bK{branch or secrets.token_hex(6)}\r\nMax-Forwards: 70\r\nFrom: <sip:{user}@{REALM}>;tag=intruder"
            f"\r\nTo: <sip:{user}@{REALM}>\r\nCall-ID: {address[1]}@intruder\r\nCSeq: {number} REGISTER\r\n"
            f"Contact: <sip:{user}@{address[0]}:{address[1]}>\r\n{authorization}Content-Length: 0\r\n\r\n")


def credentials(user, password, nonce, opaque):
    uri, cnonce = f"sip:{REALM}", secrets.token_hex(4)
    secret = md5(f"{user}:{REALM}:{password}")
    response = md5(f"{secret}:{nonce}:00000001:{cnonce}:auth:{md5('REGISTER:' + uri)}")
    return (f'Authorization: Digest username="{user}", realm="{REALM}", nonce="{nonce}", uri="{uri}", qop=auth, '
            f'nc=00000001, cnonce="{cnonce}", response="{response}", algorithm=MD5'
            + (f', opaque="{opaque}"' if opaque else "") + "\r\n")


def ask(endpoint, server, request):
    endpoint.sendto(request.encode(), server)
    response = endpoint.recv(65535).decode()
    first = response.split("\r\n", 1)[0]
    print(f"  --> REGISTER{' with credentials' if 'Authorization:' in request else ''}   <-- {first[8:]}"
          + (", stale=true" if "stale=true" in response else ""))
    return int(first.split()[1]), response


def main(host, port, user, password):
    server = (host, int(port))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as phone, \
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as intruder:
        for endpoint in phone, intruder:
            endpoint.bind((host, 0))
            endpoint.settimeout(5)
        address = phone.getsockname()
        print("the phone registers, and is overheard:")
        _, challenge = ask(phone, server, register(user, address, 1))
        line = next(line for line in challenge.split("\r\n") if "algorithm=MD5" in line)
        nonce = re.search(r'nonce="([^"]*)"', line)[1]
        opaque = re.search(r'opaque="([^"]*)"', line)
        overheard = credentials(user, password, nonce, opaque[1] if opaque else None)
        accepted, _ = ask(phone, server, register(user, address, 2, overheard))
        print("the intruder sends the same credentials:")
        replayed, _ = ask(intruder, server, register(user, intruder.getsockname(), 3, overheard))
        print("the intruder makes up a nonce (and even knows the password):")
        forged, _ = ask(intruder, server, register(user, intruder.getsockname(), 4,
                                                   credentials(user, password, "f" * 32, None)))
    print(f"the phone got {accepted}, the replay {replayed}, the forged nonce {forged}")
    return 0 if (accepted, replayed, forged) == (200, 401, 401) else 1


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
