#!/usr/bin/env python3
"""tools/fuzz on two small targets, of which one fails for some inputs."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TREE = {
    "CMakeLists.txt": """cmake_minimum_required(VERSION 3.25)
project(Small CXX)
enable_testing()
foreach(name sound_fuzz broken_fuzz)
    add_executable(${name} ${name}.cpp)
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    add_test(NAME ${name} COMMAND ${name} -seed=1 -runs=10 -max_len=8 ${CMAKE_BINARY_DIR})
    set_tests_properties(${name} PROPERTIES LABELS fuzz)
endforeach()
add_test(NAME another COMMAND false)
""",
    "sound_fuzz.cpp": """extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) {
    return 0;
}
""",
    "broken_fuzz.cpp": """extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data,
                                                          unsigned long size) {
    if (size > 1 && data[0] > 100) __builtin_trap();
    return 0;
}
""",
}


class Fuzz(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        for path, text in TREE.items():
            with open(os.path.join(cls.folder.name, path), "w", encoding="utf-8") as file:
                file.write(text)
        cls.build = os.path.join(cls.folder.name, "build")
        subprocess.run(["cmake", "-G", "Ninja", "-S", cls.folder.name, "-B", cls.build,
                        "-DCMAKE_CXX_COMPILER=clang++"], check=True, timeout=120,
                       stdout=subprocess.DEVNULL)

    def fuzz(self, *words):
        return subprocess.run([sys.executable, os.path.join(ROOT, "tools", "fuzz"), *words],
                              capture_output=True, text=True, timeout=240, check=False)

    def test_prints_what_a_target_did(self):
        run = self.fuzz("--minutes", "1", "--runs", "2000", "--build", self.build, "sound")
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertRegex(run.stdout, r"(?m)^sound_fuzz +2,00\d .* none$")
        self.assertNotIn("broken_fuzz", run.stdout)

    def test_fails_with_a_target_and_names_the_input(self):
        run = self.fuzz("--minutes", "1", "--runs", "1000000", "--build", self.build)
        self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
        self.assertRegex(run.stdout, r"(?m)^sound_fuzz .* none$")
        path = re.search(r"(?m)^broken_fuzz .* (\S+)$", run.stdout)[1]
        with open(path, "rb") as file:
            self.assertGreater(file.read()[0], 100)

    def test_ends_after_its_time(self):
        run = self.fuzz("--minutes", "0.03", "--build", self.build, "sound_fuzz")
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertRegex(run.stdout, r"(?m)^sound_fuzz +[\d,]+ .* none$")

    def test_names_an_unknown_target(self):
        run = self.fuzz("--minutes", "1", "--build", self.build, "other")
        self.assertEqual(run.returncode, 1)
        self.assertIn("no target is called other; there are broken_fuzz, sound_fuzz", run.stderr)

    def test_help_and_mistakes_touch_nothing(self):
        builds = sorted(os.listdir(os.path.join(ROOT, "build")))
        run = self.fuzz("--help")
        self.assertEqual(run.returncode, 0)
        self.assertIn("--minutes", run.stdout)
        for words in ([], ["--minutes", "0"], ["--minutes", "x"], ["--minutes", "1", "--jobs", "0"]):
            self.assertEqual(self.fuzz(*words).returncode, 2)
        self.assertEqual(sorted(os.listdir(os.path.join(ROOT, "build"))), builds)


if __name__ == "__main__":
    unittest.main()
