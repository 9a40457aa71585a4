"""As much of SIP messages (RFC 3261) as the tests need: made and read as bytes, so that nothing is changed unseen."""

import secrets

USER_AGENT = "sipauth-interop"
SDP = (b"v=0\r\no=alice 1 1 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
       b"m=audio 40000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n")


class Dialogue:
    """What the requests of one exchange have in common: who, from which port, Call-ID and the From tag."""

    def __init__(self, user, domain, port):
        self.user, self.domain, self.port = user, domain, port
        self.call_id = f"{secrets.token_hex(8)}@127.0.0.1"
        self.tag = secrets.token_hex(4)

    def request(self, method, number):
        """A request with this CSeq number and a branch of its own."""
        uri = f"sip:{self.domain}" if method == "REGISTER" else f"sip:bob@{self.domain}"
        to = f"sip:{self.user}@{self.domain}" if method == "REGISTER" else uri
        content = SDP if method == "INVITE" else b""
        lines = [
            f"{method} {uri} SIP/2.0",
            f"Via: SIP/2.0/UDP 127.0.0.1:{self.port};branch=z9hG4bK{secrets.token_hex(8)};rport",
            "Max-Forwards: 70",
            f"From: <sip:{self.user}@{self.domain}>;tag={self.tag}",
            f"To: <{to}>",
            f"Call-ID: {self.call_id}",
            f"CSeq: {number} {method}",
            f"Contact: <sip:{self.user}@127.0.0.1:{self.port}>",
            f"User-Agent: {USER_AGENT}",
        ]
        if method == "REGISTER":
            lines.append("Expires: 60")
        if content:
            lines.append("Content-Type: application/sdp")
        lines.append(f"Content-Length: {len(content)}")
        return "\r\n".join(lines).encode() + b"\r\n\r\n" + content


def acknowledgement(request, response):
    """The ACK for a final response to an INVITE, of 300 and above."""
    lines = [f"ACK {request_uri(request)} SIP/2.0", f"Via: {headers(request, 'Via')[0]}", "Max-Forwards: 70",
             f"From: {headers(request, 'From')[0]}", f"To: {headers(response, 'To')[0]}",
             f"Call-ID: {headers(request, 'Call-ID')[0]}", f"CSeq: {cseq_number(request)} ACK", "Content-Length: 0"]
    return "\r\n".join(lines).encode() + b"\r\n\r\n"


def reply(request, code, reason, extra=()):
    """A response of our own to a request, with further header lines."""
    to = headers(request, "To")[0]
    lines = [f"SIP/2.0 {code} {reason}"]
    lines += [f"Via: {value}" for value in headers(request, "Via")]
    lines += [f"From: {headers(request, 'From')[0]}", f"To: {to};tag={secrets.token_hex(4)}",
              f"Call-ID: {headers(request, 'Call-ID')[0]}", f"CSeq: {headers(request, 'CSeq')[0]}"]
    lines += [*extra, "Server: sipauth-interop", "Content-Length: 0"]
    return "\r\n".join(lines).encode() + b"\r\n\r\n"


def head(message):
    """The lines of start line and headers."""
    return message.partition(b"\r\n\r\n")[0].decode().split("\r\n")


def body(message):
    """The body, as many bytes as stand after the headers."""
    return message.partition(b"\r\n\r\n")[2]


def method(request):
    return head(request)[0].split(" ")[0]


def request_uri(request):
    return head(request)[0].split(" ")[1]


def status(response):
    return int(head(response)[0].split(" ")[1])


def cseq_number(message):
    return int(headers(message, "CSeq")[0].split()[0])


def headers(message, name):
    """The values of every header line of this name."""
    lines = (line.partition(":") for line in head(message)[1:])
    return [value.strip() for found, _, value in lines if found.strip().lower() == name.lower()]


def with_header(message, name, value):
    """The message with one more header line, at the end of its headers."""
    top, _, content = message.partition(b"\r\n\r\n")
    return top + f"\r\n{name}: {value}\r\n\r\n".encode() + content


def without_headers(message, *names):
    """The message without the header lines of these names."""
    lowered = [name.lower() for name in names]
    lines = [line for line in head(message) if line.partition(":")[0].strip().lower() not in lowered]
    return "\r\n".join(lines).encode() + b"\r\n\r\n" + body(message)


def start_line(message):
    return head(message)[0]
