#!/usr/bin/env python3
"""What the administration tool does with printers: looks after many of them at once.

    printers_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import csv
import io
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness"))
from end_to_end_test import Answers, Tool
from printer_peer import Printer
from tool_prefix import (DONE, MONITOR, NOBODY, NOT_FOUND, PRINTER, USAGE, fleet, run_tests, tool,
                         use_shim)

# Their own tests are run by the other program.
validate = Answers.validate
documented = Answers.documented
del Answers


class FleetProbe(Tool):
    """One list of many printers."""

    documented = staticmethod(documented)
    validate = validate

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.crowd = Printer(os.path.join(cls.place, "crowd"), "printer_crowd")
        cls.addClassCleanup(cls.crowd.stop)
        cls.base = cls.crowd.url.removesuffix("/ready")
        cls.ready, cls.refuses = cls.base + "/ready/1", cls.base + "/refuses/1"
        install, shim, *steps = (
            tool("install"), use_shim(MONITOR), tool("group", "add", "Floor"),
            tool("printer", "add", "Floor/Ready", "--url", cls.ready),
            tool("printer", "add", "Floor/Nobody", "--url", NOBODY),
            tool("port", "add", "All", "--group", "Floor"),
            tool("port", "add", "Same", "--group", "Floor"),
            tool("port", "add", "Bad", "--url", cls.refuses),
            tool("port", "add", "Good", "--url", cls.refuses, "--media", "iso_a4_210x297mm"))
        for step, result in zip((install, shim, *steps), cls.prefix.batch((install, shim, *steps))):
            assert result.code == DONE, (step.words, result)

    def served(self):
        return os.path.join(self.crowd.directory, "served")

    def test_every_printer_is_asked_once_with_each_template(self):
        open(self.served(), "w", encoding="ascii").close()
        answer, = self.batch(tool("probe", "--all", "--json", code=PRINTER))
        # The ready one: its attributes and one job; the other: its attributes and two jobs.
        self.assertEqual(5, os.path.getsize(self.served()))
        self.validate("probe-fleet", answer.json())
        nobody, ready, refuses = answer.json()
        self.assertEqual((NOBODY, False, "unreachable", "no-connection", ["All", "Same"]),
                         (nobody["url"], nobody["ready"], nobody["state"],
                          nobody["problem"]["code"], nobody["ports"]))
        self.assertEqual((self.ready, True, "ready", "idle"),
                         (ready["url"], ready["ready"], ready["state"], ready["printer-state"]))
        self.assertEqual([{"name": "Black", "percent": 64}, {"name": "Cyan", "percent": 9}],
                         ready["supplies"])
        self.assertEqual(["toner-low-warning"], ready["alerts"])
        self.assertEqual(("refused", ["Bad", "Good"]), (refuses["state"], refuses["ports"]))
        bad, good = refuses["jobs"]
        self.assertEqual((["Bad"], "refused", ["Good"], "accepted"),
                         (bad["ports"], bad["state"], good["ports"], good["state"]))
        self.assertEqual([{"name": "media", "wanted": ["A4"],
                           "offered": ["iso_a4_210x297mm", "na_letter_8.5x11in"]}],
                         bad["attributes"])

    def test_what_is_asked_can_be_chosen(self):
        file = self.write("fleet.json", fleet({"name": "P", "url": self.ready},
                                              {"name": "Q", "url": self.base + "/ready/2"}))
        table, comma, group, ports, urls, names, quiet, *_ = self.batch(
            tool("probe", "--all", code=PRINTER), tool("probe", "--all", "-o", "csv", code=PRINTER),
            tool("probe", "--group", "Floor", "--json", code=PRINTER),
            tool("probe", "--port", "Good", "--port", "Bad", "-o", "names", code=PRINTER),
            tool("probe", self.ready, self.base + "/ready/3", "--json"),
            tool("probe", "--file", file, "-o", "names"),
            tool("probe", "--all", "--quiet", code=PRINTER),
            tool("probe", "--group", "Flor", code=NOT_FOUND),
            tool("probe", "--port", "Good", "--port", "god", code=NOT_FOUND),
            tool("probe", "--all", "--file", file, code=USAGE),
            tool("probe", "--all", "--prompt", code=USAGE))
        lines = table.out.splitlines()
        self.assertRegex(lines[0], f"^{NOBODY} +unreachable +All, Same +nothing answers")
        self.assertRegex(lines[1], "/ready/1 +ready +All, Same +Cyan 9 % +toner-low-warning$")
        self.assertRegex(lines[2], "/refuses/1 +refused +Bad, Good +Cyan 9 % +toner-low-warning +"
                                   "Bad: media A4 is refused, it offers iso_a4_210x297mm, ")
        self.assertEqual("3 printers: 1 ready, 1 refused, 1 unreachable", lines[3])
        self.assertIn("2 of 3 printers are not ready", table.err)
        rows = list(csv.DictReader(io.StringIO(comma.out)))
        self.assertEqual(["unreachable", "ready", "refused"], [row["state"] for row in rows])
        self.assertEqual([NOBODY, self.ready], [one["url"] for one in group.json()])
        self.assertEqual(["All", "Same"], group.json()[1]["ports"])
        self.assertEqual([self.refuses], ports.out.split())
        self.assertEqual([(True, []), (True, [])],
                         [(one["ready"], one["ports"]) for one in urls.json()])
        self.assertEqual([self.ready, self.base + "/ready/2"], names.out.split()[:2])
        self.assertEqual("", quiet.out)

    def test_results_come_as_they_are_known(self):
        # It sorts before the other, and comes after it.
        silent = self.base.replace("localhost", "127.0.0.1") + "/silent/1"
        code, shown = self.prefix.tool_on_terminal(
            ["probe", silent, self.ready, "--timeout", "3"], lambda: False, b"")
        self.assertEqual(PRINTER, code, shown)
        self.assertRegex(shown, "(?s)PRINTER.*/ready/1 .*ready.*/silent/1 .*unreachable.*in time"
                                ".*2 printers: 1 ready, 1 unreachable")


if __name__ == "__main__":
    run_tests(__doc__, "printers-")
