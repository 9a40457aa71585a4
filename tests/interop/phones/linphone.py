"""linphone, driven through its daemon's commands."""

import subprocess

from . import client

CONFIG = """\
[sip]
sip_port={udp}
sip_tcp_port={tcp}
sip_tls_port={tls}
guess_hostname=0
contact=sip:{user}@127.0.0.1
default_proxy=-1
root_ca={authorities}
verify_server_certs={verify}
verify_server_cn={verify}
register_only_when_network_is_up=0
[net]
mtu=1300
[sound]
playback_gain_db=0
[video]
enabled=0
[rtp]
audio_rtp_port=-1
"""


class Linphone(client.Client):
    """linphone-daemon with one identity."""

    def __init__(self, user, transport="udp", authorities="", answer=False):
        super().__init__()
        self.user = user
        ports = {"udp": 0, "tcp": 0, "tls": 0, transport: -1}
        config = self.write("linphonerc", CONFIG.format(user=user, authorities=authorities, verify=int(bool(authorities)),
                                                        **ports))
        self.write(".local/share/linphone/x", "")
        self.write(".config/linphone/x", "")
        command = [client.find("linphone-daemon"), "--config", config, "--log", self.folder + "/log"]
        self.start(command + (["--auto-answer"] if answer else []), stdin=subprocess.PIPE,
                   environment={"HOME": self.folder})
        self.commands = 0

    def tell(self, command):
        """Gives a command and returns when it has answered."""
        self.commands += 1
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()
        self.wait_for(rf"(?s)(?:Status: .*?){{{self.commands}}}")

    def register(self, domain, server, password, transport="udp"):
        self.tell(f"register sip:{self.user}@{domain} sip:{server};transport={transport} {password} {self.user}")

    def wait_for_registration(self, state, seconds=10):
        """Until the identity has that state: "Ok", "Failed", "None"."""
        for _ in range(int(seconds * 5)):
            self.tell("register-status 1")
            last = self.said().rsplit("State: LinphoneRegistration", 1)
            if len(last) == 2 and last[1].startswith(state):
                return
            self.wait(0.2)
        raise client.ClientError(f"linphone is not {state}:\n{self.said()[-800:]}")

    def wait(self, seconds):
        try:
            self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            return
        raise client.ClientError(f"linphone ended with {self.process.returncode}")

    def log(self):
        with open(self.folder + "/log", encoding="utf-8", errors="replace") as file:
            return file.read()
