#!/usr/bin/env python3
"""tools/check-includes on a tree that keeps its rules, and on trees that each break one."""

import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TREE = {
    "platform/text.h": "#include <string>\n",
    "ipp/url.h": '#include "platform/text.h"\n',
    "ipp/reader.cpp": '#include "ipp/reader.h"\n',
    "ipp/reader.h": "#include <vector>\n",
    "ipp/CMakeLists.txt": "velmora_library(velmora_ipp_core\n    SOURCES\n        reader.cpp)\n",
    "ipp/job_template.h": "#include <string>\n",
    "directory/groups_db.h": "#include <string>\n",
    "port/port_config.h": "#include <string>\n",
    "directory/tree.h": '#include "platform/text.h"\n',
    "port/record.h": '#include "directory/tree.h"\n#include "ipp/url.h"\n',
    "monitor/list.h": '#include "port/record.h"\n#include "platform/text.h"\n',
    "ui/page.h": '#include <windows.h>\n\n#include "port/record.h"\n#include "ui/kit/rows.h"\n',
    "ui/kit/rows.h": '#include "platform/text.h"\n',
    "velmoractl/verbs.h": '#include "port/record.h"\n',
    "installer/actions.cpp": '#include "platform/text.h"\n',
    "dll/exports.cpp": '#include "monitor/list.h"\n#include "ui/page.h"\n',
    "harness/peer.h": "#include <string>\n",
    "tests/contract/dll_test.cpp": '#include "harness/peer.h"\n',
    "bench/bench.cpp": '#include "ipp/reader.h"\n',
    "fuzz/fuzz.cpp": '#include "ipp/reader.h"\n',
    "docs/architecture.md": "".join(f"    {edge}\n" for edge in (
        "dll --> monitor", "dll --> ui", "monitor --> port", "ui --> port", "velmoractl --> port",
        "installer --> platform",
        "ui --> ui_kit", "ui_kit --> platform", "port --> ipp", "port --> directory", "ipp --> platform", "directory --> platform")),
}


