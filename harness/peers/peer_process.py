"""Code that the peer programs share: children that die with their parent, free ports, waiting for a port,
and running a peer (until a signal, or while one command runs)."""

import ctypes
import os
import signal
import socket
import subprocess
import sys
import time

PR_SET_PDEATHSIG = 1
_libc = ctypes.CDLL(None)


def _die_with_parent():
    _libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


def start(command, **options):
    """A child process that ends when this one does, however this one ends."""
    return subprocess.Popen(command, preexec_fn=_die_with_parent, **options)


def stop(child):
    """Ends exactly this child: with SIGTERM first, then with SIGKILL. Returns its exit code."""
    if child.poll() is None:
        child.terminate()
        try:
            child.wait(timeout=5)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()
    return child.returncode


def end_on_signal():
    """SIGTERM and SIGINT unwind the program, so that every `finally` on the way runs."""
    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, lambda *_: sys.exit(0))


def free_port():
    """A loopback port that nothing listens on now. For programs that cannot be given port 0; if somebody
    else takes the port first, they are started again with another one."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for_port(port, child, seconds=20):
    """True once something listens on the port; False if the child ended or the time is over."""
    end = time.monotonic() + seconds
    while time.monotonic() < end and child.poll() is None:
        try:
            socket.create_connection(("127.0.0.1", port), timeout=1).close()
            return child.poll() is None
        except OSError:
            time.sleep(0.02)
    return False


def serve(url, command):
    """Runs `command` with VELMORA_PRINTER_URL set and {url} in its words replaced, and gives its
    exit code. Without a command: prints the URL and waits for a signal."""
    if command:
        words = [word.replace("{url}", url) for word in command]
        return start(words, env=dict(os.environ, VELMORA_PRINTER_URL=url)).wait()
    print(url, flush=True)
    while True:
        signal.pause()


def fail(message):
    print(message, file=sys.stderr)
    sys.exit(1)
