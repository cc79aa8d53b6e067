"""Makes up machine descriptions, one a line: variations of the machines in machines/, the same ones for the same seed.

Usage: generated_machines.py COUNT [--seed N] [--endless PERCENT]   run in the project's folder, which "like" begins at
"""

import argparse
import contextlib
import json
import random
import sys

LIST = "HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List"
TOOLKIT = "HKLM\\SOFTWARE\\Kelo Systems Corp\\Common"
MODELS = ("windows-7-toolkit", "windows-10-toolkit", "windows-7-ntru", "windows-8-denied", "windows-xp-ntru")

# TBS accepts the stop control of a set-up and never stops.
ENDLESS = {"windows": {"version": "6.1"}, "registry": {LIST: {}},
           "services": {"TBS": {"state": "running", "onStop": {"states": []}}}}

VARIATIONS = (
    lambda _: {},
    lambda chance: {"windows": {"version": chance.choice(("6.0", "6.1", "6.2", "6.3", "10.0")),
                                "build": chance.randint(6000, 22000)}},
    lambda chance: {"windows": {"codePage": chance.choice((932, 1250, 1252, 936))}},
    lambda chance: {"services": {"TBS": {"state": chance.choice(("running", "stopped"))}}},
    lambda _: {"registry": {LIST: {"deniedAccess": 2}}},
    lambda _: {"registry": {TOOLKIT: {"deniedAccess": 1}}},
    lambda chance: {"registry": {f"HKLM\\SOFTWARE\\Vendor {number}": {"values": {"Version": chance.randint(1, 99)}}
                                 for number in range(chance.randint(1, 20))}},
    lambda chance: {"processes": [{"name": "program.exe", "count": chance.randint(1, 60)}]},
    lambda _: {"environment": {"PATH": "C:\\Windows\\system32;C:\\Tools"}},
)


def machine(number, chance, endless):
    """The description of the machine with this number."""
    if chance.random() < endless:
        return {"title": f"Machine {number}, whose TBS never stops", **ENDLESS}
    return {"title": f"Machine {number}", "like": f"machines/{chance.choice(MODELS)}.json", **chance.choice(VARIATIONS)(chance)}


def lines(count, seed=1, endless=0.02):
    chance = random.Random(seed)
    for number in range(1, count + 1):
        yield json.dumps(machine(number, chance, endless))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("count", type=int, metavar="COUNT", help="number of machines")
    parser.add_argument("--seed", type=int, default=1, metavar="N", help="another number gives other machines (1)")
    parser.add_argument("--endless", type=float, default=2, metavar="PERCENT", help="machines on which /Setup waits for ever (2)")
    arguments = parser.parse_args()
    with contextlib.suppress(BrokenPipeError):
        for line in lines(arguments.count, arguments.seed, arguments.endless / 100):
            print(line)


if __name__ == "__main__":
    sys.exit(main())
