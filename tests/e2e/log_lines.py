"""Lines of the program's log: their parts, and what of them is the same in each run on the same machine."""

import re

STAMP = re.compile(r"(?P<time>\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3}) TZ(?P<zone>\d\d|-\d{1,2}) "
                   r"\[(?P<thread>\d{4,})\] ")
LINE = re.compile(STAMP.pattern + "(?P<message>.*)")
WAIT = re.compile(r"\S+  current status: ")  # how a message begins that tells a state which is waited in
STOPPED, START_PENDING = ": 1, 0", ": 2, 0"  # and how one ends that tells one of these


def parse(line):
    """The parts of a line: time, zone, thread and message."""
    match = LINE.fullmatch(line)
    if match is None:
        raise AssertionError(f"not a log line: {line!r}")
    return match


def messages(log):
    """The messages of whole lines."""
    return [parse(line)["message"] for line in log]


def without_numbers(message):
    """A message without the numbers that Windows gives to processes and threads."""
    return re.sub(r"\b(PID|TID): \d+", r"\1: N", message)


def comparable(log):
    """Zones and messages without the numbers of processes and threads, and without those of a wait: how often the
    program looks at a service, and which states it sees, depends on the real clock."""
    return [f"TZ{line['zone']} {without_numbers(line['message'])}" for line in map(parse, log)
            if not WAIT.match(line["message"])]


def unpredicted_waits(predicted, seen):
    """The messages of waits that are seen at places where they are not predicted. Where one is predicted, none need be
    seen: on a busy machine the service has got there before the program looks."""
    return [message for allowed, found in zip(_waits(predicted), _waits(seen))
            for message in found - allowed - _starting(allowed)]


def _starting(waits):
    """What waits may tell besides: a wait for a start begins with the state before it, which is stopped, and a service
    on a busy machine is then seen while it starts, however fast it is described to be."""
    return {message.removesuffix(STOPPED) + START_PENDING for message in waits if message.endswith(STOPPED)}


def _waits(log):
    """The messages of waits in front of each other message, and behind the last."""
    waits = [set()]
    for message in messages(log):
        if WAIT.match(message):
            waits[-1].add(message)
        else:
            waits.append(set())
    return waits
