"""sipp, running one call of a scenario."""

import os

import peers

from . import client

HERE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class Sipp(client.Client):
    """One call; the scenario is a file of tests/interop, or one that sipp has built in."""

    def run(self, scenario, user, password, server, domain, transport="u1"):
        file = os.path.join(HERE, scenario)
        which = ["-sf", file] if os.path.exists(file) else ["-sn", scenario]
        command = [client.find("sipp"), server, *which, "-m", "1", "-nostdin", "-i", client.HOST, "-p",
                   str(peers.free_port()), "-s", user, "-au", user, "-ap", password, "-auth_uri", domain, "-timeout",
                   "20s", "-timeout_error", "-trace_msg", "-message_file", self.folder + "/messages.log", "-t",
                   transport]
        self.start(command)

    def messages(self):
        """What it sent and received, the end."""
        path = self.folder + "/messages.log"
        if not os.path.exists(path):
            return self.said()[-800:]
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()[-3000:]
