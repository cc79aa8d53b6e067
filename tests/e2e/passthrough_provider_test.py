"""A commit records the best Microsoft provider that is registered."""

import re
import unittest

from program import Machine, rehearsal

PROVIDERS_KEY = r"SOFTWARE\Microsoft\Cryptography\Defaults\Provider"
CAPI_KEY = r"SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI"
PROVIDERS = [
    "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)",
    "Microsoft Enhanced RSA and AES Cryptographic Provider",
    "Microsoft Enhanced Cryptographic Provider v1.0",
    "Microsoft Strong Cryptographic Provider",
    "Microsoft Base Cryptographic Provider v1.0",
]


def machine_with(providers):
    """A machine with these providers alone: Wine has most of them by itself."""
    keys = {f"HKLM\\{PROVIDERS_KEY}\\{provider}": ({} if provider in providers else None) for provider in PROVIDERS}
    return {"registry": keys}


class PassthroughProvider(unittest.TestCase):
    def check(self, providers, expected):
        description = machine_with(providers)
        report = rehearsal(description, "--", "/Commit")
        with Machine(description) as machine:
            self.assertEqual(machine.missing, [])
            for _ in range(2):  # a second commit writes the same again
                self.assertEqual(machine.run("/Commit").exit_code, 0)
                exported = machine.prefix.export_registry(f"HKEY_LOCAL_MACHINE\\{CAPI_KEY}")
                self.assertEqual(re.findall(r'^"PassthroughCSP"="(.*)"$', exported, re.MULTILINE), [expected])
        predicted = [change["after"] for change in report["changes"] if change["item"].endswith("[PassthroughCSP]")]
        self.assertEqual(predicted, [expected])

    def test_all_of_them(self):
        self.check(PROVIDERS, PROVIDERS[0])

    def test_none_of_them(self):
        self.check([], "")

    def test_prototype_alone(self):
        self.check(PROVIDERS[:1], PROVIDERS[0])

    def test_enhanced_rsa_and_aes_alone(self):
        self.check(PROVIDERS[1:2], PROVIDERS[1])

    def test_enhanced_alone(self):
        self.check(PROVIDERS[2:3], PROVIDERS[2])

    def test_strong_alone(self):
        self.check(PROVIDERS[3:4], PROVIDERS[3])

    def test_base_alone(self):
        self.check(PROVIDERS[4:], PROVIDERS[4])

    def test_the_last_two(self):
        self.check(PROVIDERS[3:], PROVIDERS[3])
