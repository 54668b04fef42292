#!/usr/bin/env python3
"""A print server for some seconds: nothing is lost; and what printers damage is found.

    soak_test.py ARCH BUILD_DIRECTORY
"""

import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SOAK = os.path.join(ROOT, "harness", "soak", "soak.py")
SVG = "{http://www.w3.org/2000/svg}"
arch, build = sys.argv[1:3]


class Soak(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.out = folder.name

    def soak(self, *words):
        run = subprocess.run([sys.executable, SOAK, "--arch", arch, "--built", build, "--small",
                              "--out", self.out, *words], capture_output=True, text=True,
                             timeout=400, check=False)
        return run.returncode, run.stdout + run.stderr

    def test_a_day_of_some_seconds_loses_nothing(self):
        code, said = self.soak("--minutes", "0.15", "--seed", "21")
        self.assertEqual(code, 0, said)
        self.assertIn("nothing lost, nothing mangled, nothing held", said)
        self.assertEqual(os.path.getsize(os.path.join(self.out, "findings.txt")), 0)
        chart = xml.etree.ElementTree.parse(os.path.join(self.out, "soak.svg"))
        self.assertGreater(len(chart.findall(f".//{SVG}circle")), 10, "a dot a job")
        for line in chart.findall(f".//{SVG}polyline"):
            self.assertIn(",", line.get("points"))

    def test_a_printer_that_loses_a_byte_is_found(self):
        code, said = self.soak("--minutes", "0.05", "--damages")
        self.assertEqual(code, 1, said)
        self.assertIn("WRONG: mangled: soak ", said)
        self.assertNotIn("nothing lost", said)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
