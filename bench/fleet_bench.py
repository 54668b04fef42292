#!/usr/bin/env python3
"""The tool with fleet files of many ports, in a Wine prefix of its own.

    fleet_bench.py BUILD_DIRECTORY [--json FILE]

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
from tool_prefix import DIFFERENT, DONE, MONITOR, NOBODY, ToolPrefix, fleet, tool, use_shim


class Bench:
    def __init__(self, prefix):
        self.prefix = prefix
        self.rows = []

    def fleet(self, name, numbers):
        """A fleet file with a port for each number; what Windows calls it."""
        ports = [{"name": f"Port {number}", "url": NOBODY} for number in numbers]
        with open(self.prefix.path(name), "wb") as file:
            file.write(fleet(*ports))
        return "C:\\" + name

    def run(self, what, aim, *words, code=DONE):
        begin = time.monotonic()
        result = self.prefix.tool(*words)
        seconds = time.monotonic() - begin
        if result.code != code:
            sys.exit(f"fleet_bench: {words}: {result!r}")
        self.rows.append({"name": what, "unit": "s", "value": seconds, "peer": aim,
                          "ratio": seconds / aim, "aim": 1, "ok": seconds <= aim})
        print(f"{what:<56} {seconds:>12.4g} {aim:>12} s      {seconds / aim:>8.3f} <=1      "
              f"{'' if seconds <= aim else 'missed'}", flush=True)

    def measure(self):
        self.prefix.batch([tool("install", "--quiet"), use_shim(MONITOR)])
        first = self.fleet("first.json", range(500))
        second = self.fleet("second.json", range(500, 1000))
        whole = self.fleet("whole.json", range(1000, 6000))
        self.run("500 ports into an empty system, beside its aim", 5, "import", first)
        self.run("500 ports into a used system, beside its aim", 5, "import", second)
        self.run("5,000 ports into a used system, beside its aim", 50, "import", whole)
        self.run("5,000 ports again without a change, beside its aim", 5, "import", whole)
        self.run("diff of 5,000 ports, beside its aim", 5, "diff", whole)
        self.run("diff that finds 500 of 6,000 ports, beside its aim", 5, "diff", "--remove-others",
                 self.fleet("less.json", range(500, 6000)), code=DIFFERENT)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("built")
    parser.add_argument("--json", help="rows are appended here, one object a line")
    options = parser.parse_args()
    built = os.path.abspath(options.built)
    with tempfile.TemporaryDirectory(prefix="ctl-", dir=built, ignore_cleanup_errors=True) as place:
        prefix = ToolPrefix("x86", built, place)
        try:
            bench = Bench(prefix)
            bench.measure()
        finally:
            prefix.stop()
    if options.json:
        with open(options.json, "a", encoding="ascii") as file:
            file.writelines(json.dumps(row) + "\n" for row in bench.rows)


if __name__ == "__main__":
    main()
