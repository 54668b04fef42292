#!/usr/bin/env python3
"""The check of requests finds each kind of mistake in requests that are otherwise correct."""

import os
import sys
import unittest

HARNESS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness")
sys.path.insert(0, os.path.join(HARNESS, "peers"))
import ipp_message  # noqa: E402
import request_check  # noqa: E402
from ipp_message import (BOOLEAN, CHARSET, ENUM, INTEGER, KEYWORD, LANGUAGE, MIME_TYPE, NAME,  # noqa: E402
                         RANGE, RESOLUTION, TEXT, URI, Attribute, Message)
from request_check import Finding  # noqa: E402


def number(value):
    return value.to_bytes(4, "big", signed=True)


def target():
    return [Attribute("attributes-charset", [(CHARSET, b"utf-8")]),
            Attribute("attributes-natural-language", [(LANGUAGE, b"en-us")]),
            Attribute("printer-uri", [(URI, b"ipp://localhost/ipp/print")]),
            Attribute("requesting-user-name", [(NAME, b"somebody")])]


def print_job():
    """A request without mistakes."""
    return Message(b"\1\1", ipp_message.PRINT_JOB, number(1), [
        (1, [*target(), Attribute("job-name", [(NAME, "Caf\u00e9".encode())]),
             Attribute("document-format", [(MIME_TYPE, b"application/pdf")]),
             Attribute("ipp-attribute-fidelity", [(BOOLEAN, b"\1")])]),
        (2, [Attribute("copies", [(INTEGER, number(1))]),
             Attribute("finishings", [(ENUM, number(4)), (ENUM, number(5))]),
             Attribute("page-ranges", [(RANGE, number(1) + number(2)), (RANGE, number(4) * 2)]),
             Attribute("media", [(KEYWORD, b"iso_a4_210x297mm")]),
             Attribute("sides", [(KEYWORD, b"one-sided")]),
             Attribute("printer-resolution", [(RESOLUTION, number(600) * 2 + b"\3")])])], b"%!")


def cancel_job():
    attributes = target()
    attributes.insert(3, Attribute("job-id", [(INTEGER, number(1))]))
    return Message(b"\2\0", ipp_message.CANCEL_JOB, number(1), [(1, attributes)], b"")


def found(message):
    return request_check.findings(ipp_message.written(message))


# The attribute whose values are replaced, the new ones, and the rules that find them.
VALUES = (
    ("copies", [(ENUM, number(1))], {"tag"}),
    ("copies", [(INTEGER, number(0))], {"bounds"}),
    ("copies", [(INTEGER, number(1)), (INTEGER, number(2))], {"several values"}),
    ("finishings", [(ENUM, number(4))] * 2, {"equal values"}),
    ("finishings", [(ENUM, number(19))], {"unregistered enum"}),
    ("finishings", [(KEYWORD, b"staple")], {"tag"}),
    ("sides", [(KEYWORD, b"both")], {"unregistered keyword"}),
    ("sides", [(NAME, b"one-sided")], {"tag"}),
    ("media", [(KEYWORD, b"A4")], {"unregistered media"}),
    ("media", [(KEYWORD, b"A 4")], {"unregistered media", "libcups"}),
    ("page-ranges", [(RANGE, number(2) + number(1))], {"range", "libcups"}),
    ("page-ranges", [(RANGE, number(4) * 2), (RANGE, number(1) * 2)], {"range order"}),
    ("page-ranges", [(RANGE, number(1) + number(4)), (RANGE, number(4) * 2)], {"range order"}),
    ("printer-resolution", [(RESOLUTION, number(600) + number(0) + b"\3")],
     {"resolution", "libcups"}),
    ("printer-resolution", [(RESOLUTION, number(600) * 2 + b"\5")], {"resolution", "libcups"}),
    ("ipp-attribute-fidelity", [(BOOLEAN, b"\2")], {"boolean", "libcups"}),
    ("job-name", [(NAME, b"\xe9")], {"not UTF-8", "libcups"}),
    ("job-name", [(NAME, b"a\0b")], {"NUL", "libcups"}),
    ("job-name", [(NAME, b"n" * 257)], {"too long", "libcups"}),
    ("job-name", [(TEXT, b"Document")], {"tag"}),
    ("attributes-charset", [(CHARSET, b"iso-8859-1")], {"character set"}),
    ("attributes-natural-language", [(LANGUAGE, b"en us")], {"libcups"}),
    ("printer-uri", [(URI, b"lpd://localhost/ipp/print")], {"scheme"}),
    ("printer-uri", [(URI, b"ipp://local host/")], {"libcups"}),
)


