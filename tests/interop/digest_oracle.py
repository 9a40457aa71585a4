#!/usr/bin/env python3
"""Digest authentication (RFC 2617, RFC 7616) once more, written apart from the library and on hashlib alone.

The tests compare what the tool computes with what this file computes. It also speaks the part of the tool's command
line that the tests use (answer, check, challenge), so that a fault of a peer, of the network or of a test can be told
from a fault of the tool: `run --tool tests/interop/digest_oracle.py` must pass wherever the peers are installed.

Quoted values enter the hashes as they stand between the quotes, backslashes included (RFC 7616 3.4: unq(X) takes
away the surrounding quotes only).
"""

import argparse
import base64
import hashlib
import os
import re
import secrets
import sys

import sip_text

HASHES = {"md5": "md5", "sha1": "sha1", "sha224": "sha224", "sha256": "sha256", "sha384": "sha384", "sha512": "sha512"}
CHALLENGE_NAMES = {401: "Www-Authenticate", 407: "Proxy-Authenticate"}
CREDENTIAL_NAMES = {401: "Authorization", 407: "Proxy-Authorization"}

_PARAMETER = re.compile(r'\s*([^\s=,"]+)\s*=\s*(?:"((?:[^"\\]|\\.)*)"|([^\s,"]+))\s*(?:,|$)', re.S)


def parameters(value):
    """The parameters of a Digest header value by lower-case name, still escaped; None when it is no Digest value."""
    scheme, _, rest = value.strip().partition(" ")
    if scheme.lower() != "digest":
        return None
    found, position = {}, 0
    while position < len(rest):
        match = _PARAMETER.match(rest, position)
        if not match:
            return None
        found[match[1].lower()] = match[2] if match[2] is not None else match[3]
        position = match.end()
    return found


def escape(text):
    """The text as it is written between quotes."""
    return text.replace("\\", "\\\\").replace('"', '\\"')


def hash_of(algorithm):
    """(name of the hash, whether it is a session variant), or None for an algorithm that is not known here."""
    name = (algorithm or "MD5").lower()
    session = name.endswith("-sess")
    base = name[: -len("-sess")] if session else name
    return (HASHES[base], session) if base in HASHES else None


def response_value(algorithm, user, realm, password, nonce, method, uri, qop=None, nc=None, cnonce=None, body=b""):
    """The request digest. Every value is given as it stands on the wire, escaped."""
    name, session = hash_of(algorithm)

    def digest(*parts):
        data = b":".join(part if isinstance(part, bytes) else part.encode() for part in parts)
        return hashlib.new(name, data).hexdigest()

    a1 = digest(user, realm, password)
    if session:
        a1 = digest(a1, nonce, cnonce)
    a2 = digest(method, uri, hashlib.new(name, body).hexdigest()) if qop == "auth-int" else digest(method, uri)
    return digest(a1, nonce, nc, cnonce, qop, a2) if qop else digest(a1, nonce, a2)


def response_for(request, found, password, algorithm=None):
    """The response that these credentials of this request must carry, with the password."""
    return response_value(
        algorithm or found.get("algorithm"), found["username"], found["realm"], password, found["nonce"],
        sip_text.method(request), found["uri"], found.get("qop"), found.get("nc"), found.get("cnonce"),
        sip_text.body(request))


def credentials_of(request):
    """The parameters of the last Digest credentials of a request, or None."""
    values = sip_text.headers(request, "Authorization") + sip_text.headers(request, "Proxy-Authorization")
    return parameters(values[-1]) if values else None


def challenges_of(response):
    """The parameters of every Digest challenge of a response, in order."""
    values = sip_text.headers(response, CHALLENGE_NAMES[sip_text.status(response)])
    return [found for found in map(parameters, values) if found]


def answer(request, response, user, password, uri=None):
    """The request with credentials for the first challenge whose algorithm is known; None when there is none."""
    for offered in challenges_of(response):
        if hash_of(offered.get("algorithm")):
            break
    else:
        return None
    options = [option.strip() for option in offered.get("qop", "").split(",") if option.strip()]
    qop = "auth-int" if "auth-int" in options else "auth" if "auth" in options else None
    found = {"username": escape(user), "realm": offered["realm"], "nonce": offered["nonce"],
             "uri": uri or sip_text.request_uri(request)}
    if qop:
        found.update(qop=qop, nc="00000001", cnonce=base64.b64encode(secrets.token_bytes(16)).decode())
    found["algorithm"] = offered.get("algorithm", "MD5")
    found["response"] = response_for(request, found, password)
    if "opaque" in offered:
        found["opaque"] = offered["opaque"]
    name = CREDENTIAL_NAMES[sip_text.status(response)]
    return sip_text.with_header(request, name, credentials_text(found))