class CheckIncludes(unittest.TestCase):
    def check(self, changes):
        """The exit code and output of a check of TREE with changes; None takes a file out."""
        with tempfile.TemporaryDirectory() as root:
            for path, text in {**TREE, **changes}.items():
                if text is not None:
                    os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
                    with open(os.path.join(root, path), "w", encoding="utf-8") as file:
                        file.write(text)
            run = subprocess.run(
                [sys.executable, os.path.join(ROOT, "tools", "check-includes"), "--root", root],
                capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual("", run.stderr)
        return run.returncode, run.stdout

    def breaks(self, changes, problem):
        code, output = self.check(changes)
        self.assertEqual(1, code, output)
        self.assertEqual([f"error: {problem}"],
                         [line for line in output.splitlines() if line.startswith("error")])

    def test_a_tree_that_keeps_the_rules_passes(self):
        code, output = self.check({})
        self.assertEqual(0, code, output)

    def test_a_room_may_not_include_what_is_above_it(self):
        self.breaks({"platform/event.h": '#include "ipp/url.h"\n'},
                    "platform/event.h includes ipp/url.h: platform may not include ipp")

    def test_the_product_includes_nothing_of_the_tests(self):
        self.breaks({"velmoractl/probe.h": '  #  include "harness/peer.h"\n'},
                    "velmoractl/probe.h includes harness/peer.h: velmoractl may not include harness")

    def test_monitor_and_ui_do_not_include_each_other(self):
        self.breaks({"monitor/entries.h": '#include "ui/page.h"\n'},
                    "monitor/entries.h includes ui/page.h: monitor may not include ui")
        self.breaks({"ui/dialog.h": '#include "monitor/list.h"\n'},
                    "ui/dialog.h includes monitor/list.h: ui may not include monitor")

    def test_the_dialog_kit_knows_nothing_of_the_pages(self):
        self.breaks({"ui/kit/rows.h": '#include "ui/page.h"\n#include "platform/text.h"\n'},
                    "ui/kit/rows.h includes ui/page.h: ui/kit may not include ui")

    def test_a_pure_source_includes_no_windows_header(self):
        self.breaks({"ipp/reader.cpp": "#include <winnls.h>\n"},
                    "ipp/reader.cpp includes <winnls.h>, but ipp/reader.cpp is pure")

    def test_nor_does_a_header_of_a_pure_source(self):
        self.breaks({"ipp/reader.h": "#include <windows.h>\n"},
                    "ipp/reader.h includes <windows.h>, but ipp/reader.cpp is pure")

    def test_contract_tests_know_no_header_of_the_library(self):
        self.breaks({"tests/contract/dll_test.cpp": '#include "port/record.h"\n'},
                    "tests/contract/dll_test.cpp includes port/record.h: "
                    "contract tests know the built library alone")

    def test_an_include_names_an_existing_file_from_the_root(self):
        self.breaks({"ipp/reader.cpp": '#include "reader.h"\n'},
                    "ipp/reader.cpp includes reader.h: no such file")

    def test_two_headers_of_one_name_are_noticed(self):
        self.breaks({"harness/record.h": "#include <string>\n"},
                    "record.h is the name of several headers: harness/record.h, port/record.h")

    def test_a_header_may_not_have_the_name_of_a_generated_one(self):
        self.breaks({"monitor/events.h": "#include <string>\n",
                     "dll/CMakeLists.txt": "add_custom_command(OUTPUT events/events.h)\n"},
                    "events.h is the name of several headers: monitor/events.h, events/events.h")

    def test_a_header_that_too_many_sources_see_is_noticed(self):
        self.breaks({"ipp/reader.h": '#include "ipp/job_template.h"\n'},
                    "ipp/job_template.h is seen by 2 of 5 sources, more than 17 of a hundred")

    def test_a_header_that_is_not_there_has_not_been_counted(self):
        self.breaks({"port/port_config.h": None}, "port/port_config.h: no such header")

    def test_an_include_may_be_generated_by_the_build(self):
        source = {"monitor/events.cpp": '#include "events/texts.h"\n'}
        self.breaks(source, "monitor/events.cpp includes events/texts.h: no such file")
        code, output = self.check({**source, "monitor/CMakeLists.txt":
                                   "add_custom_command(\n    OUTPUT ${events}/texts.h\n)\n"})
        self.assertEqual(0, code, output)

    def test_every_source_belongs_to_a_room(self):
        self.breaks({"misc/helpers.h": "#include <string>\n"},
                    "misc/helpers.h: belongs to no room")

    def test_a_room_without_files_is_noticed(self):
        self.breaks({"fuzz/fuzz.cpp": None}, "fuzz: no source file was found there")

    def test_a_tree_without_pure_libraries_is_noticed(self):
        self.breaks({"ipp/CMakeLists.txt": "add_library(velmora_ipp reader.cpp)\n"},
                    "no pure library was found")

    def test_an_arrow_that_is_missing_in_the_drawing_is_noticed(self):
        drawing = TREE["docs/architecture.md"].replace("    port --> ipp\n", "")
        self.breaks({"docs/architecture.md": drawing},
                    "docs/architecture.md: an arrow is missing: port --> ipp")

    def test_an_arrow_that_is_not_true_is_noticed(self):
        drawing = TREE["docs/architecture.md"] + "    ui --> monitor\n"
        self.breaks({"docs/architecture.md": drawing},
                    "docs/architecture.md: an arrow is not true or not needed: ui --> monitor")

    def test_an_arrow_that_others_imply_is_noticed(self):
        drawing = TREE["docs/architecture.md"] + "    monitor --> platform\n"
        self.breaks({"docs/architecture.md": drawing},
                    "docs/architecture.md: an arrow is not true or not needed: monitor --> platform")

    def test_an_empty_tree_does_not_pass(self):
        code, _ = self.check(dict.fromkeys(TREE))
        self.assertEqual(1, code)

    def test_our_own_sources_keep_the_rules(self):
        run = subprocess.run([os.path.join(ROOT, "tools", "check-includes")], capture_output=True,
                             text=True, timeout=60, check=False)
        self.assertEqual(0, run.returncode, run.stdout)


if __name__ == "__main__":
    unittest.main()
