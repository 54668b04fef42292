"""A Wine prefix with the files of a download in it, and the administration tool run there."""

import argparse
import contextlib
import json
import os
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import time
import tty
import unittest
from fcntl import ioctl
from termios import TIOCSWINSZ

from wine_prefix import ROOT, WinePrefix, peer_process

# The download unpacked: a folder for the architecture beside the one of the languages.
DOWNLOAD = "C:\\download\\programs"
PRINT = "HKLM\\System\\CurrentControlSet\\Control\\Print\\"
MONITORS = PRINT + "Monitors\\"
MONITOR = "Velmora IPP Port"
KEY = "HKLM\\Software\\Velmora"
DOCUMENT = b"%!PS\n" + b"% a page\n" * 2000 + b"showpage\n"
NOBODY = "ipp://127.0.0.1:1/ipp/print"
# Of one run of Wine, which may hold dozens of commands.
TIMEOUT = 300

DONE, FAILED, USAGE, NOT_FOUND, CONFLICT, DENIED, NOT_INSTALLED, PRINTER, CANCELLED = range(9)
DIFFERENT, RESTART = 9, 10

# What run_tests was started with: arch, built, tests, and `directory`, which it removes.
options = argparse.Namespace()


def run_tests(description, prefix):
    """A test program's main function: its options, a directory for its prefixes, its tests."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--arch", required=True)
    parser.add_argument("--built", required=True)
    parser.add_argument("tests", nargs="*")
    parser.parse_args(namespace=options)
    options.built = os.path.abspath(options.built)
    peer_process.end_on_signal()
    # Beside the Wine template: its files are shared by hard links.
    with tempfile.TemporaryDirectory(prefix=prefix, dir=options.built,
                                     ignore_cleanup_errors=True) as options.directory:
        program = unittest.main(argv=[sys.argv[0], "-v", *options.tests], exit=False)
    sys.exit(0 if program.result.wasSuccessful() else 1)


def fleet(*ports, **more):
    """The bytes of a fleet file."""
    return json.dumps(dict({"format": "velmora-configuration", "version": 1,
                            "ports": list(ports)}, **more)).encode()


class Result:
    def __init__(self, code, out, err):
        self.code = code
        self.raw = out + err
        self.out = out.decode("utf-8", "replace").replace("\r\n", "\n")
        self.err = err.decode("utf-8", "replace").replace("\r\n", "\n")

    def json(self):
        return json.loads(self.out)

    def __repr__(self):
        return f"exit code {self.code}\n--- out\n{self.out}--- err\n{self.err}"


class Step:
    """One program of a batch; `code` is the exit code that it should have."""

    def __init__(self, *words, code=DONE, stdin=b"", is_tool=False):
        self.words = list(words)
        self.code = code
        self.stdin = stdin
        self.is_tool = is_tool


def tool(*words, code=DONE, stdin=b""):
    return Step(DOWNLOAD + "\\velmoractl.exe", *words, code=code, stdin=stdin, is_tool=True)


def set_value(key, name, text):
    return Step("reg", "add", key, "/v", name, "/d", text, "/f")


def use_shim(monitor):
    """Wine's spooler has no working Xcv channel without it (harness/xcv_shim)."""
    return set_value(MONITORS + monitor, "Driver", "velmora_shim.dll")


def let_spooler_find(monitor, port):
    """Wine's spooler finds a port's monitor by this key; Windows' asks the monitors."""
    return Step("reg", "add", MONITORS + monitor + "\\Ports\\" + port, "/f")


_SHIM = "HKLM\\Software\\Velmora shim"
# Wine's part of the spooler that answers; without it every call fails as with a stopped spooler.
_OVERRIDES = "HKCU\\Software\\Wine\\AppDefaults\\velmoractl.exe\\DllOverrides"


def stop_spooler():
    return Step("reg", "add", _OVERRIDES, "/v", "localspl", "/d", "", "/f")