def credentials_text(found):
    """The header value of credentials, in the order that the library writes too."""
    order = ("username", "realm", "nonce", "uri", "response", "algorithm", "cnonce", "opaque", "qop", "nc")
    bare = ("algorithm", "qop", "nc")
    return "Digest " + ", ".join(
        f"{name}={found[name]}" if name in bare else f'{name}="{found[name]}"' for name in order if name in found)


def mismatch(request, response, password):
    """None when the credentials of the request answer the challenge; otherwise what is wrong, in words."""
    found = credentials_of(request)
    if found is None:
        return "no Digest credentials"
    for offered in challenges_of(response):
        if offered["nonce"] == found.get("nonce"):
            break
    else:
        return "nonce differs"
    if offered["realm"] != found.get("realm"):
        return "realm differs"
    if offered.get("opaque") != found.get("opaque"):
        return "opaque differs"
    if offered.get("algorithm", "MD5").lower() != found.get("algorithm", "MD5").lower():
        return "algorithm differs"
    offered_qops = [option.strip() for option in offered.get("qop", "").split(",") if option.strip()]
    if found.get("qop") not in (offered_qops or [None]):
        return "qop differs"
    if found.get("response") == response_for(request, found, password):
        return None
    for algorithm in HASHES:
        if found.get("response") == response_for(request, found, password, algorithm):
            return f"response computed with algorithm {algorithm.upper()}"
    return "wrong password"


def challenge_text(realm, qop, algorithm="MD5"):
    """The value of a fresh challenge."""
    def fresh():
        return base64.b64encode(secrets.token_bytes(32)).decode()
    text = f'Digest realm="{escape(realm)}", nonce="{fresh()}", opaque="{fresh()}", algorithm={algorithm}'
    return text + (f', qop="{qop}"' if qop else "")


def _password(arguments):
    if arguments.password_env:
        return os.environ[arguments.password_env]
    with open(arguments.password_file, encoding="utf-8") as file:
        return file.readline().rstrip("\n")


def _command_answer(arguments):
    signed = answer(_read(arguments.request), _read(arguments.response), arguments.user, _password(arguments))
    if signed is None:
        print("no challenge of a known algorithm", file=sys.stderr)
        return 1
    sys.stdout.buffer.write(signed)
    return 0


def _command_check(arguments):
    wrong = mismatch(_read(arguments.request), _read(arguments.challenge), _password(arguments))
    print(f"likely cause: {wrong}" if wrong else "accepted")
    return 1 if wrong else 0


def _command_challenge(arguments):
    import tomllib
    with open(arguments.options, "rb") as file:
        options = tomllib.load(file)
    tokens = {"SIPAUTH_DIGEST_QOP_NONE": None, "SIPAUTH_DIGEST_QOP_AUTH": "auth",
              "SIPAUTH_DIGEST_QOP_AUTH_INT": "auth-int"}
    name = CHALLENGE_NAMES[407 if arguments.proxy else 401]
    algorithms = [key.removeprefix("SIPAUTH_DIGEST_ALGORITHM_").replace("_SESS", "-sess")
                  for key, wanted in options["digestAlgorithms"].items() if wanted]
    for algorithm in algorithms:
        for key, wanted in options["digestQops"].items():
            if wanted:
                print(f"{name}: {challenge_text(options['serverRealm'], tokens[key], algorithm)}")
    return 0


def _read(path):
    with open(path, "rb") as file:
        return file.read()


def main():
    parser = argparse.ArgumentParser(description="Digest authentication, computed apart from the library")
    commands = parser.add_subparsers(required=True)
    for name, run, other in (("answer", _command_answer, "response"), ("check", _command_check, "challenge")):
        command = commands.add_parser(name)
        command.set_defaults(run=run)
        command.add_argument("--request", required=True)
        command.add_argument(f"--{other}", required=True)
        command.add_argument("--user", required=True)
        command.add_argument("--options", help="taken for the sake of the same command line, not used")
        source = command.add_mutually_exclusive_group(required=True)
        source.add_argument("--password-env")
        source.add_argument("--password-file")
    command = commands.add_parser("challenge")
    command.set_defaults(run=_command_challenge)
    command.add_argument("--options", required=True)
    command.add_argument("--proxy", action="store_true")
    arguments = parser.parse_args()
    return arguments.run(arguments)


if __name__ == "__main__":
    sys.exit(main())
