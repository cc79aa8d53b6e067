"""What a run of the program leaves, real or rehearsed."""

import dataclasses

from runs.log_lines import messages


@dataclasses.dataclass
class Run:
    exit_code: int
    stdout: str
    log: list  # whole lines, of this run only

    @property
    def messages(self):
        return messages(self.log)
