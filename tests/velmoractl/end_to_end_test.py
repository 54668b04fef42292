#!/usr/bin/env python3
"""The administration tool from an empty Wine prefix to printed pages.

    end_to_end_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import argparse
import json
import os
import sys
import tempfile
import unittest

from tool_prefix import DOWNLOAD, MONITORS, Printer, ToolPrefix, peer_process

MONITOR = "Velmora IPP Port"
KEY = "HKLM\\Software\\Velmora"
DOCUMENT = b"%!PS\n" + b"% a page\n" * 2000 + b"showpage\n"

options = None
directory = None

DONE, FAILED, USAGE, NOT_FOUND, CONFLICT, DENIED, NOT_INSTALLED, PRINTER = range(8)


class Tool(unittest.TestCase):
    """A prefix of its own a class."""

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(dir=directory)
        cls.prefix = ToolPrefix(options.arch, options.built, cls.place)
        cls.addClassCleanup(cls.prefix.stop)

    def run_tool(self, code, *words, stdin=b""):
        return self.check(code, words, self.prefix.tool(*words, stdin=stdin))

    def check(self, code, words, result):
        self.assertEqual(code, result.code, f"{words}: {result!r}")
        if code != DONE:
            # One line: what failed, why, what to do.
            lines = [line for line in result.err.splitlines() if " %" not in line]
            self.assertEqual(1, len(lines), repr(result))
            self.assertRegex(lines[0], "^velmoractl: .*: .*; .*")
        return result

    def done(self, *words, stdin=b""):
        return self.run_tool(DONE, *words, stdin=stdin)

    @classmethod
    def install(cls):
        result = cls.prefix.tool("install")
        assert result.code == DONE, result
        cls.prefix.use_shim(MONITOR)

    def write(self, name, content):
        with open(self.prefix.path(name), "wb") as file:
            file.write(content)
        return "C:\\" + name

    def read_json(self, name):
        with open(self.prefix.path(name), encoding="utf-8") as file:
            return json.load(file)


class WithPrinter(Tool):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.printer = Printer(os.path.join(cls.place, "printer"))
        cls.addClassCleanup(cls.printer.stop)
        assert cls.printer.url


class FromDownloadToPage(WithPrinter):
    def test_everything_in_order(self):
        self.nothing_is_there_yet()
        self.installing_can_be_repeated()
        self.prefix.use_shim(MONITOR)
        self.a_port_prints()
        self.a_wiped_configuration_comes_back()
        self.uninstalling_can_be_repeated()

    def nothing_is_there_yet(self):
        self.run_tool(NOT_INSTALLED, "status")
        self.run_tool(NOT_INSTALLED, "port", "list")
        self.assertIn("nothing to undo", self.done("uninstall").out)
        # Questions leave no trace.
        self.assertFalse(os.path.exists(self.prefix.path("windows", "system32", "Velmora.dat")))

    def installing_can_be_repeated(self):
        first = self.done("install")
        self.assertIn("has been copied", first.out)
        self.assertIn("has been registered", first.out)
        again = self.done("install", "--json").json()
        self.assertEqual("is already there", again["library"])
        self.assertEqual("is kept as it was", again["settings"])
        self.assertFalse(again["registered-now"])
        self.assertEqual("", self.done("install", "--quiet").out)

    def a_port_prints(self):
        self.done("port", "add", "Office", "--url", self.printer.url, "--user", "Erika",
                  "--password-stdin", stdin=b"s3cret\r\n")
        self.done("port", "set", "Office", "--no-authentication", "--print-quality", "high")
        shown = self.done("port", "show", "Office", "--json").json()
        self.assertEqual("high", shown["job-template"]["print-quality"])
        self.assertFalse(shown["authentication"])
        self.prints("Office", 1)

    def prints(self, port, count):
        path = self.write("page.ps", DOCUMENT)
        self.prefix.let_spooler_find(MONITOR, port)
        result = self.done("print", path, "--port", port)
        self.assertIn("100 %", result.err)
        documents = self.printer.documents()
        self.assertEqual(count, len(documents))
        self.assertEqual(DOCUMENT, documents[-1])

    def a_wiped_configuration_comes_back(self):
        self.done("group", "add", "First floor")
        self.done("group", "add", "First floor/Caf\u00e9")
        self.done("printer", "add", "First floor/Caf\u00e9/Sales", "--url", self.printer.url,
                  "--user", "Max", "--password", "pass word")
        self.done("port", "add", "Everywhere", "--group", "First floor", "--media", "Custom roll",
                  "--finishings", "staple", "--page-ranges", "1-3,7")
        self.done("export", "C:\\all.json", "--with-passwords")
        self.assertIn("pass word", json.dumps(self.read_json("all.json")))
        self.done("export", "C:\\open.json")
        self.assertNotIn("pass word", json.dumps(self.read_json("open.json")))
        before = self.prefix.exported_key(KEY)
        self.assertGreater(len(before), 1000)

        self.done("uninstall", "--ports", "remove")
        self.assertEqual(b"", self.prefix.exported_key(KEY + "\\Ipp\\PortMonitor\\1.1"))
        self.install()
        wiped = self.prefix.exported_key(KEY)
        self.assertNotEqual(before, wiped)
        planned = self.done("import", "C:\\all.json", "--dry-run").out
        self.assertIn('add port "Everywhere"', planned)
        self.assertEqual(wiped, self.prefix.exported_key(KEY))
        self.done("import", "C:\\all.json")
        self.assertEqual(before, self.prefix.exported_key(KEY))
        self.assertIn("nothing to change", self.done("import", "C:\\all.json").out)
        # A file without passwords keeps those that are stored.
        self.done("import", "C:\\open.json")
        self.assertEqual(before, self.prefix.exported_key(KEY))
        self.prints("Office", 2)

    def uninstalling_can_be_repeated(self):
        self.run_tool(USAGE, "uninstall")  # nobody to ask
        self.assertTrue(self.done("status", "--json", "--no-probe").json()["registered"])
        self.done("uninstall", "--ports", "keep")
        self.assertFalse(os.path.exists(self.prefix.path("windows", "system32", "Velmora.dll")))
        self.install()
        self.assertEqual(2, len(self.done("port", "list", "--json").json()))
        self.done("uninstall", "--ports", "remove")
        self.assertIn("nothing to undo", self.done("uninstall", "--ports", "remove").out)
        self.assertFalse(os.path.exists(self.prefix.path("windows", "system32", "Velmora.dat")))


class ProbesOfBadPrinters(Tool):
    """No monitor is needed to look at a printer."""

    def probe(self, words, peer, *arguments):
        printer = Printer(os.path.join(self.place, "-".join(arguments)), peer, *arguments)
        try:
            result = self.run_tool(PRINTER, "probe", printer.url, "--timeout", "15")
        finally:
            printer.stop()
        self.assertRegex(result.out, words)

    def test_the_certificate_is_judged_in_words(self):
        self.probe("its authority .* is not trusted", "http_sink", "--certificate", "self-signed")
        self.probe("it expired on 2020-02-01", "http_sink", "--certificate", "expired")
        self.probe("for another host name than \"localhost\"", "http_sink", "--certificate",
                   "wrong-name")

    def test_what_answers_is_told(self):
        self.probe("asks for a user name and a password", "faulty_printer", "unauthorized")
        self.probe("no printer at the URL's path", "faulty_printer", "not-found")
        self.probe("does not speak IPP", "faulty_printer", "html")
        self.probe("server-error-not-accepting-jobs", "faulty_printer", "--size", "1286",
                   "ipp-status")

    def test_a_printer_that_never_answers_ends_in_time(self):
        printer = Printer(os.path.join(self.place, "silent"), "faulty_printer", "--seconds", "100",
                          "never-answers")
        try:
            result = self.run_tool(PRINTER, "probe", printer.url, "--timeout", "3")
        finally:
            printer.stop()
        self.assertIn("does not answer in time", result.out)


class Verbs(WithPrinter):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.install()
        cls.prefix.tool("port", "add", "Office", "--url", cls.printer.url)
        cls.prefix.tool("group", "add", "Floor")
        cls.prefix.tool("printer", "add", "Floor/Sales", "--url", cls.printer.url)
        cls.prefix.tool("port", "add", "All", "--group", "Floor")

    def test_every_verb_has_help_with_an_example(self):
        groups = {"port": ["add", "set", "show", "list", "remove"],
                  "group": ["add", "rename", "move", "remove", "list"],
                  "printer": ["add", "set", "show", "rename", "move", "remove", "list"]}
        verbs = [["install"], ["uninstall"], ["status"], ["export"], ["import"], ["probe"],
                 ["jobs"], ["print"]]
        verbs += [[group, verb] for group, names in groups.items() for verb in names]
        results = self.prefix.tool_batch([[*verb, "--help"] for verb in verbs])
        for verb, result in zip(verbs, results):
            with self.subTest(verb=verb):
                self.check(DONE, verb, result)
                self.assertIn("Example:\n  velmoractl " + " ".join(verb), result.out)
        self.assertIn("Exit codes", self.done("--help").out)

    def test_wrong_input_is_told_and_changes_nothing(self):
        url = self.printer.url
        long = "x" * 1100
        cases = [
            (USAGE, []), (USAGE, ["sing"]), (USAGE, ["port"]), (USAGE, ["port", "sing"]),
            (USAGE, ["port", "add"]), (USAGE, ["port", "add", "P"]),
            (USAGE, ["port", "add", "", "--url", url]),
            (USAGE, ["port", "add", "a\\b", "--url", url]),
            (USAGE, ["port", "add", "a,b", "--url", url]),
            (USAGE, ["port", "add", "x" * 256, "--url", url]),
            (USAGE, ["port", "add", "P", "--url", ""]),
            (USAGE, ["port", "add", "P", "--url", "http://h" + long]),
            (USAGE, ["port", "add", "P", "--url", url, "--group", "Floor"]),
            (NOT_FOUND, ["port", "add", "P", "--group", "Cellar"]),
            (CONFLICT, ["port", "add", "Office", "--url", url]),
            (CONFLICT, ["port", "add", "OFFICE", "--url", url]),
            (USAGE, ["port", "add", "P", "--url", url, "--password", "p"]),
            (USAGE, ["port", "add", "P", "--url", url, "--user", "u", "--no-authentication"]),
            (USAGE, ["port", "add", "P", "--url", url, "--media", "m" * 1000]),
            (USAGE, ["port", "add", "P", "--group", "Floor", "--user", "u"]),
            (USAGE, ["port", "set", "Office", "--copies", "0"]),
            (USAGE, ["port", "set", "Office", "--job-priority", "101"]),
            (USAGE, ["port", "set", "Office", "--no-such-option"]),
            (NOT_FOUND, ["port", "set", "P", "--copies", "2"]),
            (NOT_FOUND, ["port", "show", "P"]), (NOT_FOUND, ["port", "remove", "P"]),
            (NOT_FOUND, ["port", "show", "office"]), (USAGE, ["port", "list", "P"]),
            (USAGE, ["group", "add"]), (USAGE, ["group", "add", ""]),
            (CONFLICT, ["group", "add", "Floor"]), (NOT_FOUND, ["group", "add", "Cellar/A"]),
            (NOT_FOUND, ["group", "rename", "Cellar", "A"]),
            (CONFLICT, ["group", "move", "Floor", "Floor"]),
            (CONFLICT, ["group", "remove", "Floor"]), (CONFLICT, ["group", "remove", "/"]),
            (NOT_FOUND, ["group", "remove", "#99"]), (NOT_FOUND, ["group", "remove", "Floor/Sales"]),
            (USAGE, ["printer", "add", "Floor/A"]),
            (USAGE, ["printer", "add", "Floor/A", "--url", ""]),
            (CONFLICT, ["printer", "add", "Floor/Sales", "--url", url]),
            (NOT_FOUND, ["printer", "set", "Floor", "--name", "A"]),
            (NOT_FOUND, ["printer", "show", "A"]),
            (USAGE, ["printer", "rename", "Floor/Sales", ""]),
            (NOT_FOUND, ["printer", "move", "Floor/Sales", "Cellar"]),
            (NOT_FOUND, ["printer", "remove", "A"]),
            (FAILED, ["export", "C:\\no\\such\\folder\\file"]), (USAGE, ["export"]),
            (USAGE, ["import", "C:\\no-such-file"]),
            (USAGE, ["probe"]), (USAGE, ["probe", url, "--port", "Office"]),
            (NOT_FOUND, ["probe", "--port", "P"]), (USAGE, ["probe", url, "--timeout", "0"]),
            (PRINTER, ["probe", "host:631/path"]), (PRINTER, ["probe", "ipp://127.0.0.1:1/"]),
            (USAGE, ["jobs"]), (USAGE, ["jobs", ""]), (PRINTER, ["jobs", "ipp://127.0.0.1:1/x"]),
            (USAGE, ["print", "C:\\no-such-file", "--port", "Office"]),
            (NOT_FOUND, ["print", DOWNLOAD + "\\Velmora.dat", "--port", "P"]),
            (USAGE, ["install", "--from", "C:\\windows"]),
            (USAGE, ["install", "--language", "xx"]), (USAGE, ["install", "--server", "elsewhere"]),
            (USAGE, ["uninstall", "--ports", "burn"]), (USAGE, ["status", "--timeout", "x"]),
            (NOT_INSTALLED, ["port", "list", "--monitor", "Another"]),
        ]
        before = self.prefix.exported_key(KEY)
        results = self.prefix.tool_batch([words for _, words in cases])
        for (code, words), result in zip(cases, results):
            with self.subTest(words=words):
                self.check(code, words, result)
        self.assertEqual(before, self.prefix.exported_key(KEY))

    def test_a_bad_value_of_the_job_template_names_what_is_allowed(self):
        cases = {"job-priority": "1 to 100", "job-hold-until": "no-hold", "copies": "2147483647",
                 "printer-resolution": "600dpi", "print-quality": "draft, normal, high",
                 "page-ranges": "1,3,5-12", "orientation-requested": "portrait",
                 "number-up": "1, 2, 4", "sides": "two-sided-long-edge",
                 "multiple-document-handling": "single-document", "finishings": "staple",
                 "job-sheets": "standard", "ipp-attribute-fidelity": "true, false"}
        commands = [["port", "set", "Office", "--" + name, "bad-value"] for name in cases]
        results = self.prefix.tool_batch(commands)
        for (name, allowed), result in zip(cases.items(), results):
            with self.subTest(name=name):
                self.check(USAGE, name, result)
                self.assertIn("--" + name, result.err)
                self.assertIn(allowed, result.err)
        self.assertIn("JIS B5", self.run_tool(USAGE, "port", "set", "Office", "--media", "").err)

    def test_bad_files_are_refused_whole(self):
        good = {"format": "velmora-configuration", "version": 1,
                "ports": [{"name": "New", "url": self.printer.url}]}
        bad_port = {"name": "New2", "url": self.printer.url, "job-template": {"sides": "three"}}
        files = [b"", b"{", b"[]", b"\xff\xfe", b'{"format":"velmora-configuration","version":2}',
                 json.dumps(dict(good, extra=1)).encode(),
                 json.dumps(dict(good, ports=good["ports"] * 2)).encode(),
                 json.dumps(dict(good, ports=good["ports"] + [bad_port])).encode()]
        before = self.prefix.exported_key(KEY)
        names = [self.write(f"bad{index}.json", content) for index, content in enumerate(files)]
        for name, result in zip(names, self.prefix.tool_batch([["import", name] for name in names])):
            with self.subTest(name=name):
                self.check(USAGE, name, result)
        self.assertEqual(before, self.prefix.exported_key(KEY))

    def test_directory_verbs_change_what_they_say(self):
        self.done("group", "add", "Wing")
        self.done("group", "rename", "Wing", "Tower")
        self.done("printer", "add", "Tower/Top", "--url", "ipp://127.0.0.1:1/x")
        self.done("printer", "set", "Tower/Top", "--name", "High", "--url", self.printer.url)
        self.done("printer", "rename", "Tower/High", "Higher")
        self.done("printer", "move", "Tower/Higher", "Floor")
        self.assertEqual(self.printer.url,
                         self.done("printer", "show", "Floor/Higher", "--json").json()["url"])
        self.done("group", "move", "Tower", "Floor")
        self.assertIn('"Floor/Tower"', self.done("group", "list").out)
        self.done("group", "remove", "Floor/Tower")
        self.done("printer", "remove", "Floor/Higher")
        self.assertNotIn("Higher", self.done("printer", "list").out)

    def test_status_tells_which_printers_answer(self):
        status = self.done("status", "--json").json()
        self.assertTrue(status["registered"])
        self.assertRegex(status["version"], r"^\d+\.\d+\.\d+\.\d+$")
        self.assertEqual([True, True],
                         [one["printers"][0]["answers"] for one in status["ports"]])

    def test_probe_tells_what_a_job_would_meet(self):
        result = self.done("probe", "--port", "Office")
        self.assertIn("answers without a user name", result.out)
        self.assertIn("would be accepted", result.out)
        self.done("port", "add", "Odd", "--url", self.printer.url, "--media", "Papyrus")
        refused = self.run_tool(PRINTER, "probe", "--port", "Odd")
        self.assertRegex(refused.out, "media: Papyrus is refused; the printer offers A4")
        self.done("port", "remove", "Odd")

    def test_jobs_lists_the_printers_jobs(self):
        path = self.write("page.ps", DOCUMENT)
        self.prefix.let_spooler_find(MONITOR, "Office")
        self.done("print", path, "--port", "Office", "--title", "Quarterly report", "--quiet")
        jobs = self.done("jobs", self.printer.url, "--completed", "--json").json()
        self.assertIn("Quarterly report", [job["name"] for job in jobs])

    def test_print_to_a_printer_that_is_off_fails_and_says_so(self):
        self.done("port", "add", "Off", "--url", "ipp://127.0.0.1:1/ipp/print")
        self.prefix.let_spooler_find(MONITOR, "Off")
        self.run_tool(PRINTER, "print", self.write("page.ps", DOCUMENT), "--port", "Off")
        self.done("port", "remove", "Off")


def main():
    global options, directory
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--arch", required=True)
    parser.add_argument("--built", required=True)
    parser.add_argument("tests", nargs="*")
    options = parser.parse_args()
    options.built = os.path.abspath(options.built)
    peer_process.end_on_signal()
    # Beside the Wine template: its files are shared by hard links.
    with tempfile.TemporaryDirectory(prefix="ctl-", dir=options.built,
                                     ignore_cleanup_errors=True) as directory:
        program = unittest.main(argv=[sys.argv[0], "-v", *options.tests], exit=False)
    sys.exit(0 if program.result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