def start_spooler():
    return Step("reg", "delete", _OVERRIDES, "/v", "localspl", "/f")


# Wine's spooler fails where there is no port at all.
_LOCAL_PORTS = "Software\\Microsoft\\Windows NT\\CurrentVersion\\Ports"
SERVERS = "HKLM\\Software\\Simulated servers\\"


def server_print(server):
    """The spooler's key of a simulated server."""
    return f"{SERVERS}{server}\\System\\CurrentControlSet\\Control\\Print\\"


def use_shim_on(server, monitor):
    """use_shim on a simulated server."""
    return set_value(server_print(server) + "Monitors\\" + monitor, "Driver", "velmora_shim.dll")


def break_call(name, error):
    """A call ends with this error, 0 for none; needs simulate_servers(), and names as there."""
    return Step("reg", "add", SERVERS[:-1], "/v", name, "/t", "REG_DWORD", "/d", str(error), "/f")


def break_queues(error):
    """break_call() of the making of a queue."""
    return break_call("AddPrinter", error)


def break_channel(command, error, after=0, calls=0):
    """The monitor answers `error` to a command of its channel (0: says that it is done, and does
    nothing): in every program, `after` calls of it, and only to so many calls if `calls` is
    given."""
    return set_value(_SHIM, "Fault", f"{command} {after} {calls} {error}")


def mend_channel():
    return Step("reg", "delete", _SHIM, "/f")


def printer_driver(arch, name="Plain text"):
    """Makes Wine's spooler list a printer driver; no file of it is ever loaded."""
    environment = "Windows NT x86" if arch == "x86" else "Windows x64"
    key = f"{PRINT}Environments\\{environment}\\Drivers\\Version-3\\{name}"
    return [set_value(key, value, "wineps.drv")
            for value in ("Driver", "Configuration File", "Data File")] + [
                Step("reg", "add", key, "/v", "Version", "/t", "REG_DWORD", "/d", "3", "/f")]


def export_key(key):
    """Result.raw: all values below the key, as the registry tool writes them."""
    return Step("reg", "export", key, "C:\\batch\\key.reg", "/y")


