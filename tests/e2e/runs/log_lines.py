"""Lines of the program's log: their parts, and what of them is the same in each run on the same machine."""

import re

STAMP = re.compile(r"(?P<time>\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3}) TZ(?P<zone>\d\d|-\d{1,2}) "
                   r"\[(?P<thread>\d{4,})\] ")
LINE = re.compile(STAMP.pattern + "(?P<message>.*)")
WAIT = re.compile(r"\S+  current status: ")  # begins each message of a wait, which tells the service's state
STOPPED, START_PENDING = ": 1, 0", ": 2, 0"  # end the message for these states


def parse(line):
    """The parts of a line: time, zone, thread and message."""
    match = LINE.fullmatch(line)
    if match is None:
        raise AssertionError(f"not a log line: {line!r}")
    return match


def messages(log):
    """The messages of whole lines."""
    return [parse(line)["message"] for line in log]


def without_stamps(log):
    """The text of a log without its times, zones and threads."""
    return STAMP.sub("", log)


def without_numbers(message):
    """A message without the numbers that Windows gives to processes and threads."""
    return re.sub(r"\b(PID|TID): \d+", r"\1: N", message)


def comparable(log):
    """Zones and messages, without the numbers of processes and threads, and without the messages of waits: how often
    the program looks at a service, and which states it sees, depends on the real clock."""
    return [f"TZ{line['zone']} {without_numbers(line['message'])}" for line in map(parse, log)
            if not WAIT.match(line["message"])]


def unpredicted_waits(predicted, seen):
    """The messages of waits that are seen where they are not predicted. A predicted one need not be seen: on a busy
    machine the service may be there before the program looks."""
    return [message for allowed, found in zip(_waits(predicted), _waits(seen))
            for message in found - allowed - _starting(allowed)]


def _starting(waits):
    """Messages that may be seen too: a wait for a start begins with the state before it, stopped, and on a busy machine
    even the fastest service may then be seen while it starts."""
    return {message.removesuffix(STOPPED) + START_PENDING for message in waits if message.endswith(STOPPED)}


def _waits(log):
    """The messages of waits before each other message, and after the last."""
    waits = [set()]
    for message in messages(log):
        if WAIT.match(message):
            waits[-1].add(message)
        else:
            waits.append(set())
    return waits
