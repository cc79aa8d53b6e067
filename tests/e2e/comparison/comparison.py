"""Compares a prefix with the simulated machine that it was set up to be like, run after run."""

from comparison.items import Snapshot, of_simulated, states_of
from comparison.scope import WINES_OWN_SERVICES
from machines.descriptions import complete, settled
from machines.numbers import INHERITED
from machines.registry_values import described_value

MOST_CHARACTERS = 400  # of a value that is shown


class Comparison:
    def __init__(self, machine, described, captured=None):
        self.machine = machine
        self.program = ("file", machine.program.lower())  # its content is not described
        self.plain = of_simulated(complete({}))
        # Only once, because a completed description no longer says what a plain machine has and this one has not.
        whole = complete(settled(described))
        self.predicted = of_simulated(whole)
        self.seen = Snapshot(machine, states_of(self.predicted), captured)
        # Other processes come and go in a prefix.
        self.known_processes = {name for name in self.predicted.keys() - self.plain.keys() if name[0] == "process"}
        # Of the content of libraries and programs, and of files in use, only one thing is known: where it was at first.
        self.known_contents = {}
        in_use = {path.lower() for path, file in whole["files"].items() if file.get("inUse")}
        for name, content in self.predicted.items():
            is_image = isinstance(content, str) or name[1] in in_use
            if name[0] == "file" and is_image and name[1] in self.seen.places:
                self.known_contents.setdefault(content, set()).add(self.seen.content(name[1]))

    def differences(self):
        """Where the prefix is not as described at the beginning: a line each."""
        return self._compare(self._said(), self.seen)

    def differences_after(self, described):
        """Where the prefix is not like the simulated machine after a run of both: a line each."""
        predicted_before, seen_before = self.predicted, self.seen
        self.predicted = of_simulated(complete(settled(described)))
        gone = dict.fromkeys(states_of(predicted_before))
        self.seen = Snapshot(self.machine, gone | states_of(self.predicted))
        return self._compare(self._said() | _changed(predicted_before, self.predicted)
                             | _changed(seen_before.items, self.seen.items), seen_before)

    def _said(self):
        """The items that are not as on any machine."""
        return {name for name, value in self.predicted.items() if self.plain.get(name) != value}

    def _compare(self, names, seen_before):
        lines = []
        for name in sorted(names, key=str):
            predicted, seen = self.predicted.get(name), self.seen.items.get(name)
            if self._is_wines_own(name, predicted):
                continue
            if name[0] == "service" and predicted and seen and not predicted["binaryPath"]:
                seen = {**seen, "binaryPath": ""}  # there has to be a stand-in
            if name[0] == "access":
                predicted = self._list_on_wine(name, predicted, seen, seen_before)
            if name[0] == "file" and name[1] in self.seen.places:
                seen = self.seen.content(name[1])
                if seen in self.known_contents.get(predicted, ()):
                    continue
            if predicted != seen:
                lines.append(f"{' '.join(name) if isinstance(name, tuple) else name}: "
                             f"predicted {_shown(name, predicted)}, seen {_shown(name, seen)}")
        return lines

    def _is_wines_own(self, name, predicted):
        if name[0] == "owner":
            return predicted is None  # Wine makes the user a key's owner as soon as the key is given a list
        if name[0] == "service":
            return name[1] in WINES_OWN_SERVICES
        if name[0] == "process":
            return name not in self.known_processes
        return name == self.program and name[1] in self.seen.places

    def _list_on_wine(self, name, predicted, seen, seen_before):
        """The predicted access list as Wine has it, which hands no lists down."""
        if predicted is None:
            return seen_before.items.get(name, seen)  # a key that is described without a list keeps its own
        if seen_before is self.seen:
            return predicted  # as described, inherited entries included
        if name not in seen_before.items:
            return seen  # Wine gives a new key a list of its own
        return [entry for entry in predicted if not entry[2] & INHERITED or entry in (seen or [])]


def _changed(before, after):
    return {name for name in before.keys() | after.keys() if before.get(name) != after.get(name)}


def _shown(name, value):
    text = repr((value[0], described_value(*value)) if name[0] == "value" and value else value)
    return text if len(text) <= MOST_CHARACTERS else f"{text[:MOST_CHARACTERS]}... ({len(text)} characters)"
