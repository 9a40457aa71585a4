"""The users of a directory, administrated with the tool."""

import os
import pty
import select
import sqlite3
import stat
import subprocess
import time

import tool_case
from tool_case import SECONDS, ToolCase


class UserCase(ToolCase):
    def setUp(self):
        super().setUp()
        self.database = self.folder / "users.db"
        self.config = self.file("sipauth.toml", self.declared("users", driver="sqlite", path=self.database))

    def declared(self, name, **config):
        """An object of a configuration file."""
        lines = [f"{key} = {value!r}" if isinstance(value, int) else f'{key} = "{value}"'
                 for key, value in config.items()]
        return "\n".join([f"[object.{name}]", 'sort = "USR_DIRECTORY"', f"[object.{name}.config]", *lines, ""])

    def user(self, status, command, *arguments, config=None, **more):
        return self.expect(status, "user", command, *arguments, "--config", config or self.config, **more)

    def listed(self, **more):
        return self.user(0, "list", **more).out.splitlines()


class Changes(UserCase):
    def test_add_a_user_that_is_listed_then(self):
        self.assertEqual(self.user(0, "add", "alice", password="secret").out, "users: alice added\n")
        self.assertEqual(self.listed(), ["alice"])
        self.assertEqual(stat.S_IMODE(os.stat(self.database).st_mode), 0o600)

    def test_tell_realms_and_ids(self):
        self.user(0, "add", "alice", password="secret")
        self.user(0, "add", "alice", "--realm", "a.example", "--id", "7", password="secret")
        self.user(0, "add", "bob", "--realm", "b.example", password="secret")
        self.user(0, "disable", "7")
        self.assertEqual(self.listed(), ["alice", "7  alice  realm a.example  disabled", "bob  bob  realm b.example"])
        users = self.user(0, "list", "--json").json()["users"]
        self.assertEqual(users[1], {"userId": "7", "userName": "alice", "realm": "a.example", "enabled": False})
        self.assertIsNone(users[0]["realm"])

    def test_disable_enable_and_delete(self):
        self.user(0, "add", "alice", password="secret")
        self.assertEqual(self.user(0, "disable", "alice").out, "users: alice disabled\n")
        self.assertEqual(self.listed(), ["alice  disabled"])
        self.assertEqual(self.user(0, "enable", "alice").out, "users: alice enabled\n")
        self.assertEqual(self.listed(), ["alice"])
        self.assertEqual(self.user(0, "delete", "alice").out, "users: alice deleted\n")
        self.assertEqual(self.listed(), [])

    def test_seal_the_password_anew(self):
        self.user(0, "add", "alice", password="secret")
        before = self.sealed("alice")
        self.assertEqual(self.user(0, "password", "alice", password="other").out, "users: alice has another password\n")
        self.assertNotEqual(self.sealed("alice"), before)
        for content in (self.database.read_bytes(), before):
            self.assertNotIn(b"secret", content)

    def sealed(self, user):
        with sqlite3.connect(self.database) as database:
            return database.execute("SELECT password FROM users WHERE id = ?", (user,)).fetchone()[0]

    def test_are_refused_for_whom_there_is_or_is_not(self):
        self.user(0, "add", "alice", password="secret")
        done = self.user(1, "add", "alice", password="secret")
        self.assertEqual(done.out, "")
        self.assertEqual(done.err, "users: alice: there is a user with this id, or with this name and realm\n")
        self.assertEqual(self.user(1, "add", "alice", "--id", "7", "--json", password="secret").json(),
                         {"directory": "users", "userId": "7", "result": "exists",
                          "reason": "there is a user with this id, or with this name and realm"})
        for command, password in (("password", "x"), ("disable", None), ("enable", None), ("delete", None)):
            done = self.user(1, command, "bob", "--json", password=password)
            self.assertEqual(done.json()["result"], "not found")
            self.assertEqual(done.err, "users: bob: there is no such user\n")

    def test_fail_with_the_reason(self):
        done = self.user(1, "add", "alice", "--json", password="")
        self.assertEqual(done.json()["result"], "failed")
        self.assertEqual(done.err, "users: alice: password: is empty\n")
        self.user(0, "add", "alice", password="secret")
        os.rename(f"{self.database}.key", self.folder / "away")
        self.assertIn("is missing, but there are passwords", self.user(1, "password", "alice", password="x").err)


