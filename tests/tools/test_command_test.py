#!/usr/bin/env python3
"""tools/test: what its arguments mean. Installing, CMake and CTest are stand-ins that record their
calls."""

import os
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
NOTE = '#!/bin/sh\necho "${0##*/} $*" >>"$NOTES"\n'
# The stand-in knows event_test in both builds and page_test in the one for Windows.
CMAKE = NOTE + """case "$*" in
    *native*help) echo "event_test: phony" ;;
    *x86*help) echo "event_test: phony"; echo "page_test: phony" ;;
esac
"""
CTEST = NOTE + """case "$*" in
    *-N*) [ -z "${WHOLE:-}" ] && echo "Total Tests: 1" || echo "Total Tests: 0" ;;
    *) echo "filter ${GTEST_FILTER:-none}" >>"$NOTES"
       echo "${RESULT:-100% tests passed, 0 tests failed out of 1}" ;;
esac
"""
CMAKE_FILE = """# velmora_test(commented_test SOURCES no.cpp)
velmora_test(event_test PURE SOURCES event_test.cpp LINK library)
if(WIN32)
    velmora_test(page_test DISPLAY
        SOURCES
            page_test.cpp
        LINK library)
endif()
velmora_script_test(demonstration_test SCRIPT ${somewhere})
"""


class TestCommand(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.root = place.name
        self.notes = os.path.join(self.root, "notes")
        os.mkdir(os.path.join(self.root, "tools"))
        for name in ("test", "list-files"):
            shutil.copy(os.path.join(ROOT, "tools", name), os.path.join(self.root, "tools"))
        self.write("tools/setup", NOTE)
        self.write("stand-ins/cmake", CMAKE)
        self.write("stand-ins/ctest", CTEST)
        self.write("tests/ui/CMakeLists.txt", CMAKE_FILE)
        self.write("tests/ui/event_test.cpp", "TEST(Event, WakesAll) {}\nTEST_F(Queue,\n  Ends) {}\n")
        self.write("tests/ui/page_test.cpp", "TEST(Page, ShowsTexts) {}\n")
        self.write("fuzz/CMakeLists.txt", "velmora_fuzz(reader_fuzz\n    SOURCES reader_fuzz.cpp)\n")

    def write(self, name, text):
        path = os.path.join(self.root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, 0o755)

    def run_test(self, *words, **environment):
        path = os.path.join(self.root, "stand-ins") + os.pathsep + os.environ["PATH"]
        return subprocess.run(
            [os.path.join(self.root, "tools", "test"), *words], capture_output=True, text=True,
            env={**os.environ, "PATH": path, "NOTES": self.notes, **environment}, timeout=60,
            check=False)

    def noted(self):
        if not os.path.exists(self.notes):
            return []
        with open(self.notes, encoding="utf-8") as file:
            return file.read().splitlines()

    def touches_nothing(self):
        self.assertEqual([], self.noted())
        self.assertFalse(os.path.exists(os.path.join(self.root, "build")))

    def refused(self, *words):
        run = self.run_test(*words)
        self.assertEqual(2, run.returncode, run.stdout)
        self.assertEqual("", run.stdout)
        self.touches_nothing()
        return run.stderr

    def passes(self, *words, **environment):
        run = self.run_test(*words, **environment)
        self.assertEqual(0, run.returncode, run.stdout + run.stderr)
        self.assertIn("1 passed, 0 failed", run.stdout)
        return self.noted()

    def test_help_lists_the_steps_and_touches_nothing(self):
        run = self.run_test("--help")
        self.assertEqual(0, run.returncode)
        for step in ("format", "native", "mutate", "tsan", "fuzz", "x86", "x64", "tidy"):
            self.assertRegex(run.stdout, rf"\n +{step} ")
        self.touches_nothing()

    def test_list_gives_the_test_programs(self):
        run = self.run_test("--list")
        self.assertEqual(["demonstration_test", "event_test", "page_test", "reader_fuzz"],
                         run.stdout.split())
        self.touches_nothing()

    def test_what_is_unknown_is_refused_before_anything_is_installed(self):
        self.assertIn("nonsense", self.refused("nonsense"))
        self.refused("x86", "nonsense")
        self.refused("commented_test")
        self.refused("--frobnicate")
        self.refused("event_test", "page_test")
        self.refused("format", "event_test")

    def test_a_program_by_its_name_runs_natively_if_it_can(self):
        noted = self.passes("event_test")
        self.assertEqual("setup ", noted[0])
        self.assertTrue(any(line.startswith("cmake --build --preset native")
                            and line.endswith("--target event_test") for line in noted), noted)
        self.assertFalse(any("x86" in line for line in noted), noted)

    def test_a_program_that_shows_windows_runs_on_windows(self):
        noted = self.passes("page_te")
        self.assertTrue(any(line.startswith("ctest --preset x86") and "-R ^page_test(/|$)" in line
                            for line in noted), noted)

    def test_the_build_can_be_chosen(self):
        noted = self.passes("x86", "event_test")
        self.assertFalse(any("native" in line for line in noted), noted)

    def test_one_test_of_a_program(self):
        noted = self.passes("Queue.En")
        self.assertTrue(any("-R ^event_test/.*Queue\\.En" in line for line in noted), noted)
        self.assertEqual("filter none", noted[-1])

    def test_one_test_of_a_program_that_runs_as_a_whole(self):
        self.assertEqual("filter *ShowsTexts*", self.passes("ShowsTexts", WHOLE="1")[-1])

    def test_a_run_without_a_test_fails(self):
        run = self.run_test("event_test", RESULT="No tests were found!!!")
        self.assertEqual(1, run.returncode)
        self.assertIn("no test was run", run.stdout)

    def test_a_failure_is_told(self):
        run = self.run_test("event_test", RESULT="50% tests passed, 1 tests failed out of 2")
        self.assertEqual(1, run.returncode)
        self.assertIn("1 passed, 1 failed", run.stdout)

    def test_changes_that_too_few_tests_notice_fail(self):
        self.write("tools/mutate", NOTE + 'echo "survived: a line"; exit "${ENDS:-0}"\n')
        noted = self.passes("mutate")
        self.assertIn("mutate --sample 40 --floor 85 --jobs", noted[-1])
        self.assertNotIn("--seed", noted[-1])
        run = self.run_test("mutate", ENDS="1")
        self.assertEqual(1, run.returncode)
        self.assertIn("survived: a line", run.stdout)
        self.assertIn("0 passed, 1 failed", run.stdout)


if __name__ == "__main__":
    unittest.main()
