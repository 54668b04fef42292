#!/usr/bin/env python3
"""The tool with fleet files of many ports, in a Wine prefix of its own.

    fleet_bench.py BUILD_DIRECTORY [--probes] [--json FILE]

BUILD_DIRECTORY is that of the preset x86. Each row is the wall time of a whole command for 500 or
5,000 ports, the start of Wine included, beside the seconds that an administrator is to wait at most.
"""

import argparse
import json
import os
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "harness"))
from printer_peer import Printer
from tool_prefix import (DIFFERENT, DONE, MONITOR, NOBODY, PRINTER, ToolPrefix, fleet, peak_memory,
                         server_calls, tool, use_shim)

# Reading a port takes six calls of the kernel: one for its record, five for its printer's key in the
# directory.
CALLS_OF_A_READING = 45_000


class Bench:
    def __init__(self, prefix):
        self.prefix = prefix
        self.rows = []

    def fleet(self, name, numbers, url=NOBODY):
        """A fleet file with a port for each number; what Windows calls it."""
        return self.write(name, [{"name": f"Port {number}", "url": url.format(number)}
                                 for number in numbers])

    def write(self, name, ports):
        with open(self.prefix.path(name), "wb") as file:
            file.write(fleet(*ports))
        return "C:\\" + name

    def run(self, what, aim, *words, code=DONE, calls=None):
        before = server_calls(self.prefix)
        begin = time.monotonic()
        result = self.prefix.tool(*words)
        seconds = time.monotonic() - begin
        if result.code != code:
            sys.exit(f"fleet_bench: {words}: {result!r}")
        self.row(what, "s", seconds, aim)
        if calls is not None:
            self.row("  calls of Wine's server meanwhile, beside their bound", "",
                     server_calls(self.prefix) - before, calls)

    def row(self, what, unit, value, aim):
        self.rows.append({"name": what, "unit": unit, "value": value, "peer": aim,
                          "ratio": value / aim, "aim": 1, "ok": value <= aim})
        print(f"{what:<56} {value:>12.4g} {aim:>12} {unit:<6} {value / aim:>8.3f} <=1      "
              f"{'' if value <= aim else 'missed'}", flush=True)

    def probe(self, what, aim, *words, code):
        """The time of a probe, and the most memory that the tool had meanwhile."""
        with peak_memory(self.prefix) as peak:
            self.run(what, aim, "probe", *words, code=code)
        self.row("  memory of the tool meanwhile, beside its aim", "MiB", peak() / 1024, 100)

    def measure(self):
        self.prefix.batch([tool("install", "--quiet"), use_shim(MONITOR)])
        first = self.fleet("first.json", range(500))
        second = self.fleet("second.json", range(500, 1000))
        whole = self.fleet("whole.json", range(1000, 6000))
        self.run("500 ports into an empty system, beside its aim", 5, "import", first)
        self.run("500 ports into a used system, beside its aim", 5, "import", second)
        self.run("5,000 ports into a used system, beside its aim", 50, "import", whole)
        self.run("5,000 ports again without a change, beside its aim", 5, "import", whole,
                 calls=CALLS_OF_A_READING)
        self.run("diff of 5,000 ports, beside its aim", 5, "diff", whole, calls=CALLS_OF_A_READING)
        self.run("diff that finds 500 of 6,000 ports, beside its aim", 5, "diff", "--remove-others",
                 self.fleet("less.json", range(500, 6000)), code=DIFFERENT)

    def measure_probes(self, printers):
        """500 printers of one light program, and 500 dead ones: half of them refuse the connection,
        half never answer."""
        base = printers.url.removesuffix("/ready")
        answering = self.fleet("answering.json", range(500), base + "/ready/{}")
        numbers = range(250)
        closed = [{"name": f"Closed {n}", "url": f"ipp://127.0.0.1:1/{n}"} for n in numbers]
        silent = [{"name": f"Silent {n}", "url": f"{base}/silent/{n}"} for n in numbers]
        dead = self.write("dead.json", closed + silent)
        self.run("500 ports instead of the others", 50, "import", "--remove-others", answering)
        self.probe("probe --all of 500 printers, beside its aim", 30, "--all", code=DONE)
        self.probe("probe of 500 dead printers, beside its aim", 90, "--file", dead,
                   code=PRINTER)
        self.probe("probe of 500 silent printers, beside its aim", 90, "--file",
                   self.fleet("silent.json", range(500), base + "/silent/{}"), code=PRINTER)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("built")
    parser.add_argument("--probes", action="store_true", help="measure probes alone")
    parser.add_argument("--json", help="rows are appended here, one object a line")
    options = parser.parse_args()
    built = os.path.abspath(options.built)
    with tempfile.TemporaryDirectory(prefix="ctl-", dir=built, ignore_cleanup_errors=True) as place:
        prefix = ToolPrefix("x86", built, place)
        try:
            bench = Bench(prefix)
            if options.probes:
                prefix.batch([tool("install", "--quiet"), use_shim(MONITOR)])
            else:
                bench.measure()
            printers = Printer(os.path.join(place, "crowd"), "printer_crowd")
            try:
                bench.measure_probes(printers)
            finally:
                printers.stop()
        finally:
            prefix.stop()
    if options.json:
        with open(options.json, "a", encoding="ascii") as file:
            file.writelines(json.dumps(row) + "\n" for row in bench.rows)


if __name__ == "__main__":
    main()
