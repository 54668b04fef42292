#!/usr/bin/env python3
"""The administration tool from an empty Wine prefix to printed pages.

    end_to_end_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import argparse
import concurrent.futures
import json
import os
import re
import shlex
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness"))
from printer_peer import Printer
from tool_prefix import (CANCELLED, CONFLICT, DONE, DOWNLOAD, FAILED, NOT_FOUND, NOT_INSTALLED,
                         PRINT, PRINTER, ROOT, USAGE, Step, ToolPrefix, export_key,
                         let_spooler_find, peer_process, set_value, tool, use_shim)

MONITOR = "Velmora IPP Port"
KEY = "HKLM\\Software\\Velmora"
DOCUMENT = b"%!PS\n" + b"% a page\n" * 2000 + b"showpage\n"
NOBODY = "ipp://127.0.0.1:1/ipp/print"

options = None
directory = None


class Tool(unittest.TestCase):
    """A prefix of its own a class."""

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(dir=directory)
        cls.prefix = ToolPrefix(options.arch, options.built, cls.place)
        cls.addClassCleanup(cls.prefix.stop)

    def check(self, code, words, result):
        self.assertEqual(code, result.code, f"{words}: {result!r}")
        if code != DONE:
            # One line: what failed, why, what to do.
            lines = [line for line in result.err.splitlines() if " %" not in line]
            self.assertEqual(1, len(lines), f"{words}: {result!r}")
            self.assertRegex(lines[0], "^velmoractl: .*: .*; .*")
        return result

    def batch(self, *steps):
        """Results of the programs, each of which must end as its step says."""
        results = self.prefix.batch(steps)
        for step, result in zip(steps, results):
            with self.subTest(step=step.words):
                if step.is_tool:
                    self.check(step.code, step.words, result)
                else:
                    self.assertEqual(step.code, result.code, f"{step.words}: {result!r}")
        return results

    def system_file(self, name):
        return os.path.exists(self.prefix.path("windows", "system32", name))

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
        self.page = self.write("page.ps", DOCUMENT)
        self.nothing_is_there_yet()
        self.a_port_prints()
        self.a_wiped_configuration_comes_back()
        self.uninstalling_asks_and_can_be_repeated()

    def nothing_is_there_yet(self):
        _, status, _, uninstall = self.batch(
            tool("status", code=NOT_INSTALLED), tool("status", "--json", code=NOT_INSTALLED),
            tool("port", "list", code=NOT_INSTALLED), tool("uninstall"))
        self.assertFalse(status.json()["registered"])
        self.assertIn("nothing to undo", uninstall.out)
        # Questions leave no trace.
        self.assertFalse(self.system_file("Velmora.dat"))

    def a_port_prints(self):
        first, again, quiet, _, _, _, shown, status, _, printed = self.batch(
            tool("install"), tool("install", "--json"), tool("install", "--quiet"),
            use_shim(MONITOR),
            tool("port", "add", "Office", "--url", self.printer.url, "--user", "Erika",
                 "--password-stdin", stdin=b"s3cret\r\n"),
            tool("port", "set", "Office", "--no-authentication", "--print-quality", "high"),
            tool("port", "show", "Office", "--json"), tool("status", "--json", "--no-probe"),
            let_spooler_find(MONITOR, "Office"), tool("print", self.page, "--port", "Office"))
        self.assertIn("has been copied", first.out)
        self.assertIn("has been registered", first.out)
        self.assertEqual("is already there", again.json()["library"])
        self.assertEqual("is kept as it was", again.json()["settings"])
        self.assertIn("The policy below it has been written.", first.out)
        self.assertEqual("is kept as it was", again.json()["policy"])
        self.assertFalse(again.json()["registered-now"])
        self.assertEqual("", quiet.out)
        self.assertEqual("high", shown.json()["job-template"]["print-quality"])
        self.assertFalse(shown.json()["authentication"])
        self.assertTrue(status.json()["registered"])
        self.assertTrue(status.json()["key-restricted"])
        self.assert_printed(printed, 1)

    def assert_printed(self, result, count):
        self.assertIn("100 %", result.err)
        documents = self.printer.documents()
        self.assertEqual(count, len(documents))
        self.assertEqual(DOCUMENT, documents[-1])

    def a_wiped_configuration_comes_back(self):
        # Names beyond ASCII come from the command line, which a batch file would not give as it is.
        for words in (["group", "add", "Caf\u00e9"],
                      ["printer", "add", "Caf\u00e9/Sales", "--url", self.printer.url,
                       "--user", "Max", "--password", "pass word"]):
            self.check(DONE, words, self.prefix.tool(*words))
        *_, before, _, _ = self.batch(
            tool("port", "add", "Everywhere", "--group", "#2", "--media", "Custom roll",
                 "--finishings", "staple", "--page-ranges", "1-3,7"),
            tool("export", "C:\\all.json", "--with-passwords"), tool("export", "C:\\open.json"),
            export_key(KEY), tool("uninstall", "--ports", "remove"), Step(
                "reg", "query", KEY, code=1))
        self.assertIn("pass word", json.dumps(self.read_json("all.json")))
        self.assertNotIn("pass word", json.dumps(self.read_json("open.json")))
        self.assertIn("Caf\u00e9".encode("utf-16-le"), before.raw)

        (_, _, wiped, planned, still_wiped, _, imported, again, _, kept, _, printed) = self.batch(
            tool("install"), use_shim(MONITOR), export_key(KEY),
            tool("import", "C:\\all.json", "--dry-run"), export_key(KEY),
            tool("import", "C:\\all.json"), export_key(KEY), tool("import", "C:\\all.json"),
            # A file without passwords keeps those that are stored.
            tool("import", "C:\\open.json"), export_key(KEY),
            let_spooler_find(MONITOR, "Office"), tool("print", self.page, "--port", "Office"))
        self.assertIn('add port "Everywhere"', planned.out)
        self.assertNotEqual(before.raw, wiped.raw)
        self.assertEqual(wiped.raw, still_wiped.raw)
        self.assertEqual(before.raw, imported.raw)
        self.assertIn("nothing to change", again.out)
        self.assertEqual(before.raw, kept.raw)
        self.assert_printed(printed, 2)

    def uninstalling_asks_and_can_be_repeated(self):
        code, shown = self.prefix.tool_on_terminal(["uninstall"], b"cancel]", b"cancel\r")
        self.assertEqual(CANCELLED, code, shown)
        _, status, _ = self.batch(
            tool("uninstall", code=USAGE),  # nobody to ask
            tool("status", "--json", "--no-probe"), tool("uninstall", "--ports", "keep"))
        self.assertEqual(2, len(status.json()["ports"]))
        self.assertFalse(self.system_file("Velmora.dll"))
        self.assertTrue(self.system_file("Velmora.dat"))
        _, _, ports = self.batch(tool("install"), use_shim(MONITOR), tool("port", "list", "--json"))
        self.assertEqual(2, len(ports.json()))
        code, shown = self.prefix.tool_on_terminal(["uninstall"], b"cancel]", b"remove\r")
        self.assertEqual(DONE, code, shown)
        again, _ = self.batch(tool("uninstall", "--ports", "remove"),
                              Step("reg", "query", KEY, code=1))
        self.assertIn("nothing to undo", again.out)
        self.assertFalse(self.system_file("Velmora.dll"))
        self.assertFalse(self.system_file("Velmora.dat"))
        self.a_policy_is_written_once_and_kept()

    def a_policy_is_written_once_and_kept(self):
        policy = KEY + "\\Ipp\\PortMonitor\\1.1\\Policy"
        none, _, first, written, _, again, changed = self.batch(
            tool("install", "--policy", "none", "--json"), Step("reg", "query", policy, code=1),
            tool("install", "--json"), Step("reg", "query", policy),
            Step("reg", "delete", policy, "/v", "StatedSizes", "/f"),
            tool("install", "--policy", "standard", "--json"), Step("reg", "query", policy))
        self.assertEqual("has been left out", none.json()["policy"])
        self.assertEqual("has been written", first.json()["policy"])
        self.assertEqual("is kept as it was", again.json()["policy"])
        for name, number in (("AdministratorsOnly", 1), ("StatedSizes", 1), ("CloseConnections", 1),
                             ("FollowRedirects", 0), ("ConnectTimeout", 30), ("SendTimeout", 120),
                             ("ReceiveTimeout", 300), ("PromptDelivery", 1), ("DeliveryRecord", 20),
                             ("EventLog", 1)):
            self.assertRegex(written.out, f"{name} +REG_DWORD +{number:#x}\n")
        self.assertNotIn("StatedSizes", changed.out)
        self.assertIn("EventLog", changed.out)


class ProbesOfBadPrinters(Tool):
    """No monitor is needed to look at a printer."""

    def probe(self, words, peer, *arguments, verb="probe", timeout=60):
        """What the tool tells about a printer that misbehaves."""
        name = "-".join([verb, peer, *arguments])
        printer = Printer(os.path.join(self.place, name), peer, *arguments)
        try:
            words_of_tool = [verb, printer.url, "--timeout", str(timeout)]
            result = self.check(PRINTER, words_of_tool, self.prefix.tool(*words_of_tool))
        finally:
            printer.stop()
        self.assertRegex(result.out, words)

    def test_what_is_wrong_is_told_in_words(self):
        cases = [
            ('its authority "localhost" is not trusted', "http_sink", "--certificate",
             "self-signed"),
            ("it expired on 2020-02-01", "http_sink", "--certificate", "expired"),
            ('for another host name than "localhost"[^$]*chain: "elsewhere.invalid"|'
             'chain: "elsewhere.invalid"[^$]*for another host name than "localhost"', "http_sink",
             "--certificate", "wrong-name"),
            ("asks for a user name and a password", "faulty_printer", "unauthorized"),
            ("no printer at the URL's path", "faulty_printer", "not-found"),
            ("does not speak IPP", "faulty_printer", "html"),
            ("server-error-not-accepting-jobs", "faulty_printer", "--size", "1286", "ipp-status"),
            ("does not speak IPP", "faulty_printer", "--size", "8388608", "endless-attributes"),
        ]
        # Most of a probe is waiting. Wine runs several programs in one prefix.
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            runs = {pool.submit(self.probe, *case): case for case in cases}
            runs[pool.submit(self.probe, "does not answer in time", "faulty_printer", "--seconds",
                             "100", "never-answers", timeout=3)] = "never-answers"
            for run in concurrent.futures.as_completed(runs):
                with self.subTest(case=runs[run]):
                    run.result()

    def test_what_a_printer_says_cannot_attack_the_terminal(self):
        good, bad = (Printer(os.path.join(self.place, f"hostile-{status}"), "faulty_printer",
                             "--size", status, "hostile-texts") for status in ("0", "0x0506"))
        try:
            results = self.batch(
                tool("probe", good.url), tool("probe", good.url, "--json"), tool("jobs", good.url),
                tool("jobs", good.url, "--json"), tool("probe", bad.url, code=PRINTER),
                tool("jobs", bad.url, code=PRINTER))
        finally:
            good.stop()
            bad.stop()
        for result in results:
            text = result.raw.replace(b"\r\n", b"\n").decode("utf-8")
            self.assertEqual([], re.findall("[^\n -~]", text))
        self.assertIn("\\x1b]0;owned", results[0].out)
        self.assertEqual("7", results[3].json()[0]["id"])


class Verbs(WithPrinter):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        steps = (tool("install", "--quiet"), use_shim(MONITOR),
                 tool("port", "add", "Office", "--url", cls.printer.url),
                 tool("group", "add", "Floor"),
                 tool("printer", "add", "Floor/Sales", "--url", cls.printer.url),
                 tool("port", "add", "All", "--group", "Floor"))
        for step, result in zip(steps, cls.prefix.batch(steps)):
            assert result.code == DONE, (step.words, result)

    def test_every_verb_has_help_with_an_example(self):
        groups = {"port": ["add", "set", "show", "list", "remove"],
                  "group": ["add", "rename", "move", "remove", "list"],
                  "printer": ["add", "set", "show", "rename", "move", "remove", "list"]}
        verbs = [["install"], ["uninstall"], ["status"], ["export"], ["import"], ["probe"],
                 ["jobs"], ["print"]]
        verbs += [[group, verb] for group, names in groups.items() for verb in names]
        *results, overview, version = self.batch(
            *(tool(*verb, "--help") for verb in verbs), tool("--help"), tool("--version"))
        for verb, result in zip(verbs, results):
            with self.subTest(verb=verb):
                self.assertIn("Example:\n  velmoractl " + " ".join(verb), result.out)
        self.assertIn("Exit codes", overview.out)
        self.assertRegex(version.out, r"^\d+\.\d+\.\d+\.\d+\n$")

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
            (PRINTER, ["probe", "host:631/path"]), (PRINTER, ["probe", NOBODY]),
            (USAGE, ["jobs"]), (USAGE, ["jobs", ""]), (PRINTER, ["jobs", NOBODY]),
            (USAGE, ["print", "C:\\no-such-file", "--port", "Office"]),
            (NOT_FOUND, ["print", DOWNLOAD + "\\Velmora.dat", "--port", "P"]),
            (USAGE, ["print", DOWNLOAD + "\\Velmora.dat", "--port", "Office", "--wait", "x"]),
            (USAGE, ["install", "--from", "C:\\windows"]),
            (USAGE, ["install", "--language", "xx"]), (USAGE, ["install", "--server", "elsewhere"]),
            (USAGE, ["uninstall", "--ports", "burn"]), (USAGE, ["status", "--timeout", "x"]),
            (NOT_INSTALLED, ["port", "list", "--monitor", "Another"]),
        ]
        before, *_, after = self.batch(
            export_key(KEY), *(tool(*words, code=code) for code, words in cases), export_key(KEY))
        self.assertEqual(before.raw, after.raw)

    def test_characters_that_the_code_page_lacks_are_refused(self):
        words = ["port", "add", "\u65e5\u672c", "--url", self.printer.url]
        result = self.check(USAGE, words, self.prefix.tool(*words))
        self.assertIn("\u65e5\u672c", result.err)

    def test_words_are_taken_as_they_stand(self):
        # No file name is put in the place of a star, no list is read into brackets.
        star, brackets = self.batch(
            tool("port", "show", DOWNLOAD + "\\*", code=NOT_FOUND),
            tool("port", "add", "P", "--group", "[Floor,Cellar]", code=NOT_FOUND))
        self.assertIn("programs\\\\*", star.err)
        self.assertIn('"[Floor,Cellar]"', brackets.err)

    def test_a_bad_value_of_the_job_template_names_what_is_allowed(self):
        cases = {"job-priority": "1 to 100", "job-hold-until": "no-hold", "copies": "2147483647",
                 "printer-resolution": "600dpi", "print-quality": "draft, normal, high",
                 "page-ranges": "1,3,5-12", "orientation-requested": "portrait",
                 "number-up": "1, 2, 4", "sides": "two-sided-long-edge",
                 "multiple-document-handling": "single-document", "finishings": "staple",
                 "job-sheets": "standard", "ipp-attribute-fidelity": "true, false"}
        *results, media = self.batch(
            *(tool("port", "set", "Office", "--" + name, "bad-value", code=USAGE)
              for name in cases),
            tool("port", "set", "Office", "--media", "", code=USAGE))
        for (name, allowed), result in zip(cases.items(), results):
            with self.subTest(name=name):
                self.assertIn("--" + name, result.err)
                self.assertIn(allowed, result.err)
        self.assertIn("JIS B5", media.err)

    def test_bad_files_are_refused_whole(self):
        good = {"format": "velmora-configuration", "version": 1,
                "ports": [{"name": "New", "url": self.printer.url}]}
        bad_port = {"name": "New2", "url": self.printer.url, "job-template": {"sides": "three"}}
        files = [b"", b"{", b"[]", b"\xff\xfe", b'{"format":"velmora-configuration","version":2}',
                 json.dumps(dict(good, extra=1)).encode(),
                 json.dumps(dict(good, ports=good["ports"] * 2)).encode(),
                 json.dumps(dict(good, ports=good["ports"] + [bad_port])).encode()]
        names = [self.write(f"bad{index}.json", content) for index, content in enumerate(files)]
        before, *_, after = self.batch(
            export_key(KEY), *(tool("import", name, code=USAGE) for name in names), export_key(KEY))
        self.assertEqual(before.raw, after.raw)

    def test_directory_verbs_change_what_they_say(self):
        *_, shown, _, groups, _, _, printers = self.batch(
            tool("group", "add", "Wing"), tool("group", "rename", "Wing", "Tower"),
            tool("printer", "add", "Tower/Top", "--url", NOBODY),
            tool("printer", "set", "Tower/Top", "--name", "High", "--url", self.printer.url),
            tool("printer", "rename", "Tower/High", "Higher"),
            tool("printer", "move", "Tower/Higher", "Floor"),
            tool("printer", "show", "Floor/Higher", "--json"),
            tool("group", "move", "Tower", "Floor"), tool("group", "list"),
            tool("group", "remove", "Floor/Tower"), tool("printer", "remove", "Floor/Higher"),
            tool("printer", "list"))
        self.assertEqual(self.printer.url, shown.json()["url"])
        self.assertIn('"Floor/Tower"', groups.out)
        self.assertNotIn("Higher", printers.out)

    def test_printers_are_asked_what_a_job_would_meet(self):
        status, server, ready, _, refused, _ = self.batch(
            tool("status", "--json"), tool("port", "list", "--server", "%COMPUTERNAME%"),
            tool("probe", "--port", "Office"),
            tool("port", "add", "Odd", "--url", self.printer.url, "--media", "Papyrus"),
            tool("probe", "--port", "Odd", code=PRINTER), tool("port", "remove", "Odd"))
        status = status.json()
        self.assertTrue(status["registered"])
        self.assertRegex(status["version"], r"^\d+\.\d+\.\d+\.\d+$")
        self.assertEqual([True, True],
                         [one["printers"][0]["answers"] for one in status["ports"]])
        self.assertIn('"Office"', server.out)
        self.assertIn("answers without a user name", ready.out)
        self.assertIn("would be accepted", ready.out)
        self.assertRegex(refused.out, "media: Papyrus is refused; the printer offers A4")

    def test_printing_goes_through_the_printers_queue_and_says_when_it_fails(self):
        page = self.write("page.ps", DOCUMENT)
        queue = PRINT + "Printers\\Queue"
        *_, printed, active, ended, used, others, uninstall, _, _, _, failed, off, _ = self.batch(
            let_spooler_find(MONITOR, "Office"), set_value(queue, "Name", "Queue"),
            set_value(queue, "Port", "Office"), set_value(queue, "Print Processor", "winprint"),
            set_value(queue, "Printer Driver", "Driver"), set_value(queue, "Datatype", "RAW"),
            tool("print", page, "--port", "Office", "--title", "Quarterly report", "--json"),
            # In this order: the printer may be ending the job just now.
            tool("jobs", self.printer.url, "--json"),
            tool("jobs", self.printer.url, "--completed", "--json"),
            tool("port", "remove", "Office", code=CONFLICT),
            tool("import", self.write("none.json", json.dumps(
                {"format": "velmora-configuration", "version": 1, "ports": []}).encode()),
                 "--remove-others", code=CONFLICT),
            tool("uninstall", "--ports", "remove", code=CONFLICT),
            Step("reg", "delete", queue, "/f"),
            tool("port", "add", "Off", "--url", NOBODY), let_spooler_find(MONITOR, "Off"),
            tool("print", page, "--port", "Off", code=PRINTER),
            tool("status", "--json", code=PRINTER), tool("port", "remove", "Off"))
        self.assertEqual(len(DOCUMENT), printed.json()["bytes"])
        self.assertEqual([DOCUMENT], self.printer.documents())
        self.assertIn("Quarterly report", [job["name"] for job in active.json() + ended.json()])
        for refused in (used, others, uninstall):
            self.assertIn('"Queue"', refused.err)
        self.assertIn("probe --port", failed.err)
        self.assertEqual({"Office": True, "All": True, "Off": False},
                         {port["name"]: port["printers"][0]["answers"]
                          for port in off.json()["ports"]})


class Documentation(WithPrinter):
    """What the documents tell an administrator to type."""

    @staticmethod
    def text(name):
        with open(os.path.join(ROOT, "docs", name), encoding="utf-8") as file:
            return file.read()

    def commands(self, name):
        """Steps for the commands of a document. The examples' printers are the one that is there."""
        steps = []
        for line in re.findall(r"^ {4,}velmoractl (.*)$", self.text(name), re.MULTILINE):
            line = re.split(r"   +", line)[0]  # what follows explains the command
            line = re.sub(r"ipp://\w+\.example/ipp/print", self.printer.url, line)
            line = re.sub(r"(test\.pdf|fleet\.json)", r"C:/\1", line)
            words = shlex.split(line.replace("PRINTSRV", "%COMPUTERNAME%"))
            if words[0] == "print":
                steps.append(let_spooler_find(MONITOR, words[words.index("--port") + 1]))
            steps.append(tool(*words))
            if words[0] == "install":
                steps.append(use_shim(MONITOR))
        self.assertTrue(steps, name)
        return steps

    def test_the_commands_of_the_documents_work(self):
        self.write("test.pdf", b"%PDF-1.4\n" + DOCUMENT)
        fleet = re.search(r"^    \{.*?^    \}", self.text("fleet-setup.md"),
                          re.MULTILINE | re.DOTALL)
        example = self.write("example.json", fleet.group().encode())
        installing = self.commands("install.md")
        *_, ports = self.batch(
            *[step for step in installing if "uninstall" not in step.words],
            *self.commands("languages.md"), *self.commands("first-port.md"),
            *self.commands("fleet-setup.md"), tool("import", example),
            tool("port", "list", "--json"))
        self.assertEqual({"Office", "Everywhere", "Floor 1", "Floor 2"},
                         {port["name"] for port in ports.json()})
        self.assertEqual([b"%PDF-1.4\n" + DOCUMENT], self.printer.documents())
        # Removal is listed twice, each time for an installed monitor.
        keep, remove = [step for step in installing if "uninstall" in step.words]
        self.batch(keep, tool("install"), use_shim(MONITOR), remove)


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
