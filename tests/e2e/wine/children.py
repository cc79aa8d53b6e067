"""The processes that this one starts, and those that Wine starts for them and that outlive their parents.

Wine's server looks for the end of a process, longer and longer apart, until somebody has reaped it. Programs that Wine
starts by itself, such as those of services, are nobody's children: the system's first process adopts them, and may reap
them late. Each end would take half a second. Therefore this process adopts and reaps them."""

import ctypes
import functools
import os
import select
import signal
import subprocess
import time

# From <linux/prctl.h> and <linux/capability.h>.
PR_CAPBSET_DROP, PR_SET_CHILD_SUBREAPER = 24, 36
CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH = 1, 2

_own = set()  # the processes that somebody waits for, by their numbers


def start(command, **options):
    """Starts a program. Returns its process."""
    _prepare()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, **options)
    _own.add(process.pid)
    return process


def wait(process, seconds):
    """Waits for the end of a started process, and reaps others meanwhile. Returns its exit code. Raises
    subprocess.TimeoutExpired."""
    ended = _prepare()
    deadline = time.monotonic() + seconds
    while process.poll() is None:
        _reap()
        if not select.select([ended], [], [], max(0, deadline - time.monotonic()))[0]:
            raise subprocess.TimeoutExpired(process.args, seconds)
        os.read(ended, select.PIPE_BUF)
    _own.discard(process.pid)
    return process.returncode


@functools.cache
def _prepare():
    """Prepares this process. Returns the pipe that has something to read after the end of a child."""
    prctl = ctypes.CDLL(None).prctl
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    # Root may write to read-only files, which nobody may on Windows. Programs that start from now on have no such
    # privilege, where the system lets this process decide it.
    for capability in (CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH):
        prctl(PR_CAPBSET_DROP, capability, 0, 0, 0)
    ended, wakeup = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
    signal.set_wakeup_fd(wakeup, warn_on_full_buffer=False)
    signal.signal(signal.SIGCHLD, lambda *_: None)
    return ended


def _reap():
    """Reaps the adopted children that have ended."""
    while (ended := os.waitid(os.P_ALL, 0, os.WEXITED | os.WNOHANG | os.WNOWAIT)) and ended.si_pid not in _own:
        os.waitpid(ended.si_pid, 0)
