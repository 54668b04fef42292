#!/usr/bin/env python3
"""tools/list-files with a repository and without one."""

import os
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FILES = ["CMakeLists.txt", "ui/page.cpp", "ui/kit/list.h", ".ci/run", "with space.h"]
IGNORED = ["build/x86/page.h", "dist/velmora.zip", "ui/page.cpp.swp"]


class ListFiles(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.root = place.name
        for name in FILES + IGNORED:
            os.makedirs(os.path.dirname(os.path.join(self.root, name)), exist_ok=True)
            with open(os.path.join(self.root, name), "w", encoding="ascii"):
                pass
        shutil.copy(os.path.join(ROOT, ".gitignore"), self.root)

    def run_tool(self, *patterns):
        return subprocess.run([os.path.join(ROOT, "tools", "list-files"), "-C", self.root, *patterns],
                              capture_output=True, text=True, timeout=60, check=False)

    def names(self, *patterns):
        run = self.run_tool(*patterns)
        self.assertEqual(0, run.returncode, run.stderr)
        return run.stdout.splitlines()

    def check_everything(self):
        self.assertEqual(sorted([*FILES, ".gitignore"]), self.names())
        self.assertEqual(["ui/kit/list.h", "ui/page.cpp", "with space.h"],
                         self.names("*.h", "ui/*.cpp"))

    def test_without_a_repository(self):
        self.check_everything()

    def test_in_a_repository(self):
        if not shutil.which("git"):
            return  # no difference on a machine without it
        subprocess.run(["git", "init", "-q", self.root], check=True)
        self.check_everything()
        subprocess.run(["git", "-C", self.root, "add", "."], check=True)
        self.check_everything()
        os.remove(os.path.join(self.root, "ui/page.cpp"))
        self.assertEqual(["ui/kit/list.h"], self.names("ui/*"))

    def test_to_find_nothing_is_a_failure(self):
        run = self.run_tool("*.java")
        self.assertEqual(1, run.returncode)
        self.assertEqual("", run.stdout)
        self.assertIn("*.java", run.stderr)


if __name__ == "__main__":
    unittest.main()