class Directories(UserCase):
    def test_are_chosen_by_name(self):
        config = self.file("two.toml", self.declared("one", driver="sqlite", path=self.folder / "one.db") +
                           self.declared("two", driver="sqlite", path=self.folder / "two.db"))
        done = self.user(2, "list", config=config)
        self.assertIn("declares several user directories: choose one with --directory: one, two", done.err)
        self.assertIn('declares no user directory "three", but: one, two',
                      self.user(2, "list", "--directory", "three", config=config).err)
        self.user(0, "add", "alice", "--directory", "two", config=config, password="secret")
        self.assertEqual(self.user(0, "list", "--directory", "two", config=config).out, "alice\n")
        self.assertEqual(self.user(0, "list", "--directory", "one", config=config).out, "")

    def test_must_be_there_and_right(self):
        self.assertIn("declares no user directory", self.user(2, "list", config=self.file("empty.toml", "")).err)
        self.assertIn("none.toml", self.user(2, "list", config=self.folder / "none.toml").err)
        bad = self.file("bad.toml", "[object")
        self.assertIn(f"{bad}:1", self.user(2, "list", config=bad).err)
        config = self.file("wrong.toml", self.declared("users", driver="sqlite"))
        self.assertIn("users: path: is missing", self.user(2, "list", config=config).err)
        config = self.file("wrong.toml", self.declared("users", driver="postgres", connection="dbname=x"))
        self.assertIn("users: keyFile: is missing", self.user(2, "list", config=config).err)

    def test_that_cannot_be_reached_fail(self):
        config = self.file("gone.toml", self.declared("users", driver="postgres", keyFile=self.folder / "keys",
                                                      connection=f"host={self.folder} dbname=x password=hunter2"))
        done = self.user(1, "list", "--json", config=config)
        self.assertIn("users: PostgreSQL: ", done.err)
        self.assertNotIn("hunter2", done.out + done.err)
        self.assertEqual(done.json()["result"], "failed")

    def test_in_memory_are_kept_in_the_file(self):
        config = self.file("memory.toml", '# The users.\n[object.users]\nsort = "USR_DIRECTORY"\n')
        self.user(0, "add", "alice", config=config, password="secret")
        self.assertEqual(self.user(0, "list", config=config).out, "alice\n")
        with open(config, encoding="utf-8") as file:
            content = file.read()
        self.assertIn("alice", content)
        self.assertNotIn("secret", content)
        self.user(0, "disable", "alice", config=config)
        self.assertEqual(self.user(0, "list", config=config).out, "alice  disabled\n")
        before = os.stat(config).st_mtime_ns
        self.user(1, "delete", "bob", config=config)
        self.assertEqual(os.stat(config).st_mtime_ns, before, "what did not change is not written")


class Usage(UserCase):
    def test_needs_a_command_a_user_and_a_file(self):
        self.expect(2, "user")
        self.expect(2, "user", "list")
        self.expect(2, "user", "add", "--config", self.config)
        self.expect(2, "user", "add", "alice", "--config", self.config, "--password", "secret")
        self.assertFalse(self.database.exists())

    def test_tells_that_there_is_no_terminal(self):
        self.assertIn("no terminal", self.user(2, "add", "alice", stdin=b"secret\n").err)

    def test_takes_the_password_from_standard_input_as_a_file(self):
        self.user(0, "add", "alice", "--password-file", "-", stdin=b"secret\n")
        self.assertEqual(self.listed(), ["alice"])


class Prompt(UserCase):
    def answer(self, *answers):
        """Adds alice on a terminal; what it showed, and the status."""
        ours, its = pty.openpty()
        self.addCleanup(os.close, ours)
        command = [self.tool, "user", "add", "alice", "--config", self.config]
        with subprocess.Popen(command, stdin=its, stderr=its, stdout=subprocess.DEVNULL) as process:
            os.close(its)
            shown = b""
            for question, answer in zip((b"New password of alice: ", b"Again: "), answers):
                shown += self.read_until(ours, question)
                os.write(ours, answer)
            status = process.wait(SECONDS)
        while select.select([ours], [], [], 0)[0]:
            try:
                shown += os.read(ours, 4096)
            except OSError:
                break
        return shown, status

    def read_until(self, terminal, text):
        shown = b""
        end = time.monotonic() + SECONDS
        while text not in shown:
            ready, _, _ = select.select([terminal], [], [], max(0, end - time.monotonic()))
            self.assertTrue(ready, f"{text} did not come, but {shown}")
            shown += os.read(terminal, 4096)
        return shown

    def test_asks_twice_for_a_new_password(self):
        shown, status = self.answer(b"secret\n", b"secret\n")
        self.assertEqual(status, 0, shown)
        self.assertNotIn(b"secret", shown)
        self.assertEqual(self.listed(), ["alice"])

    def test_refuses_two_passwords_that_differ(self):
        shown, status = self.answer(b"secret\n", b"secrte\n")
        self.assertEqual(status, 2)
        self.assertIn(b"the two passwords differ", shown)
        self.assertEqual(self.listed(), [])


if __name__ == "__main__":
    tool_case.main()