class RequestCheck(unittest.TestCase):
    def rules(self, message):
        return {finding.rule for finding in found(message)}

    def test_right_requests_have_no_finding(self):
        self.assertEqual([], found(print_job()))
        self.assertEqual([], found(cancel_job()))

    def test_values(self):
        for name, values, rules in VALUES:
            with self.subTest(name=name, values=values):
                message = print_job()
                message.attribute(name).values[:] = values
                wrong = found(message)
                self.assertEqual((rules, {name}), ({one.rule for one in wrong},
                                                   {one.name for one in wrong} - {""}))

    def test_bytes_that_are_no_message(self):
        data = ipp_message.written(print_job())
        for size in range(len(data) - len(b"%!")):
            with self.subTest(size=size):
                self.assertEqual(["form"], [one.rule for one in request_check.findings(data[:size])])
        at = data.index(b"copies") + len(b"copies")
        for before, after in ((data[at:at + 2], b"\0\3"), (b"copies", b"\xffopies"),
                              (b"\0\1\1\x47", b"\0\1\x47"),
                              (b"\x47\0\x12attributes-charset", b"\x47\0\0")):
            with self.subTest(after=after):
                self.assertNotEqual(0, data.count(before))
                self.assertEqual("form", request_check.findings(data.replace(before, after))[0].rule)

    def test_header_and_what_follows(self):
        for change, rule in (({"version": b"\1\0"}, "version"), ({"request_id": number(0)}, "request id"),
                             ({"request_id": number(-1)}, "request id"),
                             ({"operation": 0x4001}, "unknown operation"),
                             ({"document": b"%!", "operation": 4}, "data after the end")):
            with self.subTest(change=change):
                message = print_job()
                message.document = b""
                for name, value in change.items():
                    setattr(message, name, value)
                self.assertIn(rule, self.rules(message))

    def test_groups(self):
        for change, rule in ((lambda groups: groups.reverse(), "groups"),
                             (lambda groups: groups.append((2, [])), "groups"),
                             (lambda groups: groups.append((2, [])), "empty group"),
                             (lambda groups: groups.append((4, groups[1][1])), "groups"),
                             (lambda groups: groups.pop(0), "groups")):
            message = print_job()
            change(message.groups)
            self.assertIn(rule, self.rules(message))
        message = cancel_job()
        message.groups.append(print_job().groups[1])
        self.assertIn("groups", self.rules(message))

    def test_attributes_in_the_wrong_place(self):
        message = print_job()
        operation, job = (attributes for _, attributes in message.groups)
        job.append(operation.pop())
        self.assertEqual([Finding("unknown in its group", "ipp-attribute-fidelity", "0x2")],
                         found(message))
        message = print_job()
        message.groups[0][1].append(message.groups[1][1].pop(0))
        self.assertEqual([Finding("unknown in its group", "copies", "0x1")], found(message))
        message = print_job()
        message.groups[1][1].append(message.attribute("copies"))
        self.assertEqual([Finding("repeated", "copies")], found(message))

    def test_order(self):
        for first, second in ((0, 1), (1, 2), (2, 3)):
            message = print_job()
            attributes = message.groups[0][1]
            attributes[first], attributes[second] = attributes[second], attributes[first]
            self.assertEqual({"order"}, self.rules(message))
        message = cancel_job()
        attributes = message.groups[0][1]
        attributes[3], attributes[4] = attributes[4], attributes[3]
        self.assertEqual({"order"}, self.rules(message))
        message = cancel_job()
        message.groups[0][1].pop()
        self.assertEqual([Finding("missing", "requesting-user-name")], found(message))

    def test_exceptions_cover_what_they_state_and_no_more(self):
        for finding, stated in ((Finding("version", value="1.0"), True),
                                (Finding("version", value="1.00"), False),
                                (Finding("unregistered keyword", "sides", "tumble"), True),
                                (Finding("unregistered keyword", "sides", "tumbled"), False),
                                (Finding("unregistered keyword", "media", "tumble"), False)):
            self.assertEqual(stated, request_check.is_stated(finding), finding)


if __name__ == "__main__":
    unittest.main()
