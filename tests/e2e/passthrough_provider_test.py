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
    ROWS = {
        "all_of_them": (PROVIDERS, PROVIDERS[0]),
        "none_of_them": ([], ""),
        "prototype_alone": (PROVIDERS[:1], PROVIDERS[0]),
        "enhanced_rsa_and_aes_alone": (PROVIDERS[1:2], PROVIDERS[1]),
        "enhanced_alone": (PROVIDERS[2:3], PROVIDERS[2]),
        "strong_alone": (PROVIDERS[3:4], PROVIDERS[3]),
        "base_alone": (PROVIDERS[4:], PROVIDERS[4]),
        "the_last_two": (PROVIDERS[3:], PROVIDERS[3]),
    }

    def row(self, providers, expected):
        description = machine_with(providers)
        machine = self.enter(description)
        for _ in range(2):  # a second commit writes the same again
            self.assertEqual(machine.run("/Commit").exit_code, 0)
            self.assertEqual(registry.values(machine.prefix, CAPI_KEY), {"PassthroughCSP": expected})
        predicted = [change["after"] for change in report_of(description, "--", "/Commit")["changes"]
                     if change["item"] == f"{CAPI_KEY} [PassthroughCSP]"]
        self.assertEqual(predicted, [expected])
