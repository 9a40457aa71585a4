"""sipsak, a command line tool."""

from . import client


class Sipsak(client.Client):
    """One registration."""

    def register(self, user, password, server, contact, transport="udp"):
        self.start([client.find("sipsak"), "-U", "-s", f"sip:{user}@{server}", "-C", contact, "-u", user, "-a", password,
                    "-H", client.HOST, "-x", "600", "-E", transport, "-vv"])
        return self.end()
