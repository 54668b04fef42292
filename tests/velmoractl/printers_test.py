#!/usr/bin/env python3
"""The administration tool and printers: it handles many of them at once.

    printers_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import concurrent.futures
import csv
import hashlib
import http.client
import io
import json
import os
import re
import signal
import struct
import sys
import time

HARNESS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness")
sys.path[:0] = [HARNESS, os.path.join(HARNESS, "peers")]
import raw_http
from end_to_end_test import Answers, Tool
from printer_peer import Printer
from tool_prefix import (CONFLICT, DONE, MONITOR, NOBODY, NOT_FOUND, PRINTER, USAGE, Step, fleet,
                         run_tests, tool, use_shim)

# Its tests run in the other program.
documented, validate = Answers.documented, Answers.validate
del Answers


class Checked(Tool):
    """Answers can be compared with the documented shapes."""

    documented = staticmethod(documented)
    validate = validate


class FleetProbe(Checked):
    """One list of many printers."""

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
        described = {"format": "velmora-configuration", "version": 2}
        base = self.write("base.json", json.dumps(dict(
            described, templates={"draft": {"job-template": {"print-quality": "draft"}}},
            ports=[{"name": "P", "url": self.ready}])).encode())
        more = json.dumps(dict(described, ports=[
            {"name": "Q", "url": self.base + "/ready/2", "template": "draft"}])).encode()
        table_file = self.write("ports.csv", f"name,url\r\nR,{self.base}/ready/4\r\n".encode())
        bad = self.write("bad.json", b"{")
        (table, group, ports, urls, names, several, twice, input_twice, wrong, *_) = self.batch(
            tool("probe", "--all", code=PRINTER),
            tool("probe", "--group", "Floor", "-o", "csv", code=PRINTER),
            tool("probe", "--port", "Good", "--port", "Bad", "-o", "names", code=PRINTER),
            tool("probe", self.ready, self.base + "/ready/3", "--json"),
            tool("probe", "--file", file, "-o", "names"),
            tool("probe", "--file", base, "--file", "-", "--csv", table_file, "-o", "names",
                 stdin=more),
            tool("probe", "--file", "-", "--csv", "-", code=USAGE),
            tool("probe", "--file", "-", "--password-stdin", "--user", "u", code=USAGE),
            tool("probe", "--file", base, "--file", bad, code=USAGE),
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
        rows = list(csv.DictReader(io.StringIO(group.out)))
        self.assertEqual([(NOBODY, "unreachable", "All, Same"), (self.ready, "ready", "All, Same")],
                         [(row["url"], row["state"], row["ports"]) for row in rows])
        self.assertEqual([self.refuses], ports.out.split())
        self.assertEqual([(True, []), (True, [])],
                         [(one["ready"], one["ports"]) for one in urls.json()])
        self.assertEqual([self.ready, self.base + "/ready/2"], names.out.split())
        self.assertEqual([self.ready, self.base + "/ready/2", self.base + "/ready/4"],
                         several.out.split())
        for result in (twice, input_twice):
            self.assertIn("the standard input is named twice", result.err)
        self.assertIn("bad.json", wrong.err)

    def test_results_come_as_they_are_known(self):
        # As long as the silent one is waited for, the other is shown.
        silent = self.base.replace("localhost", "127.0.0.1") + "/silent/1"
        _, shown = self.prefix.tool_on_terminal(
            ["probe", silent, self.ready, "--timeout", "600"], b"toner-low-warning", signal.SIGINT)
        self.assertRegex(shown, "PRINTER +STATE +PORTS")
        self.assertNotIn("silent/1", shown)


class Certificates(Checked):
    """Self-signed certificates of printers."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.crowd = Printer(os.path.join(cls.place, "crowd"), "printer_crowd", "--certificate",
                            "self-signed")
        cls.addClassCleanup(cls.crowd.stop)
        assert cls.crowd.url

    def test_a_certificate_is_shown_and_trusted(self):
        url = self.crowd.url
        with open(os.path.join(self.crowd.directory, "certificate.der"), "rb") as file:
            fingerprint = hashlib.sha256(file.read()).hexdigest()
        (_, _, _, unknown, bad, wrong, still, trusted, again, good, table, status, *_) = self.batch(
            tool("install"), use_shim(MONITOR), tool("port", "add", "P", "--url", url),
            tool("certificate", "show", url, "--json"),
            tool("probe", "--all", "--json", code=PRINTER),
            tool("certificate", "trust", url, "--fingerprint", "00" * 32, code=CONFLICT),
            tool("certificate", "show", url, "--json"),
            tool("certificate", "trust", url, "--fingerprint", fingerprint, "--json"),
            tool("certificate", "trust", url, "--fingerprint", fingerprint),
            tool("certificate", "show", url, "--json"),
            tool("probe", "--all", "--days", "36500"), tool("status", "--days", "36500", "--json"),
            tool("certificate", "trust", url, "--fingerprint", "12", code=USAGE),
            tool("certificate", "show", url.replace("https", "ipp"), code=USAGE),
            tool("certificate", "show", NOBODY.replace("ipp:", "https:"), code=PRINTER),
            tool("certificate", "untrust", code=USAGE),
            tool("certificate", "untrust", url, "--fingerprint", fingerprint, code=USAGE))
        self.validate("certificate-show", unknown.json())
        self.assertEqual((fingerprint.upper(), ["localhost"], "2049-12-31"), tuple(
            unknown.json()[key] for key in ("sha256", "names", "valid-until")))
        self.assertIn("is not trusted", unknown.json()["problems"][0])
        self.assertEqual([True], [one["self-signed"] for one in unknown.json()["chain"]])
        self.assertEqual("certificate-untrusted", bad.json()[0]["problem"]["code"])
        self.assertIn(":".join(re.findall("..", fingerprint.upper())), wrong.err)
        self.assertEqual(unknown.json()["problems"], still.json()["problems"])
        self.validate("certificate-trust", trusted.json())
        self.assertEqual({"sha256": fingerprint.upper(), "added": True}, trusted.json())
        self.assertIn("already", again.out)
        self.assertEqual([], good.json()["problems"])
        ending = f'Certificates that have ended or end within 36500 days:\n  "{url}"  2049-12-31'
        self.assertIn(ending, table.out)
        self.validate("status", status.json())
        certificate = status.json()["ports"][0]["printers"][0]["certificate"]
        self.assertEqual("2049-12-31", certificate["valid-until"])
        self.what_was_trusted_can_be_taken_back(url, fingerprint)

    def what_was_trusted_can_be_taken_back(self, url, fingerprint):
        by_print = ["certificate", "untrust", "--fingerprint", fingerprint]
        trust = tool("certificate", "trust", url, "--fingerprint", fingerprint)
        absent, gone, again, _, by_url, after, _ = self.batch(
            tool("certificate", "untrust", "--fingerprint", "00" * 32, code=NOT_FOUND),
            tool(*by_print, "--json"), tool("certificate", "untrust", url, code=NOT_FOUND), trust,
            tool("certificate", "untrust", url), tool("certificate", "show", url, "--json"), trust)
        self.assertIn("is not among this computer's trusted roots", absent.err)
        self.validate("certificate-untrust", gone.json())
        self.assertIn("is not among", again.err)
        self.assertIn("is no longer among", by_url.out)
        self.assertIn("is not trusted", after.json()["problems"][0])
        # A certificate without the mark that "certificate trust" leaves is somebody else's.
        with open(os.path.join(self.crowd.directory, "certificate.der"), "rb") as file:
            der = file.read()
        key = ("HKLM\\Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\" +
               hashlib.sha1(der).hexdigest().upper())
        # The certificate as its only property.
        stored = struct.pack("<III", 32, 1, len(der)) + der
        _, _, others, good, forced = self.batch(
            tool(*by_print),
            Step("reg", "add", key, "/v", "Blob", "/t", "REG_BINARY", "/d", stored.hex(), "/f"),
            tool(*by_print, code=CONFLICT), tool("certificate", "show", url, "--json"),
            tool(*by_print, "--force"))
        self.assertIn("was not put there by", others.err)
        self.assertEqual([], good.json()["problems"])
        self.assertIn("is no longer among", forced.out)


