"""`sipauth config`: what a configuration file means, its canonical form, and its migration."""

import os
import pathlib
import stat
import tomllib

import tool_case
from tool_case import ToolCase

CURRENT = """# The registrar.
[modules]
sipauth = "3.1"

[object.users]
sort = "USR_DIRECTORY"
[object.users.config.users.alice]
userName = "alice"
password = "secret-of-alice"

[object.main]
sort = "SIPAUTH_STACK"
[object.main.config]
serverRealm = "example.com"    # as on the phones
serverUsrDirectoryName = "users"
"""

OLD = """# The registrar.
[object.main]
sort = "SIPAUTH_STACK"
[object.main.config]
defaults = "SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ"  # the preset
"""

MIGRATED = """# The registrar.
[object.main]
sort = "SIPAUTH_STACK"
[object.main.config]
defaults = 'SIPAUTH_DEFAULTS_MINIMAL'  # the preset

[modules]
sipauth = '3.1'
"""


def stack(config, name="main"):
    return f'[modules]\nsipauth = "3.1"\n[object.{name}]\nsort = "SIPAUTH_STACK"\n[object.{name}.config]\n{config}'


class Config(ToolCase):
    def config(self, status, what, text, *more):
        return self.expect(status, "config", what, self.file("c.toml", text), *more)


class Shown(Config):
    def test_is_every_object_with_its_defaults(self):
        done = self.config(0, "show", CURRENT)
        shown = tomllib.loads(done.out)
        self.assertEqual(list(shown["object"]), ["users", "main"])
        self.assertEqual(shown["object"]["main"]["config"]["serverRealm"], "example.com")
        self.assertEqual(shown["object"]["main"]["config"]["defaults"], "SIPAUTH_DEFAULTS_STANDARD")
        self.assertIn("\nserverRealm = 'example.com'\n", done.out)
        self.assertRegex(done.out, r"\ndefaults = 'SIPAUTH_DEFAULTS_STANDARD' +# default\n")
        self.assertRegex(done.out, r"\n\[object\.main\.config\.schemes\] +# default\n")
        self.assertEqual(done.err, "")

    def test_is_told_to_programs(self):
        result = self.config(0, "show", CURRENT, "--json").json()
        self.assertEqual(set(result), {"accepted", "configuration", "explicit", "migrated", "findings"})
        self.assertIs(result["accepted"], True)
        self.assertIs(result["migrated"], False)
        self.assertEqual(result["configuration"], tomllib.loads(self.config(0, "show", CURRENT).out))
        self.assertEqual(result["explicit"]["object"]["main"]["config"],
                         {"serverRealm": "example.com", "serverUsrDirectoryName": "users"})

    def test_hides_passwords(self):
        for more in ((), ("--json",)):
            done = self.config(0, "show", CURRENT, *more)
            self.assertIn("(not shown)", done.out)
            for secret in ("secret-of-alice", "c2VjcmV0LW9mLWFsaWNl"):
                self.assertNotIn(secret, done.out + done.err)

    def test_opens_no_database(self):
        path = self.folder / "users.db"
        self.config(0, "show", f"[object.a]\nsort = 'USR_DIRECTORY'\n[object.a.config]\ndriver = 'sqlite'\n"
                               f"path = '{path}'\n")
        self.assertFalse(path.exists())

    def test_says_what_stacks_ignore(self):
        done = self.config(1, "show", stack("serverRechalenge = true\nserverRealm = 'r'\n"))
        self.assertIn("c.toml:6: error: unknown key 'serverRechalenge' (did you mean 'serverRechallenge'?)", done.err)
        self.assertIn("serverRealm = 'r'", done.out)
        result = self.config(1, "show", stack("\nserverChallengeExpiration = -1\n", name='"a.b"'), "--json").json()
        finding, = result["findings"]
        self.assertEqual(finding["line"], 7)

    def test_is_what_the_migration_makes(self):
        path = self.file("c.toml", OLD)
        done = self.expect(0, "config", "show", path)
        self.assertEqual(tomllib.loads(done.out)["object"]["main"]["config"]["defaults"], "SIPAUTH_DEFAULTS_MINIMAL")
        self.assertIn("of an earlier version", done.err)
        self.assertEqual(pathlib.Path(path).read_text(), OLD)
        self.assertIs(self.expect(0, "config", "show", path, "--json").json()["migrated"], True)


class Normalized(Config):
    def test_is_what_differs_from_the_defaults(self):
        text = stack("defaults = 'SIPAUTH_DEFAULTS_STANDARD'\nserverRealm = 'r'\nunknown = 1\n")
        done = self.config(0, "normalize", text)
        self.assertEqual(done.out, "[modules]\nsipauth = '3.1'\n\n[object.main]\nsort = 'SIPAUTH_STACK'\n\n"
                                   "[object.main.config]\nserverRealm = 'r'\n")
        self.assertEqual(self.config(0, "normalize", text, "--json").json(),
                         {"accepted": True, "configuration": tomllib.loads(done.out)})

    def test_reads_back_to_the_same(self):
        for text in ("", CURRENT, OLD, stack("[object.main.config.digestQops]\n")):
            with self.subTest(text):
                once = self.config(0, "normalize", text).out
                self.assertEqual(self.config(0, "normalize", once).out, once)
                self.assertEqual(self.config(0, "show", once).out, self.config(0, "show", text).out)


