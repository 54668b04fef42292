#!/usr/bin/env python3
"""tools/mutate on a small library whose test checks one of its two functions."""

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
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
add_library(small_core STATIC room/limits.cpp)
target_include_directories(small_core PUBLIC ${CMAKE_SOURCE_DIR})
add_executable(limits_test tests/limits_test.cpp)
target_link_libraries(limits_test small_core)
""",
    "room/limits.h": "bool fits(int size);\nint twice(int size);\n",
    "room/limits.cpp": """#include "room/limits.h"

// if (size == 7) is a remark.
bool fits(int size) {
    return size <= 10;
}

int twice(int size) {
    return size * 2;
}
""",
    "tests/limits_test.cpp": """#include "room/limits.h"

int main() {
    return fits(10) && !fits(11) && twice(0) == 0 ? 0 : 1;
}
""",
}


class Mutate(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        for path, text in TREE.items():
            cls.write(path, text)
        subprocess.run(["cmake", "-G", "Ninja", "-S", cls.folder.name, "-B",
                        os.path.join(cls.folder.name, "build")], check=True, timeout=120,
                       stdout=subprocess.DEVNULL)

    @classmethod
    def write(cls, path, text):
        path = os.path.join(cls.folder.name, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def tearDown(self):
        for path, text in TREE.items():
            self.write(path, text)
        self.write("tools/mutate.equivalent", "")

    def mutate(self, *words):
        run = subprocess.run([os.path.join(ROOT, "tools", "mutate"), "--root", self.folder.name,
                              "--build", "build", *words],
                             capture_output=True, text=True, timeout=300, check=False)
        return run.returncode, run.stdout + run.stderr

    def test_what_no_test_asks_for_survives(self):
        code, output = self.mutate()
        self.assertEqual(0, code, output)
        survived = re.findall(r"^survived: room/limits.cpp:(\d+): ([a-z ]+ `.*?` -> `.*?`)", output, re.M)
        self.assertEqual([("8", "early return `` -> `return {};`"), ("9", "constant `2` -> `3`"),
                          ("9", "operator `*` -> `/`"),
                          ("9", "return `return size * 2` -> `return {}`")], sorted(survived))
        self.assertIn("mutate: 4 of 8 changes noticed, score 50.0 %", output)
        for noticed in ("comparison `<=` -> `<`", "constant `10` -> `11`"):
            self.assertIn(noticed + ": killed by limits_test", output)
        with open(os.path.join(self.folder.name, "room/limits.cpp"), encoding="utf-8") as file:
            self.assertEqual(TREE["room/limits.cpp"], file.read())

    def test_a_low_score_is_an_error_where_a_floor_is_given(self):
        code, output = self.mutate("--floor", "85")
        self.assertEqual(1, code, output)

    def test_a_seed_chooses_the_same_sample_again(self):
        first, second = (self.mutate("--sample", "3", "--seed", "7", "--jobs", "1")[1] for _ in "12")
        self.assertEqual(first, second)
        self.assertIn("of 3 changes", first)

    def test_changes_that_mean_the_same_are_left_out(self):
        self.write("tools/mutate.equivalent", "room/limits.cpp | constant | return size * 2; | 14 | a reason\n")
        code, output = self.mutate("room")
        self.assertEqual(0, code, output)
        self.assertIn("4 of 7 changes", output)

    def test_a_raw_text_is_a_text(self):
        self.write("room/limits.cpp", TREE["room/limits.cpp"].replace(
            "return size * 2;", 'return R"x(\n1 + 1 "\n)x"[0] + size;'))
        code, output = self.mutate("--list")
        self.assertEqual(0, code, output)
        self.assertEqual(["10", "0"], re.findall(r": constant `(\d+)`", output), output)

    def test_a_listed_change_that_is_no_longer_there_is_an_error(self):
        self.write("tools/mutate.equivalent", "room/limits.cpp | constant | return size * 3; | 14 | a reason\n")
        code, output = self.mutate("--sample", "1")
        self.assertEqual(1, code, output)
        self.assertIn("no such change any more", output)

    def test_a_test_that_fails_without_a_change_proves_nothing(self):
        self.write("tests/limits_test.cpp", TREE["tests/limits_test.cpp"].replace("? 0", "? 1"))
        code, output = self.mutate()
        self.assertEqual(1, code, output)
        self.assertIn("limits_test fails without a change", output)

    def test_a_place_without_pure_code_is_an_error(self):
        code, output = self.mutate("nowhere")
        self.assertEqual(2, code, output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
