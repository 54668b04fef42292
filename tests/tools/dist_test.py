#!/usr/bin/env python3
"""The download: what is in it, its checksums, and that it comes out the same again. The programs in
it are stand-ins; the texts and pictures are the real ones."""

import hashlib
import os
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PROGRAMS = ["x86/Velmora.dll", "x86/velmoractl.exe", "x64/Velmora.dll", "x64/velmoractl.exe"]


def dist(*words):
    return subprocess.run([sys.executable, os.path.join(ROOT, "tools", "dist"), *words],
                          capture_output=True, text=True, timeout=120, check=False)


class Dist(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.built = os.path.join(place.name, "built")
        self.output = os.path.join(place.name, "output")
        for name in PROGRAMS:
            arch, program = name.split("/")
            path = os.path.join(self.built, arch, "bin", program)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="ascii") as file:
                file.write("stand-in for " + name)

    def make(self):
        """The zip's path and its files by name, the folder in front taken off."""
        result = dist("--built", self.built, "--output", self.output)
        self.assertEqual(0, result.returncode, result.stderr)
        path = result.stdout.split(": ")[0]
        with zipfile.ZipFile(path) as archive:
            self.assertIsNone(archive.testzip())
            files = {name: archive.read(name) for name in archive.namelist()}
        top = os.path.basename(path)[:-len(".zip")]
        self.assertEqual({top}, {name.split("/")[0] for name in files})
        return path, {name[len(top) + 1:]: data for name, data in files.items()}

    def test_everything_is_in_it_with_its_checksum(self):
        path, files = self.make()
        for name in [*PROGRAMS, "x86/Velmora.dat", "x64/Velmora.dat", "languages/Velmora.de.dat",
                     "docs/install.md", "docs/images/new-port.png", "LICENSE.txt",
                     "THIRD-PARTY.txt"]:
            self.assertIn(name, files)
        sums = dict(reversed(line.split(" *", 1))
                    for line in files.pop("SHA256SUMS.txt").decode("ascii").splitlines())
        self.assertEqual({name: hashlib.sha256(data).hexdigest() for name, data in files.items()},
                         sums)
        with open(path, "rb") as file:
            whole = hashlib.sha256(file.read()).hexdigest()
        with open(path + ".sha256", encoding="ascii") as file:
            self.assertEqual(f"{whole} *{os.path.basename(path)}\n", file.read())

    def test_what_the_documents_point_to_is_there(self):
        _, files = self.make()
        for name, data in files.items():
            if not name.endswith(".md"):
                continue
            for target in re.findall(r"\]\(([^)#]+)[^)]*\)", data.decode("utf-8")):
                if "://" in target:
                    continue
                with self.subTest(document=name, target=target):
                    place = os.path.normpath(os.path.join(os.path.dirname(name), target))
                    self.assertIn(place, files)

    def test_the_same_files_give_the_same_zip(self):
        contents = []
        for _ in range(2):
            with open(self.make()[0], "rb") as file:
                contents.append(file.read())
        self.assertEqual(contents[0], contents[1])

    def test_a_missing_program_is_told_in_one_line(self):
        os.remove(os.path.join(self.built, "x64", "bin", "velmoractl.exe"))
        result = dist("--built", self.built, "--output", self.output)
        self.assertNotEqual(0, result.returncode)
        self.assertRegex(result.stderr, r"^dist: .*x64.*velmoractl\.exe: No such file.*\n$")


if __name__ == "__main__":
    unittest.main()
