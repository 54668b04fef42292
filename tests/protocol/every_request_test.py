#!/usr/bin/env python3
"""Every request that the product sends, recorded as a server receives it, is right, and printers of
other makers answer it.

    every_request_test.py WORDS... [-- TEST...]    WORDS: what runs request_sender; it gets the URL
"""

import glob
import http.client
import itertools
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path[:0] = [os.path.join(ROOT, "harness"), os.path.join(ROOT, "harness", "peers")]
import ipp_message  # noqa: E402
import ipp_suites  # noqa: E402
import request_check  # noqa: E402
from printer_peer import Printer  # noqa: E402

SENDER = []
RECORDED = []  # the bodies of the requests, in the order in which they were sent

# Where the product names the operations that it sends.
SENDING = ("ipp/print_job.cpp", "monitor/**/*.cpp", "port/*.cpp", "ui/**/*.cpp", "velmoractl/**/*.cpp")
OPERATIONS = {"printJob": ipp_message.PRINT_JOB, "validateJob": ipp_message.VALIDATE_JOB,
              "cancelJob": ipp_message.CANCEL_JOB, "getJobs": ipp_message.GET_JOBS,
              "getJobAttributes": ipp_message.GET_JOB_ATTRIBUTES,
              "getPrinterAttributes": ipp_message.GET_PRINTER_ATTRIBUTES}
# How many values of an attribute people can choose; of numbers that they type, the bounds.
CHOICES = {"job-hold-until": 8, "job-sheets": 2, "multiple-document-handling": 4, "sides": 7,
           "media": 17, "finishings": 19, "number-up": 3, "orientation-requested": 4,
           "print-quality": 3, "printer-resolution": 5, "ipp-attribute-fidelity": 2}
BOUNDS = {"job-priority": ("1", "100"), "copies": ("1", "2147483647"),
          "page-ranges": ("1-1", "1-2147483647"), "job-id": ("1", "2147483647")}

# What real printers say (RFC 8011, B.1).
OK, BAD_REQUEST, NOT_FOUND, NOT_SUPPORTED, INTERNAL_ERROR, BUSY = (
    0, 0x0400, 0x0406, 0x040B, 0x0500, 0x0507)


def record(directory, send):
    """The bodies of all requests that `send` sends to the URL that it gets."""
    sink = Printer(os.path.join(directory, "sink"), "http_sink")
    try:
        send(sink.url)
    finally:
        sink.stop()
    bodies = {}
    for name in glob.glob(os.path.join(sink.directory, "request-*.body")):
        with open(name, "rb") as file:
            bodies[int(re.search(r"-(\d+)\.body$", name).group(1))] = file.read()
    return [bodies[number] for number in sorted(bodies)]


def setUpModule():
    place = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(place.cleanup)
    RECORDED.extend(record(place.name, lambda url: subprocess.run(
        [*SENDER, url], check=True, timeout=100)))


def sent_again(body, url):
    """The printer's answer to this request, as a message with its status as operation. A busy printer is
    asked again."""
    where = urllib.parse.urlsplit(url)
    limit = time.monotonic() + 60
    while True:
        connection = http.client.HTTPConnection("localhost", where.port, timeout=60)
        try:
            connection.request("POST", where.path, ipp_message.with_printer(body, url),
                               {"Content-Type": "application/ipp"})
            answer = ipp_message.parse(connection.getresponse().read())
        finally:
            connection.close()
        if answer.operation != BUSY or time.monotonic() > limit:
            return answer
        time.sleep(0.01)


def of_operation(*operations):
    return [body for body in RECORDED if ipp_message.parse(body).operation in operations]


def unsupported(answer):
    """The names in the group of what the printer does not take (RFC 8011, 4.1.7)."""
    return {one.name for group, attributes in answer.groups if group == 5 for one in attributes}


def values_of(body, name):
    one = ipp_message.parse(body).attribute(name)
    return one.texts() if one else []


def texts(name):
    """All values of an attribute in all requests, as text."""
    return {text for body in RECORDED for text in values_of(body, name)}


