"""Signals that end the process: each lets `with` statements tidy up first, and waits for what must not be cut short."""

import contextlib
import signal

SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


class _Interruption:
    def __init__(self):
        self._depth = 0
        self._came = False

    def expect(self):
        """Makes this the handler of the signals."""
        for number in SIGNALS:
            signal.signal(number, self._handle)

    @contextlib.contextmanager
    def postponed(self):
        """Holds a signal back until the `with` statement has ended."""
        self._depth += 1
        try:
            yield
        finally:
            self._depth -= 1
            if self._came and self._depth == 0:
                self._came = False
                raise KeyboardInterrupt

    def _handle(self, *_):
        # The only exception that unittest lets end a run.
        if self._depth == 0:
            raise KeyboardInterrupt
        self._came = True


interruption = _Interruption()
