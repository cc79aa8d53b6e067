"""What the set-up lets whom do: the access lists of the key of blocked commands, the policy directory and the
configuration file, entry by entry."""

import json
import re
import unittest

from program import Machine
from standins import BUILD

KEY = r"SOFTWARE\Microsoft\Tpm\BlockedCommands\List"

USERS, ADMINISTRATORS, LOCAL_SYSTEM, NETWORK_SERVICE = "S-1-5-32-545", "S-1-5-32-544", "S-1-5-18", "S-1-5-20"
GENERIC_READ, GENERIC_ALL = 0x80000000, 0x10000000
ALLOWED = 0  # ACCESS_ALLOWED_ACE_TYPE
OBJECT_INHERIT, CONTAINER_INHERIT, INHERITED = 1, 2, 0x10
LIST, PROTECTED_LIST = 0x4, 0x80000004  # which parts of the security a call sets


def entries(inheritance, rights):
    return [{"type": ALLOWED, "flags": inheritance, "mask": mask, "trustee": trustee} for trustee, mask in rights]


KEY_ENTRIES = entries(CONTAINER_INHERIT,
                      [(USERS, GENERIC_READ), (ADMINISTRATORS, GENERIC_ALL), (LOCAL_SYSTEM, GENERIC_ALL)])
DIRECTORY_ENTRIES = entries(OBJECT_INHERIT | CONTAINER_INHERIT,
                            [(USERS, GENERIC_READ), (ADMINISTRATORS, GENERIC_ALL), (LOCAL_SYSTEM, GENERIC_ALL),
                             (NETWORK_SERVICE, GENERIC_ALL)])
FILE_ENTRIES = entries(OBJECT_INHERIT | CONTAINER_INHERIT,
                       [(USERS, GENERIC_ALL), (ADMINISTRATORS, GENERIC_ALL), (LOCAL_SYSTEM, GENERIC_ALL),
                        (NETWORK_SERVICE, GENERIC_ALL)])

CALL = re.compile(r"set_security_object\( .*security_info=([0-9a-f]{8}), .*dacl=\{(.*)\}\} \)")
ENTRY = re.compile(r"\{type=(\w+),flags=([0-9a-f]+),mask=([0-9a-f]+),sid=([\w-]+)\}")
TYPES = {"ACCESS_ALLOWED": ALLOWED}


class AccessLists(unittest.TestCase):
    """Wine keeps the list of a key, but of the list of a file only what Unix permissions can say. So the lists of files
    are read where they come in: at Wine's server, which stands in for Windows' kernel."""

    def machine(self):
        description = {"registry": {"HKLM\\" + KEY: {"values": {"20": ""}}}}
        machine = self.enterContext(Machine(description))
        self.assertEqual(machine.missing, [])
        return machine

    def test_key(self):
        machine = self.machine()
        machine.run("/Setup")
        status, output = machine.prefix.wine(BUILD / "access_list.exe", "key", "MACHINE\\" + KEY)
        self.assertEqual(status, 0)
        self.assertEqual(json.loads(output), {"protected": False, "entries": KEY_ENTRIES})

    def test_what_is_set(self):
        machine = self.machine()
        with machine.prefix.traced() as calls:
            machine.run("/Setup")
        self.assertEqual([(int(info, 16), explicit_entries(found)) for info, found in CALL.findall(calls())],
                         [(LIST, KEY_ENTRIES), (PROTECTED_LIST, DIRECTORY_ENTRIES), (PROTECTED_LIST, FILE_ENTRIES)])


def explicit_entries(found):
    """The entries of a list in a trace, without those that Wine adds for what the parent folder hands down."""
    every = [{"type": TYPES[kind], "flags": int(flags, 16), "mask": int(mask, 16), "trustee": sid}
             for kind, flags, mask, sid in ENTRY.findall(found)]
    return [entry for entry in every if not entry["flags"] & INHERITED]


if __name__ == "__main__":
    unittest.main()
