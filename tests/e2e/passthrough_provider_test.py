"""A commit records the best registered provider of Microsoft's."""

from product import CAPI_KEY, PROVIDERS_KEY
from reading import registry
from runs.prediction import PredictedRuns
from runs.rehearsal import report_of

PROVIDERS = [
    "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)",
    "Microsoft Enhanced RSA and AES Cryptographic Provider",
    "Microsoft Enhanced Cryptographic Provider v1.0",
    "Microsoft Strong Cryptographic Provider",
    "Microsoft Base Cryptographic Provider v1.0",
]


def machine_with(providers):
    """A machine with these providers only; Wine has most of them by itself."""
    return {"registry": {rf"{PROVIDERS_KEY}\{provider}": ({} if provider in providers else None)
                         for provider in PROVIDERS}}


class PassthroughProvider(PredictedRuns):
    def check_choice(self, providers, expected):
        description = machine_with(providers)
        machine = self.enter(description)
        for _ in range(2):  # a second commit writes the same again
            self.assertEqual(machine.run("/Commit").exit_code, 0)
            self.assertEqual(registry.values(machine.prefix, CAPI_KEY), {"PassthroughCSP": expected})
        predicted = [change["after"] for change in report_of(description, "--", "/Commit")["changes"]
                     if change["item"] == f"{CAPI_KEY} [PassthroughCSP]"]
        self.assertEqual(predicted, [expected])

    def test_all_of_them(self):
        self.check_choice(PROVIDERS, PROVIDERS[0])

    def test_none_of_them(self):
        self.check_choice([], "")

    def test_prototype_alone(self):
        self.check_choice(PROVIDERS[:1], PROVIDERS[0])

    def test_enhanced_rsa_and_aes_alone(self):
        self.check_choice(PROVIDERS[1:2], PROVIDERS[1])

    def test_enhanced_alone(self):
        self.check_choice(PROVIDERS[2:3], PROVIDERS[2])

    def test_strong_alone(self):
        self.check_choice(PROVIDERS[3:4], PROVIDERS[3])

    def test_base_alone(self):
        self.check_choice(PROVIDERS[4:], PROVIDERS[4])

    def test_the_last_two(self):
        self.check_choice(PROVIDERS[3:], PROVIDERS[3])
