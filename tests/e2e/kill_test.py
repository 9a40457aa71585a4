#!/usr/bin/env python3
"""Kills sipauthd with SIGKILL in the middle of a load of registrations, again and again. What it had acknowledged must
be there after the restart: every binding and every user; and it must answer again within a second.
"""

import argparse
import itertools
import random
import sys
import threading
import time

sys.dont_write_bytecode = True

from daemon import Daemon  # noqa: E402
from register import Client, Registration  # noqa: E402

OPEN_AT_ONCE = 50


class Ledger:
    """What was acknowledged: the contacts of each user, and the users that were added."""

    def __init__(self, users):
        self.users = dict(users)
        self.contacts = {}
        self.refused = []

    def note(self, registration):
        if registration.status == 200:
            self.contacts.setdefault(registration.user, set()).add(registration.contact)
        elif registration.status:
            self.refused.append((registration.user, registration.status))


def load(daemon, ledger, seconds, number):
    """Registers users until the time is up, then kills the daemon while more are on their way."""
    client = Client(daemon.port, done=ledger.note)
    names = list(ledger.users)
    asked = set()
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        while len(client.open) < OPEN_AT_ONCE:
            name = random.choice(names)
            number += 1
            asked.add(name)
            client.start(Registration(name, ledger.users[name], f"sip:{name}@127.0.0.1:{1024 + number % 60000}"))
        client.run(0.002)
    daemon.kill()
    # Answers that were on their way when it died count as acknowledged.
    client.run(0.05)
    client.close()
    return number, len(asked)


def add_users(daemon, numbers, added, stop):
    """Adds users with the tool until told to stop; those that were reported as added count."""
    while not stop.is_set():
        name = f"late{next(numbers)}"
        daemon.add_user(name, "secret " + name)
        added[name] = "secret " + name


def compare(daemon, ledger):
    """Asks for the bindings of each user. What is missing."""
    lost = []
    client = Client(daemon.port)
    for name, password in ledger.users.items():
        answer = client.register(name, password, None)
        missing = ledger.contacts.get(name, set()) - answer.contacts()
        if answer.status != 200:
            lost.append(f"{name}: cannot log in any more, status {answer.status}")
        elif missing:
            lost.append(f"{name}: {missing} were acknowledged, there are {answer.contacts()}")
    client.close()
    return lost


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--tool", required=True)
    parser.add_argument("--rounds", type=int, default=20)
    parser.add_argument("--users", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    random.seed(options.seed)
    users = {f"user{i}": f"secret {i}" for i in range(options.users)}
    ledger = Ledger(users)
    number, acknowledged = 0, 0
    numbers = itertools.count()
    # One phone after the other registers from one address here: that is what the limits are for, elsewhere.
    with Daemon(options.daemon, options.tool, users, limits="networkChallengesPerSecond = 0") as daemon:
        for round_number in range(1, options.rounds + 1):
            added, stop = {}, threading.Event()
            adder = threading.Thread(target=add_users, args=(daemon, numbers, added, stop))
            adder.start()
            before = number
            number, asked = load(daemon, ledger, random.uniform(0.3, 1.0), number)
            stop.set()
            adder.join()
            started = time.monotonic()
            daemon.start()
            seconds = time.monotonic() - started
            ledger.users.update(added)
            lost = compare(daemon, ledger)
            acknowledged = sum(len(contacts) for contacts in ledger.contacts.values())
            print(f"round {round_number}: {number - before} registrations of {asked} users begun, {len(added)} users "
                  f"added, answering after {seconds:.2f} s, {len(lost)} lost", flush=True)
            if lost or seconds > 1 or ledger.refused:
                print("\n".join(lost), ledger.refused[:5], daemon.said(), sep="\n")
                return 1
    print(f"{options.rounds} rounds, {number} registrations begun, {acknowledged} acknowledged, nothing lost")
    return 0


if __name__ == "__main__":
    sys.exit(main())
