"""The access lists that a set-up gives the key of blocked commands, the policies' folder and the configuration file,
entry by entry."""

import re

from machines.numbers import (ADMINISTRATORS, CONTAINER_INHERIT, GENERIC_ALL, GENERIC_READ, INHERITED, LOCAL_SYSTEM,
                              NETWORK_SERVICE, OBJECT_INHERIT, USERS)
from product import BLOCKED_COMMANDS_KEY
from runs.prediction import PredictedRuns

LIST, PROTECTED_LIST = 0x4, 0x80000004  # which parts of the security a call sets


def entries(flags, rights):
    return [{"type": "allow", "inheritance": flags, "mask": mask, "trustee": trustee} for trustee, mask in rights]


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
TYPES = {"ACCESS_ALLOWED": "allow"}


class AccessLists(PredictedRuns):
    """Wine keeps the list of a key, but of a file's list only what Unix permissions can say. So the lists of files are
    read where they arrive: at Wine's server, which takes the place of Windows' kernel."""

    DESCRIPTION = {"registry": {BLOCKED_COMMANDS_KEY: {"values": {"20": ""}}}}

    def test_key(self):
        machine = self.enter(self.DESCRIPTION)
        machine.run("/Setup")
        seen = machine.captured()["registry"][BLOCKED_COMMANDS_KEY]
        self.assertEqual((seen.get("protected", False), seen["access"]), (False, KEY_ENTRIES))

    def test_what_is_set(self):
        machine = self.enter(self.DESCRIPTION)
        with machine.prefix.traced() as calls:
            machine.run("/Setup")
        self.assertEqual([(int(info, 16), explicit_entries(found)) for info, found in CALL.findall(calls())],
                         [(LIST, KEY_ENTRIES), (PROTECTED_LIST, DIRECTORY_ENTRIES), (PROTECTED_LIST, FILE_ENTRIES)])


def explicit_entries(found):
    """The entries of a list in a trace, without the inherited ones that Wine adds."""
    every = [{"type": TYPES[kind], "inheritance": int(flags, 16), "mask": int(mask, 16), "trustee": sid}
             for kind, flags, mask, sid in ENTRY.findall(found)]
    return [entry for entry in every if not entry["inheritance"] & INHERITED]