def _children(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
        return [int(child) for child in file.read().split()]


def _program(pid, name):
    """The process that runs the program of that name: the last of the chain below `pid` whose
    command line has it, since its starters have it too."""
    for child in _children(pid):
        with open(f"/proc/{child}/cmdline", "rb") as file:
            if name.encode() in file.read():
                return _program(child, name) or child
    return None


def _programs_of(prefix, name):
    """The processes in the prefix that run a program of that name, or of one of several."""
    names = (name,) if isinstance(name, str) else name
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/environ", "rb") as file:
                ours = f"WINEPREFIX={prefix.root}".encode() in file.read().split(b"\0")
            with open(f"/proc/{pid}/cmdline", "rb") as file:
                program = file.read().split(b"\0")[0]
        except OSError:  # it has ended, or is somebody else's
            continue
        if ours and program.endswith(tuple(one.encode() for one in names)):
            found.append(pid)
    return found


@contextlib.contextmanager
def peak_memory(prefix):
    """Returns a function that gives, in KiB, the tool's peak memory in this prefix."""
    peak = 0
    over = threading.Event()

    def watch():
        nonlocal peak
        while not over.wait(0.2):
            for pid in _programs_of(prefix, "velmoractl.exe"):
                try:
                    with open(f"/proc/{pid}/status", encoding="ascii") as file:
                        peak = max([peak] + [int(size) for size in
                                             re.findall(r"^VmHWM:\s+(\d+)", file.read(), re.M)])
                except OSError:
                    pass

    watcher = threading.Thread(target=watch)
    watcher.start()
    try:
        yield lambda: peak
    finally:
        over.set()
        watcher.join()


def server_calls(prefix):
    """How many answers the prefix's Wine server has written: about one for each call that programs
    make of the kernel. Unlike times they do not depend on what else the machine does."""
    calls = 0
    for pid in _programs_of(prefix, ("wineserver", "wineserver32", "wineserver64")):
        try:
            with open(f"/proc/{pid}/io", encoding="ascii") as file:
                calls += int(re.search(r"^syscw: (\d+)", file.read(), re.M)[1])
        except OSError:
            pass
    return calls


class ToolPrefix(WinePrefix):
    def __init__(self, arch, build_directory, directory):
        super().__init__(arch, build_directory, directory)
        self.programs = os.path.join(build_directory, "bin")
        self.fill_download()

    def fill_download(self):
        programs = self.path("download", "programs")
        os.makedirs(programs)
        os.makedirs(self.path("download", "languages"))
        languages = os.path.join(ROOT, "ui", "languages")
        for name in ("velmoractl.exe", "Velmora.dll"):
            shutil.copy(os.path.join(self.programs, name), programs)
        shutil.copy(os.path.join(languages, "Velmora.dat"), programs)
        for name in os.listdir(languages):
            shutil.copy(os.path.join(languages, name), self.path("download", "languages"))
        self.install(os.path.join(self.programs, "velmora_shim.dll"))

    def simulate_servers(self, *names):
        """Other computers for the tool (harness/simulated_servers), each with its shares; returns the steps
        that make them. They are copies of this computer, monitor and policy included: the monitor must be
        installed."""
        place = self.path("windows", "system32", "version.dll")
        # A link: what is written into it would be in every prefix.
        os.remove(place)
        shutil.copy(os.path.join(self.programs, "simulated_servers.dll"), place)
        steps = [Step("reg", "add", _OVERRIDES, "/v", "version", "/d", "native", "/f")]
        for name in names:
            shares = os.path.join(self.root, "dosdevices", "unc", name)
            os.makedirs(shares, exist_ok=True)
            os.symlink(self.path("windows"), os.path.join(shares, "admin$"))
            steps += [Step("reg", "copy", "HKLM\\" + key, f"{SERVERS}{name}\\{key}", "/s", "/f")
                      for key in (PRINT[5:-1], _LOCAL_PORTS, KEY[5:])]
        return steps

    def own_files(self, server):
        """Gives a simulated server a system directory of its own, with the spooler in it and nothing
        of ours; its path."""
        share = os.path.join(self.root, "dosdevices", "unc", server, "admin$")
        os.remove(share)
        system = os.path.join(share, "System32")
        os.makedirs(os.path.join(system, "spool"))
        shutil.copy(self.path("windows", "system32", "spoolsv.exe"), system)
        return system

    def wine(self, *words, stdin=b""):
        process = self.run(words, TIMEOUT, input=stdin, capture_output=True)
        return Result(process.returncode, process.stdout, process.stderr)

    def tool(self, *words, stdin=b""):
        result = self.wine(DOWNLOAD + "\\velmoractl.exe", *words, stdin=stdin)
        # Wine sometimes ends a program before its first line, with this code and without a message
        # (wine-run); the tool never fails without one.
        if result.code == 1 and not result.out and not result.err:
            result = self.wine(DOWNLOAD + "\\velmoractl.exe", *words, stdin=stdin)
        return result

    def tool_with_small_files(self, *words):
        """The tool as on a full drive: what it writes ends after a kilobyte a file."""
        # The server, which writes the registry, must be running by then.
        self.wine("cmd", "/c", "exit")
        limited = ["bash", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "bash"]
        process = subprocess.run(
            limited + self.command([DOWNLOAD + "\\velmoractl.exe", *words]), capture_output=True,
            env=self.environment(VELMORA_WINE_TIMEOUT=str(TIMEOUT), LC_ALL="C.UTF-8"),
            timeout=TIMEOUT + 30, check=False)
        return Result(process.returncode, process.stdout, process.stderr)

    def verbs(self):
        """The words of every verb, as the tool's own help lists them."""
        def listed(text):
            part = text.split("Subcommands:\n")[-1].split("\n\n")[0]
            return re.findall(r"^  ([a-z]+)(?: {2}|$)", part, re.MULTILINE)
        names = listed(self.tool("--help").out)
        helps = self.batch([tool(name, "--help") for name in names])
        verbs = []
        for name, result in zip(names, helps):
            below = listed(result.out) if "Subcommands:" in result.out else []
            verbs += [[name, verb] for verb in below] if below else [[name]]
        return verbs

    def batch(self, steps):
        """Runs the programs one after the other, started by one batch file: most of a short run is
        the start of Wine. Gives their results."""
        place = self.path("batch")
        shutil.rmtree(place, ignore_errors=True)
        os.makedirs(place)
        lines = ["@echo off"]
        for index, step in enumerate(steps):
            with open(self.path("batch", f"{index}.in"), "wb") as file:
                file.write(step.stdin)
            files = " ".join(f"{sign}C:\\batch\\{index}.{end}" for sign, end in
                             (("<", "in"), (">", "out"), ("2>", "err")))
            command = subprocess.list2cmdline(step.words)
            # 9009: cmd could not start the program, which Wine's did once in several thousand
            # starts, under load. Nothing has run then, so it can be tried again.
            lines += [f"{command} {files}", f"if %errorlevel%==9009 {command} {files}",
                      f"echo %errorlevel% >C:\\batch\\{index}.code"]
            if step.words[:2] == ["reg", "export"]:
                lines.append(f"move /y {step.words[3]} C:\\batch\\{index}.out >NUL")
        with open(self.path("batch", "run.bat"), "w", encoding="ascii", newline="\r\n") as file:
            file.write("\n".join(lines) + "\n")
        run = self.wine("cmd", "/c", "C:\\batch\\run.bat")
        # Wine's own start crashed, which it did once in some thousand; no program has run then.
        if not os.path.exists(self.path("batch", "0.out")):
            run = self.wine("cmd", "/c", "C:\\batch\\run.bat")
        results = []
        for index, step in enumerate(steps):
            parts = []
            for end in ("code", "out", "err"):
                name = os.path.join(place, f"{index}.{end}")
                assert os.path.exists(name), (step.words, run)
                with open(name, "rb") as file:
                    parts.append(file.read())
            results.append(Result(int(parts[0]), *parts[1:]))
        return results

    def tool_on_terminal(self, words, question, answer, *more, seconds=120):
        """The tool on a terminal, with somebody who waits for the question and types the answer,
        and for further ones in `more`; a signal as the answer is sent to the tool (Wine makes
        Ctrl-C of SIGINT). A question is bytes to be shown, or a function that says whether it is
        time. Gives the exit code and what the terminal showed."""
        turns = list(zip((question, *more[::2]), (answer, *more[1::2])))
        terminal, end = pty.openpty()
        # Wine's console edits the line itself, as a shell's would.
        tty.setraw(end)
        # Wide enough for no line to be broken.
        ioctl(end, TIOCSWINSZ, struct.pack("HHHH", 50, 250, 0, 0))
        process = self.start_on_terminal([DOWNLOAD + "\\velmoractl.exe", *words], end)
        os.close(end)
        shown = b""
        limit = time.monotonic() + seconds
        try:
            while process.poll() is None and time.monotonic() < limit:
                if select.select([terminal], [], [], 0.1)[0]:
                    try:
                        shown += os.read(terminal, 65536)
                    except OSError:  # the other end is closed
                        break
                if turns and (turns[0][0]() if callable(turns[0][0]) else turns[0][0] in shown):
                    _, answer = turns.pop(0)
                    if isinstance(answer, signal.Signals):
                        os.kill(_program(process.pid, "velmoractl.exe") or process.pid, answer)
                    else:
                        os.write(terminal, answer)
            if time.monotonic() >= limit:
                raise AssertionError(f"{words} does not end; the terminal shows {shown!r}")
            process.wait(60)
        finally:
            peer_process.stop(process)
            os.close(terminal)
        return process.returncode, shown.decode("utf-8", "replace")
