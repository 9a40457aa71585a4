"""sipp, running one call of a scenario."""

import os

from . import client

HERE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class Sipp(client.Client):
    """One call; the scenario is a file of tests/interop, or one that sipp has built in."""

    def run(self, scenario, user, password, server, domain, transport="u1", port=0, calls=1):
        file = os.path.join(HERE, scenario)
        which = ["-sf", file] if os.path.exists(file) else ["-sn", scenario]
        command = [client.find("sipp"), server, *which, "-m", str(calls), "-nostdin", "-i", client.HOST, "-s", user,
                   "-au", user, "-ap", password, "-auth_uri", domain, "-timeout", "20s", "-timeout_error", "-trace_msg", "-message_file", self.folder + "/messages.log", "-t",
                   transport]
        self.start(command + (["-p", str(port)] if port else []))
