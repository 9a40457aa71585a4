"""baresip, a modular user agent."""

from . import client

CONFIG = """\
poll_method epoll
sip_listen {host}:0
sip_cafile {authorities}
module_path /usr/lib/baresip/modules
module g711.so
module aufile.so
module_tmp account.so
module_app menu.so
module_app cons.so
cons_listen 127.0.0.1:0
audio_source aufile,{folder}/silence.wav
audio_player aufile,{folder}/out.wav
"""
# One second of silence: a header of a WAV file with 8000 samples of 16 bits.
SILENCE = (b"RIFF" + (36 + 16000).to_bytes(4, "little") + b"WAVEfmt " + (16).to_bytes(4, "little") +
           b"\x01\x00\x01\x00" + (8000).to_bytes(4, "little") + (16000).to_bytes(4, "little") + b"\x02\x00\x10\x00" +
           b"data" + (16000).to_bytes(4, "little") + bytes(16000))


class Baresip(client.Client):
    """One account, registered for as long as it runs; ANSWER says what it does with a call."""

    def __init__(self, user, password, domain, server, transport="udp", authorities="", answer="manual"):
        super().__init__()
        self.write("config", CONFIG.format(host=client.HOST, folder=self.folder, authorities=authorities))
        self.write("contacts", "")
        self.write("accounts", f"<sip:{user}@{domain};transport={transport}>;auth_user={user};auth_pass={password};"
                               f"regint=600;outbound=\"sip:{server};transport={transport}\";answermode={answer}\n")
        with open(self.folder + "/silence.wav", "wb") as file:
            file.write(SILENCE)

    def run(self, *commands):
        """Runs until it is stopped, with commands given at the start."""
        arguments = [client.find("baresip"), "-f", self.folder]
        for command in commands:
            arguments += ["-e", command]
        self.start(arguments)