class Fit(Checked):
    """A job template fitted to what a printer offers."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.printer = Printer(os.path.join(cls.place, "printer"), "ippeve_printer", "--modest")
        cls.addClassCleanup(cls.printer.stop)
        assert cls.printer.url

    def test_a_template_is_fitted_and_proved(self):
        url = self.printer.url
        results = self.batch(
            tool("install"), use_shim(MONITOR), tool("port", "add", "Old", "--url", url),
            tool("port", "add", "Duplex", "--url", url, "--sides", "two-sided-long-edge"),
            tool("port", "add", "Off", "--url", NOBODY),
            tool("port", "fit", "Old", "--dry-run"), tool("port", "show", "Old", "--json"),
            tool("port", "fit", "Old", "--json"), tool("port", "show", "Old", "--json"),
            tool("probe", "--port", "Old"), tool("port", "fit", "Old"),
            tool("port", "fit", "Duplex", code=PRINTER), tool("port", "show", "Duplex", "--json"),
            tool("port", "fit", "Duplex", "Off", "--allow-loss", "--json", code=PRINTER),
            tool("port", "add", "New", "--url", url, "--fit"),
            tool("port", "add", "Bad", "--url", url, "--sides", "two-sided-long-edge", "--fit",
                 code=PRINTER),
            tool("port", "show", "Bad", code=NOT_FOUND))
        (_, _, _, _, _, dry, before, fitted, after, _, again, lossy, duplex, forced, added, bad,
         _) = results
        change = 'media: "A4" -> "iso_a4_210x297mm"'
        self.assertIn(change, dry.out)
        self.assertEqual("A4", before.json()["job-template"]["media"])
        self.validate("port-fit", fitted.json())
        self.assertEqual([{"attribute": "media", "before": "A4", "after": "iso_a4_210x297mm",
                           "loss": False}], fitted.json()[0]["replaced"])
        self.assertEqual(dict(before.json()["job-template"], media="iso_a4_210x297mm"),
                         after.json()["job-template"])
        self.assertIn("fits already", again.out)
        self.assertIn('sides: "two-sided-long-edge" stays; the nearest is "one-sided", with a loss',
                      lossy.out)
        self.assertIn("--allow-loss", lossy.err)
        self.assertEqual(("A4", "two-sided-long-edge"),
                         (duplex.json()["job-template"]["media"],
                          duplex.json()["job-template"]["sides"]))
        self.validate("port-fit", forced.json())
        self.assertEqual([(True, True, None), (False, False, "no-connection")],
                         [(port["fits"], port["changed"], port.get("problem", {}).get("code"))
                          for port in forced.json()])
        self.assertIn(change, added.out)
        self.assertIn("sides", bad.err)


class Jobs(Checked):
    """Jobs at a printer."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        command = os.path.join(cls.place, "slow")
        cls.gate = os.path.join(cls.place, "gate")
        with open(command, "w", encoding="ascii") as file:
            file.write(f"#!/bin/sh\nwhile [ ! -e '{cls.gate}' ]; do sleep 0.1; done\n")
        os.chmod(command, 0o700)
        cls.printer = Printer(os.path.join(cls.place, "printer"), "ippeve_printer", "--command",
                              command)
        cls.addClassCleanup(cls.printer.stop)
        cls.addClassCleanup(cls.open_gate)
        assert cls.printer.url

    @classmethod
    def open_gate(cls):
        """Lets the printer end its job."""
        open(cls.gate, "w", encoding="ascii").close()

    def ask(self, operation, *attributes, document=b""):
        url = self.printer.url
        first = [(0x47, b"attributes-charset", b"utf-8"),
                 (0x48, b"attributes-natural-language", b"en"), (0x45, b"printer-uri", url.encode())]
        body = (b"\x01\x01" + operation.to_bytes(2, "big") + b"\x00\x00\x00\x01\x01" +
                b"".join(raw_http.attribute(*one) for one in [*first, *attributes]) + b"\x03" +
                document)
        port = int(url.split(":")[2].split("/")[0])
        connection = http.client.HTTPConnection("localhost", port, timeout=60)
        try:
            connection.request("POST", "/ipp/print", body, {"Content-Type": "application/ipp"})
            answer = connection.getresponse().read()
        finally:
            connection.close()
        self.assertEqual(b"\x00\x00", answer[2:4], answer)
        return answer

    def send_job(self, name):
        """The number of a job that the printer has accepted."""
        answer = self.ask(2, (0x42, b"requesting-user-name", b"somebody"),
                          (0x42, b"job-name", name), document=b"page" * 1000)
        at = answer.index(b"job-id") + len(b"job-id") + 2
        return int.from_bytes(answer[at:at + 4], "big")

    def wait_for_cancel(self, job):
        limit = time.monotonic() + 120
        while b"processing-to-stop-point" not in self.ask(
                9, (0x21, b"job-id", job.to_bytes(4, "big"))):
            self.assertLess(time.monotonic(), limit)
            time.sleep(0.1)

    def test_jobs_are_listed_and_cancelled(self):
        url = self.printer.url
        job = self.send_job(b"Two")
        *_, mine, both = self.batch(
            tool("install"), use_shim(MONITOR), tool("group", "add", "G"),
            tool("printer", "add", "G/P", "--url", url),
            tool("printer", "add", "G/Off", "--url", NOBODY),
            tool("port", "add", "One", "--url", url), tool("port", "add", "Both", "--group", "G"),
            tool("jobs", "--port", "One", "--json"), tool("jobs", "--port", "Both", code=PRINTER))
        self.validate("jobs", mine.json())
        self.assertEqual([(url, job, "Two", "somebody")], [
            tuple(one[key] for key in ("url", "id", "name", "user")) for one in mine.json()])
        self.assertRegex(both.out, f"{url} +{job} .*Two\n")
        self.assertIn("1 of 2 printers could not be asked", both.err)
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            run = pool.submit(
                self.batch, tool("job", "cancel", url, str(job), "--json", "--timeout", "120"),
                tool("job", "cancel", url, str(job), code=CONFLICT),
                tool("job", "cancel", url, "4711", code=NOT_FOUND),
                tool("jobs", url, "--completed", "--json"),
                tool("jobs", url, "--port", "One", code=USAGE),
                tool("job", "cancel", url, "0", code=USAGE),
                tool("job", "cancel", NOBODY, "1", "--json", code=PRINTER))
            self.wait_for_cancel(job)
            self.open_gate()
            cancelled, gone, unknown, ended, _, _, dead = run.result()
        self.validate("job-cancel", cancelled.json())
        self.assertEqual((job, "canceled", 7), tuple(
            cancelled.json()[key] for key in ("id", "state", "state-number")))
        self.assertIn("has ended already: canceled", gone.err)
        self.assertIn("has no such job", unknown.err)
        self.assertEqual([(job, "canceled")],
                         [(one["id"], one["state"]) for one in ended.json()])
        self.validate("error", dead.json())


if __name__ == "__main__":
    run_tests(__doc__, "printers-")
