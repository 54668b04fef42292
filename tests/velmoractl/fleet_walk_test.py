#!/usr/bin/env python3
"""The walk through a fleet in docs/fleet-setup.md: its commands, and what they answer.

    fleet_walk_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]

The servers are simulated (harness/simulated_servers). The printers that pages go to are real ones;
the other addresses are those of a small program that gives recorded answers. Ten of them ask for a
password, which is changed at the printers during the walk.
"""

import glob
import os
import re
import shlex
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness"))
from printer_peer import Printer
from tool_prefix import (DIFFERENT, DOCUMENT, DONE, MONITOR, PRINTER, ROOT, ToolPrefix, options,
                         printer_driver, run_tests, server_print, Step, tool, use_shim)

SERVERS = ("NORTH", "SOUTH")
PRINTERS = 50
REAL = ("fl01.example", "new02.example")
# With a user name and a password.
LOCKED = range(40, 50)
# The exit code of the verb's first command, if not 0.
CODES = {"diff": DIFFERENT, "probe": PRINTER}
SECTION = "## A walk through a fleet"


def blocks(text):
    """The code blocks of the walk, as lists of lines."""
    walk = text.split(SECTION + "\n")[1].split("\n## ")[0]
    return [[line[4:] for line in block.splitlines()]
            for block in re.findall(r"(?:^    .*\n)+", walk, re.MULTILINE)]


def fits(told, lines):
    """Whether the lines are those that the document has; "..." stands for any number of them, and
    at the end of a line for its rest."""
    def pattern_of(line):
        if line == "...":
            return r"(?:.*\n)*?"
        if line.endswith("..."):
            return re.escape(line[:-3]) + ".*\n"
        return re.escape(line) + "\n"
    pattern = "".join(map(pattern_of, told))
    return re.fullmatch(pattern, "".join(line + "\n" for line in lines)) is not None


class Walk(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(dir=options.directory)
        cls.prefix = ToolPrefix(options.arch, options.built, cls.place)
        cls.addClassCleanup(cls.prefix.stop)
        with open(os.path.join(ROOT, "docs", "fleet-setup.md"), encoding="utf-8") as file:
            cls.blocks = blocks(file.read())

    def printers(self):
        """The address of each host of the document."""
        sink = Printer(os.path.join(self.place, "sink"), "http_sink")
        self.addCleanup(sink.stop)
        self.write("asked.txt", b"print:old secret")
        self.locked = Printer(os.path.join(self.place, "locked"), "http_sink", "--basic-file",
                              self.prefix.path("asked.txt"))
        self.addCleanup(self.locked.stop)
        addresses = {f"fl{number:02}.example":
                     f"{(self.locked if number in LOCKED else sink).url}/{number:02}"
                     for number in range(1, PRINTERS + 1)}
        self.real = {}
        for host in REAL:
            printer = self.real[host] = Printer(os.path.join(self.place, host))
            self.addCleanup(printer.stop)
            addresses[host] = printer.url
        return addresses

    def spreadsheet(self):
        """The whole spreadsheet, of which the document shows the first lines."""
        heading, *first = next(block for block in self.blocks if block[0].startswith("name,url"))
        lines = [heading]
        for number in range(1, PRINTERS + 1):
            user = "print,old secret" if number in LOCKED else ","
            lines.append(f"FL{number:02},ipp://fl{number:02}.example/ipp/print,{user},one-sided,"
                         f"Floor {number},Plain text,floor{number},Room {number}")
        self.assertEqual(first, lines[1:len(first) + 1])
        return "\r\n".join(lines) + "\r\n"

    def write(self, name, text):
        with open(self.prefix.path(name), "wb") as file:
            file.write(text)

    def to_real(self, text):
        for host, url in self.addresses.items():
            text = text.replace(f"ipp://{host}/ipp/print", url).replace(f"ipp://{host}", url)
        return text

    def to_documented(self, text):
        # The longest first: one address may be the beginning of another.
        for host, url in sorted(self.addresses.items(), key=lambda one: -len(one[1])):
            text = text.replace(url, f"ipp://{host}/ipp/print")
        return text.replace("C:\\fleet", "fleet")

    def step(self, command):
        """The step of a command of the document."""
        stdin = b""
        if command.startswith("type "):
            name, command = command[len("type "):].split(" | ")
            with open(self.prefix.path(name), "rb") as file:
                stdin = file.read()
        words = shlex.split(command)[1:]
        words = [self.to_real(word) for word in words]
        words = ["C:\\" + word if re.fullmatch(r"\w+\.(csv|json|ps)", word) else word
                 for word in words]
        # The first diff is the one that finds something.
        code = CODES.pop(words[0], DONE)
        return tool(*words, code=code, stdin=stdin)

    def test_the_walk_goes_as_the_document_says(self):
        self.addresses = self.printers()
        self.write("fleet.csv", self.to_real(self.spreadsheet()).encode())
        self.write("page.ps", DOCUMENT)
        self.write("new-password.txt", b"new secret\r\n")
        commands = [block for block in self.blocks if block[0].startswith("> ")]
        self.assertGreater(len(commands), 10)
        steps = [tool("install", "--quiet"), use_shim(MONITOR), *printer_driver(options.arch),
                 *self.prefix.simulate_servers(*SERVERS)]
        # Wine's spooler finds a port's monitor by such a key; Windows' asks the monitors.
        steps += [Step("reg", "add", f"{server_print(server)}Monitors\\{MONITOR}\\Ports\\{port}",
                       "/f") for server in SERVERS for port in ("FL01", "FL02", "FL40")]
        walk = [self.step(block[0][2:]) for block in commands]
        # Somebody changes the password at the printers.
        self.write("asked next.txt", b"print:new secret")
        change = Step("cmd", "/c", "copy", "/y", "C:\\asked next.txt", "C:\\asked.txt")
        first = next(at for at, step in enumerate(walk) if step.words[1] == "probe")
        results = self.prefix.batch([*steps, *walk[:first], change, *walk[first:]])[len(steps):]
        self.assertEqual(DONE, results.pop(first).code)
        for block, step, result in zip(commands, walk, results):
            with self.subTest(command=block[0]):
                self.assertEqual(step.code, result.code, result)
                lines = self.to_documented(result.out + result.err).splitlines()
                lines = [re.sub(r" {2,}", "  ", line).replace("Windows x64", "Windows NT x86")
                         if block[0].endswith("driver list --server NORTH,SOUTH") else line
                         for line in lines]
                self.assertTrue(fits(block[1:], lines), "\n".join(["told:", *block[1:], "", "is:",
                                                                   *lines]))
        self.assertEqual([[DOCUMENT], [DOCUMENT]],
                         [self.real[host].documents() for host in REAL])
        bodies = []
        for name in glob.glob(os.path.join(self.locked.directory, "request-*.body")):
            with open(name, "rb") as file:
                bodies.append(file.read())
        self.assertEqual(1, len([body for body in bodies if body.endswith(DOCUMENT)]))


if __name__ == "__main__":
    run_tests(__doc__, "walk-")