class EveryRequest(unittest.TestCase):
    def test_every_operation_that_is_sent_is_looked_at(self):
        files = [name for pattern in SENDING
                 for name in glob.glob(os.path.join(ROOT, pattern), recursive=True)]
        sent = set()
        for name in files:
            with open(name, encoding="utf-8") as file:
                sent |= set(re.findall(r"IppOperation::(\w+)", file.read()))
        self.assertEqual(set(OPERATIONS), sent)
        self.assertEqual(set(OPERATIONS.values()),
                         {ipp_message.parse(body).operation for body in RECORDED})

    def test_every_choice_and_bound_is_looked_at(self):
        self.assertEqual(set(request_check.JOB_TEMPLATE) - set(BOUNDS),
                         set(CHOICES) - {"ipp-attribute-fidelity"})
        for name, count in CHOICES.items():
            self.assertGreaterEqual(len(texts(name)), count, name)
        for name, bounds in BOUNDS.items():
            self.assertLessEqual(set(bounds), texts(name), name)

    def test_there_is_nothing_to_say_but_what_is_stated(self):
        wrong = {str(finding) for body in RECORDED for finding in request_check.findings(body)
                 if not request_check.is_stated(finding)}
        self.assertEqual(set(), wrong)

    def test_what_is_stated_is_sent(self):
        findings = {finding for body in RECORDED for finding in request_check.findings(body)}
        self.assertEqual([], [one for one in request_check.STATED
                              if not any(one.covers(finding) for finding in findings)])


