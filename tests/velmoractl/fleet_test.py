#!/usr/bin/env python3
"""velmoractl with many ports and printers at once, in prefixes of its own.

    fleet_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness"))
from end_to_end_test import Tool
from tool_prefix import (CONFLICT, DENIED, MONITOR, NOBODY, NOT_FOUND, USAGE,
                         break_channel, mend_channel, run_tests, tool, use_shim)


def changes(result):
    return [(change["action"], change["kind"], change["name"])
            for change in result.json()["changes"]]


class Bulk(Tool):
    """Many ports and printers changed by one command each."""

    def test_a_fleet_is_changed_by_a_few_commands(self):
        old, new = "ipp://127.0.0.1:1/old", "ipp://127.0.0.1:1/new"
        results = self.batch(
            tool("install"), use_shim(MONITOR), tool("group", "add", "Floor"),
            tool("printer", "add", "Floor/P", "--url", old, "--user", "print", "--password", "a"),
            tool("port", "add", "FL1", "--url", old, "--user", "print", "--password", "a"),
            tool("port", "add", "FL2", "--url", NOBODY), tool("port", "add", "Hall", "--url", old),
            tool("port", "add", "All", "--group", "Floor"),
            # Told first, then done, then there is nothing left to do.
            *(tool("port", "set", "--where", "url=ipp://*/old", "--url-replace", f"{old}={new}",
                   "--copies", "2", "--json", *more, code=code)
              for more, code in ((["--dry-run"], 0), ([], 0), ([], NOT_FOUND))),
            tool("printer", "set", "--match", "*", "--url-replace", f"{old}={new}", "--json"),
            tool("printer", "show", "Floor/P", "--json"),
            tool("port", "copy", "FL1", "FL3", "--copies", "5"),
            tool("password", "set", "--where", "user=print", "--password-stdin", "--json",
                 stdin=b"next\n"),
            tool("password", "set", "--match", "Hall", "--password", "x", code=NOT_FOUND),
            tool("port", "rename", "FL3", "Last", "--json"),
            tool("port", "rename", "Last", "hall", code=CONFLICT),
            tool("port", "remove", "FL2", "Gone", code=NOT_FOUND),
            tool("port", "remove", "Last", "FL2", "Last", "--json"),
            # Half of a change is told.
            break_channel("ConfigPort", 5, after=1),
            tool("port", "set", "--all", "--media", "A3", code=DENIED), mend_channel(),
            tool("port", "set", "--where", "media=A3", "--media", "A4", "--json"),
            tool("export", "C:\\out.json", "--with-passwords"))
        told, done, nothing, printers, printer = results[8:13]
        self.assertEqual([("change", "port", "FL1"), ("change", "port", "Hall")], changes(told))
        self.assertEqual(told.json()["changes"], done.json()["changes"])
        self.assertTrue(told.json()["dry-run"])
        self.assertEqual([{"key": "url", "before": old, "after": new},
                          {"key": "copies", "before": 1, "after": 2}],
                         done.json()["changes"][0]["details"])
        self.assertIn("no port fits", nothing.err)
        self.assertEqual([("change", "printer", "Floor/P")], changes(printers))
        self.assertEqual(new, printer.json()["url"])
        passwords, none, renamed, taken, missing, removed = results[14:20]
        self.assertEqual([("change", "port", "FL1"), ("change", "port", "FL3"),
                          ("change", "printer", "Floor/P")], changes(passwords))
        self.assertNotIn(b"next", passwords.raw)
        self.assertIn("none of those that fit asks for a password", none.err)
        self.assertEqual([("add", "port", "Last"), ("remove", "port", "FL3")], changes(renamed))
        self.assertIn('there is the port "Hall"', taken.err)
        self.assertIn("the monitor has no port of that name", missing.err)
        self.assertEqual([("remove", "port", "Last"), ("remove", "port", "FL2")],
                         changes(removed))
        half, _, mended = results[21:24]
        self.assertIn("1 of 3 ports are done", half.err)
        self.assertIn("run the same command again", half.err)
        self.assertEqual(1, len(changes(mended)))
        stored = self.read_json("out.json")
        self.assertEqual({"All": [], "FL1": [new, 2, "next"], "Hall": [new, 2, None]},
                         {port["name"]: [port["url"], port["job-template"]["copies"],
                                         port.get("password")] if port["url"] else []
                          for port in stored["ports"]})
        self.assertIn("next", [node.get("password") for node in stored["directory"]["nodes"]])

        # Refused before anything is changed.
        refused = self.batch(
            tool("port", "set", "--copies", "2", code=USAGE),
            tool("port", "set", "FL1", "--all", "--copies", "2", code=USAGE),
            tool("port", "set", "--all", code=USAGE),
            tool("port", "set", "--all", "--user", "u", code=USAGE),
            tool("port", "set", "--all", "--url-replace", f"{new}=htp://x", code=USAGE),
            tool("port", "set", "--all", "--url-replace", "ipp", code=USAGE),
            tool("port", "set", "[FL1]", "--copies", "2", code=NOT_FOUND),
            tool("printer", "set", "--all", "--name", "N", code=USAGE),
            tool("printer", "set", "--all", "--url-replace", f"{new}=htp://x", code=USAGE),
            tool("password", "set", "--all", code=USAGE),
            tool("export", "C:\\again.json", "--with-passwords"))
        self.assertIn('port "All"', refused[3].err)
        self.assertIn('"[FL1]"', refused[6].err)
        self.assertEqual(stored, self.read_json("again.json"))


if __name__ == "__main__":
    run_tests(__doc__, "fleet-")
