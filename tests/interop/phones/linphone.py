"""linphone, driven through its daemon's commands."""

import subprocess
import time

from . import client

CONFIG = """\
[sip]
sip_port={udp}
sip_tcp_port={tcp}
sip_tls_port={tls}
guess_hostname=0
contact=sip:{user}@127.0.0.1
default_proxy=0
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
[proxy_0]
reg_proxy=<sip:{server};transport={transport}>
reg_route=<sip:{server};transport={transport};lr>
reg_identity=sip:{user}@{domain}
reg_expires=600
reg_sendregister=1
[auth_info_0]
username={user}
userid={user}
passwd={password}
realm={domain}
"""


class Linphone(client.Client):
    """linphone-daemon with one account, which registers at once and calls through its server."""

    def __init__(self, user, password, domain, server, transport="udp", authorities=""):
        super().__init__()
        ports = {"udp": 0, "tcp": 0, "tls": 0, transport: -1}
        config = self.write("linphonerc", CONFIG.format(
            user=user, password=password, domain=domain, server=server, transport=transport, authorities=authorities,
            verify=int(bool(authorities)), **ports))
        self.write(".local/share/linphone/x", "")
        self.write(".config/linphone/x", "")
        self.start([client.find("linphone-daemon"), "--config", config, "--log", self.folder + "/log"],
                   stdin=subprocess.PIPE, environment={"HOME": self.folder})
        self.commands = 0

    def tell(self, command):
        """Gives a command and returns when it has answered; the answer."""
        before = len(self.said())
        self.commands += 1
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()
        deadline = time.monotonic() + 10
        while self.said().count("Status: ") < self.commands:
            self.check(deadline, f"no answer to {command}")
            time.sleep(0.02)
        return self.said()[before:]

    def wait_for_registration(self, state, seconds=10):
        """Until the account has that state: "Ok", "Failed", "None"."""
        deadline = time.monotonic() + seconds
        while f"State: LinphoneRegistration{state}" not in self.tell("register-status ALL"):
            self.check(deadline, f"linphone is not {state}")
            time.sleep(0.1)

    def check(self, deadline, text):
        if self.process.poll() is not None:
            raise client.ClientError(f"linphone ended with {self.process.returncode}")
        if time.monotonic() > deadline:
            raise client.ClientError(f"{text}:\n{self.said()[-800:]}")

    def log(self):
        with open(self.folder + "/log", encoding="utf-8", errors="replace") as file:
            return file.read()