class WithServers(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = place.name

    def start(self, *words):
        printer = Printer(os.path.join(self.place, words[0]), *words)
        self.addCleanup(printer.stop)
        self.assertTrue(printer.url, words)
        return printer


class SentAgain(WithServers):
    """The recorded requests, to other servers."""

    def test_ippeveprinter_takes_what_it_supports(self):
        """It is configured to support as much as it can be."""
        only = {"job-hold-until": ("no-hold",), "job-sheets": ("none",),
                "multiple-document-handling": ("separate-documents-uncollated-copies",
                                               "separate-documents-collated-copies")}
        file = os.path.join(self.place, "attributes")
        with open(file, "w", encoding="ascii") as out:
            for tag, name in (("keyword", "media"), ("keyword", "sides"), ("enum", "finishings"),
                              ("resolution", "printer-resolution")):
                mark = '"' if tag == "keyword" else ""
                values = ",".join(mark + text + mark for text in sorted(texts(name)))
                out.write(f"ATTR {tag} {name}-supported {values}\n")
            out.write("ATTR rangeOfInteger copies-supported 1-999\n")
        url = self.start("ippeve_printer", "--attributes", file).url
        for body in of_operation(ipp_message.PRINT_JOB, ipp_message.VALIDATE_JOB):
            message = ipp_message.parse(body)
            refused = {name for name, values in only.items() if message.text(name) not in values}
            if int(message.text("copies")) > 999:
                refused.add("copies")
            status = NOT_SUPPORTED if refused else OK
            if message.operation == ipp_message.PRINT_JOB and len(message.text("job-name")) > 240:
                status = INTERNAL_ERROR  # it makes a file's name of it
            answer = sent_again(body, url)
            self.assertEqual((status, refused), (answer.operation, unsupported(answer)), message)
        for body in of_operation(ipp_message.GET_JOBS, ipp_message.GET_PRINTER_ATTRIBUTES):
            self.assertEqual(OK, sent_again(body, url).operation)

    def test_strict_cupsd_takes_all(self):
        """Without warnings in its log. The first job is held, so that it can be cancelled."""
        server = self.start("cups_server", "--strict")
        log = open(os.path.join(server.directory, "error_log"), encoding="utf-8")
        self.addCleanup(log.close)
        jobs = of_operation(ipp_message.PRINT_JOB)
        jobs.sort(key=lambda body: ipp_message.parse(body).text("job-hold-until") != "indefinite")
        for body in [*jobs, *of_operation(
                ipp_message.VALIDATE_JOB, ipp_message.GET_JOBS, ipp_message.GET_PRINTER_ATTRIBUTES,
                ipp_message.GET_JOB_ATTRIBUTES, ipp_message.CANCEL_JOB)]:
            message = ipp_message.parse(body)
            log.seek(0, os.SEEK_END)
            answer = sent_again(body, server.url)
            expected = OK, set()
            if message.operation == ipp_message.PRINT_JOB:
                # It checks these attributes only for jobs.
                if int(message.text("copies")) > 9999:
                    expected = NOT_SUPPORTED, {"copies"}
                elif len(message.text("job-name").encode()) > 255:
                    expected = NOT_SUPPORTED, {"job-name"}
                elif "1--2147483648" in values_of(body, "page-ranges"):
                    expected = BAD_REQUEST, set()
            elif message.text("job-id") not in (None, "1"):
                expected = NOT_FOUND, set()
            self.assertEqual(expected, (answer.operation, unsupported(answer)), message)
            if expected[0] == OK:
                # Its other messages are about the queue, which has no filters for banners.
                self.assertEqual([], [line for line in log
                                      if line[0] in "WEXAC" and "[Client" in line], message)

    def test_ipptool_sends_the_same_bytes(self):
        # It writes one range of pages, with no page above 2147483647.
        bodies = [body for body in RECORDED if re.fullmatch(
            r"\d+-\d+|", ",".join(values_of(body, "page-ranges")))]
        self.assertGreater(len(bodies), len(RECORDED) * 0.9)
        file = os.path.join(self.place, "all.test")
        document = os.path.join(self.place, "document")
        with open(document, "wb") as out:
            out.write(ipp_message.parse(of_operation(ipp_message.PRINT_JOB)[0]).document)
        with open(file, "w", encoding="utf-8") as out:
            for number, body in enumerate(bodies):
                message = ipp_message.parse(body)
                lines = ipp_suites.request_lines(message)
                if message.operation == ipp_message.PRINT_JOB:
                    lines.append(f"FILE {document}")
                out.write("\n".join(["{", f'NAME "{number}"', *lines, "}"]) + "\n")

        def send(url):
            subprocess.run(["ipptool", "-tI", url, file], check=False, timeout=100,
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        for expected, sent in itertools.zip_longest(bodies, record(self.place, send)):
            self.assertEqual(expected, sent)


class Suites(WithServers):
    """CUPS's tests of printers, before our jobs, with our requests, and after our jobs."""

    def test_a_printer_is_as_well_after_our_jobs_as_before(self):
        printer = self.start("ippeve_printer")
        suites, ours = os.path.join(self.place, "suites"), os.path.join(self.place, "ours")
        for place in (suites, ours):
            ipp_suites.copy(place)
        changed = ipp_suites.put_in(ours, {
            ipp_message.parse(body).operation: ipp_message.parse(body) for body in reversed(RECORDED)})
        self.assertGreater(len(set(changed)), 400)
        document = os.path.join(suites, "document-a4.pdf")
        attributes = of_operation(ipp_message.GET_PRINTER_ATTRIBUTES)[0]
        # In its first second it reports an uptime of 0, which is an error.
        limit = time.monotonic() + 60
        while sent_again(attributes, printer.url).text("printer-up-time") == "0":
            self.assertLess(time.monotonic(), limit)
            time.sleep(0.05)
        before = ipp_suites.run(suites, printer.url, document)
        failed = [one for one in before if one[1] not in ("PASS", "SKIP")]
        passed = sum(what == "PASS" for _, what in before)
        self.assertGreater(passed, 30, failed)
        with self.subTest("with our requests"):
            self.assertEqual(before, ipp_suites.run(ours, printer.url, document))
        documents = len(printer.documents())
        # Whatever the printer answers: it takes one job at a time.
        subprocess.run([*SENDER, printer.url, "standard"], check=False, timeout=100)
        self.assertGreater(len(printer.documents()), documents)
        with self.subTest("after our jobs"):
            self.assertEqual(before, ipp_suites.run(suites, printer.url, document))


if __name__ == "__main__":
    words = sys.argv[1:]
    end = words.index("--") if "--" in words else len(words)
    SENDER = words[:end]
    unittest.main(argv=[sys.argv[0], *words[end + 1:]])