class Migrated(Config):
    def setUp(self):
        super().setUp()
        self.path = pathlib.Path(self.file("c.toml", OLD))
        self.backup = self.folder / "c.toml.bak"

    def test_is_rewritten_once_and_the_old_one_kept(self):
        os.chmod(self.path, 0o640)
        done = self.expect(0, "config", "migrate", self.path)
        self.assertEqual(done.out,
                         'modules.sipauth: none -> "3.1"\n'
                         'object.main.config.defaults: "SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ" -> "SIPAUTH_DEFAULTS_MINIMAL"\n'
                         f"{self.path}: rewritten, the old one is {self.path}.bak\n")
        self.assertEqual(self.path.read_text(), MIGRATED)
        self.assertEqual(self.backup.read_text(), OLD)
        for file in (self.path, self.backup):
            self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o640)
        self.backup.unlink()
        before = self.path.stat()
        done = self.expect(0, "config", "migrate", self.path)
        self.assertEqual(done.out, f"{self.path}: nothing to do\n")
        self.assertEqual(self.path.stat().st_ino, before.st_ino)
        self.assertEqual(sorted(os.listdir(self.folder)), ["c.toml"])

    def test_is_told_to_programs(self):
        result = self.expect(0, "config", "migrate", self.path, "--json").json()
        self.assertEqual(result, {"accepted": True, "migrated": True, "changes": [
            {"key": "modules.sipauth", "before": None, "after": "3.1"},
            {"key": "object.main.config.defaults", "before": "SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ",
             "after": "SIPAUTH_DEFAULTS_MINIMAL"}]})
        result = self.expect(0, "config", "migrate", self.path, "--json").json()
        self.assertEqual(result, {"accepted": True, "migrated": False, "changes": []})

    def test_leaves_a_newer_file_alone(self):
        text = '[modules]\nsipauth = "4.0"\n' + OLD
        self.path.write_text(text)
        self.assertEqual(self.expect(0, "config", "migrate", self.path).out, f"{self.path}: nothing to do\n")
        self.assertEqual(self.path.read_text(), text)

    def test_is_not_written_when_it_is_refused(self):
        text = OLD + '[object.other]\nsort = "NOTHING"\n'
        self.path.write_text(text)
        done = self.expect(1, "config", "migrate", self.path)
        self.assertEqual(done.err, f"{self.path}:6: object 'other': its sort 'NOTHING' is not known\n")
        self.assertEqual(self.expect(1, "config", "migrate", self.path, "--json").json(), {"accepted": False})
        self.assertEqual(self.path.read_text(), text)
        self.assertFalse(self.backup.exists())

    def test_stays_when_it_cannot_be_written(self):
        self.backup.mkdir()
        done = self.expect(1, "config", "migrate", self.path)
        self.assertIn(f"{self.path}: its copy '{self.backup}' cannot be replaced", done.err)
        self.assertEqual(self.path.read_text(), OLD)


class Refused(Config):
    REFUSALS = (
        (stack("", name="'no name'"), 1, "c.toml:3: 'no name' cannot be the name of an object"),
        ("[object.a]\nsort = 'NOTHING'\n", 1, "c.toml:1: object 'a': its sort 'NOTHING' is not known"),
        ("[object.a]\nsort = 'USR_DIRECTORY'\n[object.a.config]\nlookupTimeout = 0\n", 1,
         "c.toml:4: object 'a': lookupTimeout: 0 is not within 1 and 600000"),
        ("[object.a]\nsort = 'USR_DIRECTORY'\n[object.a.config]\ndriver = 'none'\n", 1,
         "c.toml:4: object 'a': driver: there is no driver \"none\""),
        ("[object.a]\nsort = 'USR_DIRECTORY'\n[object.a.config]\ndriver = 'sqlite'\n", 1,
         "c.toml:1: object 'a': path: "),
        ("[object.a]\nsort = \n", 2, "c.toml:2:8: "),
        ("[object.a]\nserverRealm = 'r'\n", 2, "c.toml:2:1: 'object.a.serverRealm' is not known here"),
        ("[objekt.a]\n", 2, "c.toml:1:2: 'objekt' is not known here"),
    )

    def test_is_told_with_its_place(self):
        for text, status, what in self.REFUSALS:
            for command in ("show", "normalize", "migrate"):
                with self.subTest(text=text, command=command):
                    done = self.config(status, command, text)
                    self.assertIn(what, done.err)
                    self.assertEqual(done.out, "")
                    if status == 1:
                        self.assertEqual(self.config(1, command, text, "--json").json(), {"accepted": False})

    def test_is_what_cannot_be_read(self):
        for command in ("show", "normalize", "migrate"):
            done = self.expect(2, "config", command, self.folder / "missing.toml")
            self.assertIn("missing.toml: cannot be read: No such file or directory", done.err)
            self.expect(2, "config", command)
        self.expect(2, "config")


if __name__ == "__main__":
    tool_case.main()
