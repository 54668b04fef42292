#!/usr/bin/env python3
"""The faults that a soak run reports, and its charts."""

import asyncio
import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path[:0] = [os.path.join(ROOT, "harness", "soak"), os.path.join(ROOT, "harness", "peers")]
import charts  # noqa: E402
import printers  # noqa: E402
import raw_http  # noqa: E402
import verdict  # noqa: E402

GOOD, FAULTY, REAL = "ipp://good", "ipp://faulty", "ipp://real"
KINDS = {GOOD: "good", FAULTY: "faulty", REAL: "real"}


def job(number=1, **changes):
    return verdict.Job(**{"id": number, "port": "Port 1", "given": 10, "written": 10, "tries": 1,
                          "started": 1, "failed": 0, "targets": [GOOD], **changes})


def line(printer=GOOD, outcome="accepted", **more):
    return {"document": "soak 1", "printer": printer, "targets": 1, "target": 1, "outcome": outcome,
            **more}


def arrival(printer=GOOD, answer="taken", **changes):
    return {"printer": printer, "job": "soak 1", "bytes": 10, "sha256": "10 bytes",
            "answer": answer, **changes}


class Verdict(unittest.TestCase):
    def judge(self, jobs, record, arrivals):
        return verdict.judge(jobs, record, arrivals, KINDS, lambda job: f"{job.written} bytes")

    def right(self, *what):
        self.assertEqual(self.judge(*what), [])

    def wrong(self, words, *what):
        found = self.judge(*what)
        self.assertTrue(any(words in finding for finding in found), found)

    def test_a_delivered_job(self):
        self.right([job()], [line()], [arrival()])

    def test_what_somebody_deleted_arrives_as_far_as_it_was_written(self):
        self.right([job(written=4)], [line()], [arrival(bytes=4, sha256="4 bytes")])
        self.wrong("mangled: soak 1", [job(written=4)], [line()], [arrival()])

    def test_a_job_without_a_line(self):
        self.wrong("soak 1 is not in the record", [job()], [], [arrival()])

    def test_lines_that_could_not_be_written(self):
        self.wrong("2 lines of the record", [job()], [line(lost=2)], [arrival()])

    def test_an_accepted_document_that_no_printer_has(self):
        self.wrong("lost: soak 1", [job()], [line()], [])
        self.wrong("lost: soak 1", [job()], [line()], [arrival(answer="refused")])
        self.wrong("lost: soak 1", [job(targets=None)], [line(), line(target=2)], [arrival()])

    def test_a_document_that_was_printed_twice(self):
        self.wrong("which took it 2 times", [job()], [line()], [arrival(), arrival()])

    def test_a_document_that_was_printed_and_is_recorded_as_failed(self):
        self.wrong("which took it 1 times", [job(targets=[FAULTY])],
                   [line(FAULTY, "no-answer", step="answer")], [arrival(FAULTY)])

    def test_a_good_answer_in_bad_company_may_be_seen_or_not(self):
        self.right([job(targets=[FAULTY])], [line(FAULTY)], [arrival(FAULTY, "either")])
        self.right([job(targets=[FAULTY])], [line(FAULTY, "no-answer", step="answer")],
                   [arrival(FAULTY, "either")])

    def test_another_document_of_the_same_length(self):
        self.wrong("mangled: soak 1", [job()], [line()], [arrival(sha256="others")])

    def test_a_document_that_nobody_sent(self):
        self.wrong("nobody sent: soak 2", [job()], [line()], [arrival(), arrival(job="soak 2")])
        self.wrong("nobody sent: soak 2", [job()], [line(), line(document="soak 2")], [arrival()])

    def test_what_fails_at_a_printer_without_fault(self):
        failed = {"outcome": "no-answer", "step": "answer"}
        self.wrong("a good printer", [job()], [line(**failed)], [])
        self.right([job(targets=[FAULTY])], [line(FAULTY, **failed)], [])

    def test_a_real_printer_may_be_busy(self):
        busy = {"outcome": "refused", "step": "answer", "ipp-status": {"code": 0x0507}}
        self.right([job(targets=[REAL])], [line(REAL, **busy)], [])
        self.wrong("a good printer", [job()], [line(**busy)], [])
        self.wrong("a real printer", [job(targets=[REAL])],
                   [line(REAL, **{**busy, "ipp-status": {"code": 0x0400}})], [])

    def test_a_failure_has_a_reason(self):
        self.wrong("without a reason", [job(targets=[FAULTY])], [line(FAULTY, "refused")], [])
        self.wrong("outcome abandoned", [job(targets=[FAULTY])],
                   [line(FAULTY, "abandoned", step="send")], [])

    def test_every_printer_of_the_job_has_its_line(self):
        several = [line(targets=2), line(FAULTY, "refused", targets=2, target=2, step="answer")]
        self.right([job(targets=[FAULTY, GOOD])], several, [arrival()])
        self.wrong("lines for [1]", [job(targets=None)], several[:1], [arrival()])
        self.wrong("not to", [job(targets=[GOOD, GOOD])], several, [arrival()])

    def test_a_port_without_a_printer(self):
        nowhere = {"printer": "", "outcome": "not-reached", "targets": 0, "target": 0}
        self.right([job(targets=[], written=0)], [line(**nowhere, step="resolve")], [])
        self.wrong("without a reason", [job(targets=[], written=0)], [line(**nowhere)], [])

    def test_every_try_is_counted(self):
        tried = job(targets=[FAULTY], tries=3, started=0, written=0)
        failed = {"printer": FAULTY, "outcome": "not-reached", "step": "probe"}
        self.right([tried], [line(**failed), line(**failed, repeats=2)], [])
        self.right([tried], [line(**failed)] * 3, [])
        self.wrong("was tried 3 times", [tried], [line(**failed)], [])


class Growth(unittest.TestCase):
    @staticmethod
    def sample(time, at_rest=1, **more):
        return {"time": time, "at rest": at_rest, **dict.fromkeys(verdict.BOUNDS, 1000), **more}

    def test_the_warm_one_and_the_last_one_are_compared(self):
        cold = self.sample(1, heap=0, handles=0)
        busy = self.sample(90, 0, heap=1 << 30, handles=5000)
        samples = [cold, self.sample(30), self.sample(60), busy, self.sample(100)]
        self.assertEqual(verdict.growth(samples)[2], [])
        for name, bound in verdict.BOUNDS.items():
            last = self.sample(100, **{name: 1000 + bound})
            self.assertEqual(verdict.growth(samples[:-1] + [last])[2], [])
            last[name] += 1
            self.assertIn(f"{name} grew by {bound + 1}",
                          verdict.growth(samples[:-1] + [last])[2][0])

    def test_one_look_is_not_enough(self):
        self.assertIn("not unloaded often enough",
                      verdict.growth([self.sample(1), self.sample(100)])[2][0])
        self.assertTrue(verdict.growth([])[2])


class Charts(unittest.TestCase):
    def test_title_axes_and_legend(self):
        panels = [charts.Panel("Memory", "MiB", [charts.Series("used <now>", [(0, 1), (2, 40)])]),
                  charts.Panel("Times", "seconds", [charts.Series("jobs", [(1, 0.02), (2, 30)], True)],
                               logarithmic=True)]
        root = xml.etree.ElementTree.fromstring(charts.svg("A day", panels, 2, "minutes"))
        words = [node.text for node in root.iter() if node.text]
        for expected in ("A day", "Memory", "MiB", "used <now>", "jobs", "seconds", "minutes", "40",
                         "0.01", "100"):
            self.assertIn(expected, words)
        dots = [node for node in root.iter() if node.tag.endswith("circle")]
        # Two powers of ten of four, from below upwards.
        self.assertLess(float(dots[1].get("cy")), float(dots[0].get("cy")))

    def test_marks_are_round_and_reach_the_highest(self):
        self.assertEqual(charts.ticks(10), [0, 2, 4, 6, 8, 10])
        self.assertEqual(charts.ticks(0), [0, 1])
        for highest in (0.3, 1, 7, 99, 4500):
            marks = charts.ticks(highest)
            self.assertGreaterEqual(marks[-1], highest)
            self.assertLess(len(marks), 9)

    def test_nothing_measured_is_a_chart_too(self):
        xml.etree.ElementTree.fromstring(
            charts.svg("A day", [charts.Panel("M", "u", [charts.Series("s", [])])], 1, "minutes"))


class Request(unittest.TestCase):
    FRONT = (b"\x01\x00\x00\x02\x00\x00\x00\x01\x01\x47\x00\x12attributes-charset\x00\x05utf-8"
             b"\x42\x00\x08job-name\x00\x06soak 7\x03")

    def test_the_document_begins_behind_the_attributes(self):
        self.assertEqual(printers.ipp_front(self.FRONT + b"\x03data"), (2, "soak 7", len(self.FRONT)))

    def test_attributes_that_are_not_complete(self):
        for size in range(len(self.FRONT)):
            self.assertIsNone(printers.ipp_front(self.FRONT[:size]), size)


class Body(unittest.TestCase):
    @staticmethod
    def received(head, data, cut):
        """The pieces of the body when it comes in pieces of `cut` bytes, and what is left."""
        async def read():
            reader = asyncio.StreamReader()
            incoming = printers.Incoming(reader, 0)
            request = raw_http.Request(head)

            async def send():
                for at in range(0, len(data), cut):
                    reader.feed_data(data[at:at + cut])
                    await asyncio.sleep(0)
            sending = asyncio.create_task(send())
            body = b"".join([piece async for piece in incoming.body(request)])
            await sending
            reader.feed_eof()
            return body, bytes(incoming.buffer) + await reader.read()
        return asyncio.run(read())

    def test_chunks_are_joined_however_they_come(self):
        data = b"5\r\nabcde\r\n1\r\n\r\r\n0\r\n\r\nPOST"
        for cut in range(1, len(data) + 1):
            self.assertEqual(self.received(b"POST / HTTP/1.1\r\nTransfer-Encoding: chunked", data, cut),
                             (b"abcde\r", b"POST"), cut)

    def test_a_body_of_stated_length(self):
        for cut in range(1, 10):
            self.assertEqual(self.received(b"POST / HTTP/1.1\r\nContent-Length: 5", b"abcdePOST", cut),
                             (b"abcde", b"POST"), cut)


class Command(unittest.TestCase):
    def test_help_touches_nothing(self):
        out = os.path.join(ROOT, "build", "soak")
        before = os.path.exists(out)
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run([os.path.join(ROOT, "tools", "soak"), "--minutes", "1", "--help"],
                                 cwd=folder, capture_output=True, text=True, timeout=60, check=False)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertIn("--minutes", run.stdout)
            self.assertEqual(os.listdir(folder), [])
        self.assertEqual(os.path.exists(out), before)


if __name__ == "__main__":
    unittest.main()
