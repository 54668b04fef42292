#!/usr/bin/env python3
"""velmoractl with many ports and printers at once, in prefixes of its own.

    fleet_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import json
import os
import re
import sys
import textwrap

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "harness"))
from end_to_end_test import Tool
from tool_prefix import (CONFLICT, DENIED, DIFFERENT, FAILED, KEY, MONITOR, NOBODY, NOT_FOUND,
                         ROOT, SERVERS, USAGE, Step, break_call, break_channel,
                         mend_channel, options, printer_driver, run_tests, server_print, tool,
                         use_shim, use_shim_on)


def changes(result):
    return [(change["action"], change["kind"], change["name"])
            for change in result.json()["changes"]]


class Bulk(Tool):
    """Many ports and printers, each changed by one command."""

    def test_a_fleet_is_changed_by_a_few_commands(self):
        old, new = "ipp://127.0.0.1:1/old", "ipp://127.0.0.1:1/new"
        results = self.batch(
            tool("install"), use_shim(MONITOR), tool("group", "add", "Floor"),
            tool("printer", "add", "Floor/P", "--url", old, "--user", "print", "--password", "a"),
            tool("port", "add", "FL1", "--url", old, "--user", "print", "--password", "a"),
            tool("port", "add", "FL2", "--url", NOBODY), tool("port", "add", "Hall", "--url", old),
            tool("port", "add", "All", "--group", "Floor"),
            # First announced, then done, then there is nothing left to do.
            *(tool("port", "set", "--where", "url=ipp://*/old", "--url-replace", f"{old}={new}",
                   "--copies", "2", "--json", *more, code=code)
              for more, code in ((["--dry-run"], 0), ([], 0), ([], NOT_FOUND))),
            tool("printer", "set", "--match", "*", "--url-replace", f"{old}={new}", "--json"),
            tool("printer", "show", "Floor/P", "--json"),
            tool("port", "copy", "FL1", "FL3", "--copies", "5"),
            tool("password", "set", "--where", "user=print", "--password-stdin", "--json",
                 stdin=b"next\n"),
            tool("password", "set", "--match", "Hall", "--password", "x", code=NOT_FOUND),
            *printer_driver(options.arch),
            tool("queue", "add", "Printer", "--port", "FL3", "--driver", "Plain text"),
            tool("port", "rename", "FL3", "Last", "--json"),
            tool("queue", "list", "-o", "csv"),
            tool("port", "remove", "Last", "FL2", code=CONFLICT),
            tool("queue", "remove", "Printer"),
            tool("port", "rename", "Last", "hall", code=CONFLICT),
            tool("port", "remove", "FL2", "Gone", code=NOT_FOUND),
            tool("port", "remove", "Last", "FL2", "Last", "--json"),
            # A change that is made in part is reported.
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
        passwords, none, *_, renamed, queues, used, _, taken, missing, removed = results[14:28]
        self.assertEqual([("change", "port", "FL1"), ("change", "port", "FL3"),
                          ("change", "printer", "Floor/P")], changes(passwords))
        self.assertNotIn(b"next", passwords.raw)
        self.assertIn("none of those that fit asks for a password", none.err)
        self.assertEqual([("add", "port", "Last"), ("change", "queue", "Printer"),
                          ("remove", "port", "FL3")], changes(renamed))
        self.assertIn("Printer,Last,Plain text", queues.out)
        self.assertIn('"Printer" prints to the port "Last"', used.err)
        self.assertIn('there is the port "Hall"', taken.err)
        self.assertIn("the monitor has no port of that name", missing.err)
        self.assertEqual([("remove", "port", "Last"), ("remove", "port", "FL2")],
                         changes(removed))
        half, _, mended = results[29:32]
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


class FleetFile(Tool):
    """Descriptions written by hand and tables, as docs/fleet-file.md has them."""

    def examples(self):
        with open(os.path.join(ROOT, "docs", "fleet-file.md"), encoding="utf-8") as file:
            text = file.read()
        description, = re.findall(r"^    \{.*?^    \}", text, re.MULTILINE | re.DOTALL)
        table, = re.findall(r"(?:^    name,.*\n)(?:^    .*\n)+", text, re.MULTILINE)
        return (self.write("base.json", description.encode()),
                self.write("ports.csv", textwrap.dedent(table).encode()))

    def test_a_description_comes_in_is_compared_and_written(self):
        base, table = self.examples()
        queues = self.write("queues.json", json.dumps({
            "format": "velmora-configuration", "version": 2, "queues": [
                {"name": "Sales printer", "port": "Sales", "driver": "plain TEXT",
                 "location": "Room 1"}]}).encode())
        bad = self.write("bad.json", b'{"format": "velmora-configuration", "version": 2,'
                                     b' "ports": [{"name": "P", "url": "u", "template": "no"}]}')
        less = self.write("less.json", b'{"format": "velmora-configuration", "version": 2,'
                                       b' "ports": [{"name": "Sales", "url": "ipp://new.example/"'
                                       b'}], "queues": []}')
        none = self.write("none.json", b'{"format": "velmora-configuration", "version": 2,'
                                       b' "ports": []}')
        both = [base, "--csv", table]
        *_, told, done, equal, ports, queued, shown = self.batch(
            tool("install"), use_shim(MONITOR), *printer_driver(options.arch),
            tool("import", *both, "--dry-run", "--json"), tool("import", *both),
            tool("diff", *both), tool("port", "list", "--json"),
            tool("import", queues, "--json"), tool("queue", "list", "--json"))
        names = ["Sales", "Drafts", "All of floor 1", "Left wing", "Room 101", "Room 102",
                 "Everywhere"]
        self.assertEqual([("add", "port", name) for name in names],
                         [one for one in changes(told) if one[1] == "port"])
        self.assertIn("12 changes have been made", done.out)
        self.assertIn("nothing to change", equal.out)
        stored = {port["name"]: port for port in ports.json()}
        self.assertEqual(set(names), set(stored))
        drafts = stored["Drafts"]["job-template"]
        self.assertEqual(("draft", "two-sided-long-edge", 2),
                         (drafts["print-quality"], drafts["sides"], drafts["copies"]))
        self.assertEqual("two-sided-long-edge", stored["Room 101"]["job-template"]["sides"])
        self.assertEqual(3, len(stored["Everywhere"]["printers"]))
        self.assertEqual([("add", "queue", "Sales printer")], changes(queued))
        self.assertEqual([("Sales printer", "Sales", "Plain text", "Room 1")],
                         [(queue["name"], queue["port"], queue["driver"], queue["location"])
                          for queue in shown.json()])

        # The written file describes the fleet, the same each time.
        with open(self.prefix.path("bad.json"), "rb") as file:
            wrong = file.read()
        results = self.batch(
            tool("export", "C:\\one.json", "--format-version", "2"),
            tool("diff", "C:\\one.json", "--remove-others"),
            tool("export", "C:\\ports.csv", "--csv"), tool("diff", "--csv", "C:\\ports.csv"),
            tool("import", base, bad, code=USAGE), tool("import", "-", stdin=wrong, code=USAGE),
            tool("import", code=USAGE), tool("port", "set", "Drafts", "--copies", "7"),
            tool("diff", base, "--json", code=DIFFERENT), tool("import", base),
            tool("export", "C:\\two.json", "--format-version", "2"),
            # A port that a queue prints to is not removed.
            tool("import", none, "--remove-others=ports", code=CONFLICT),
            tool("import", less, "--remove-others=ports", "--json"),
            tool("import", less, "--remove-others", "--json"), tool("queue", "list"))
        self.assertIn("names the template \"no\"", results[4].err)
        self.assertIn("bad.json", results[4].err)
        self.assertIn("port 1 names the template", results[5].err)
        self.assertEqual([("change", "port", "Drafts")], changes(results[8]))
        one, two = (self.read_json(name) for name in ("one.json", "two.json"))
        self.assertEqual(one, two)
        self.assertEqual(sorted(names), [port["name"] for port in one["ports"]])
        self.assertEqual(["First floor", "First floor/Left"], list(one["groups"]))
        self.assertIn(("remove", "port", "Drafts"), changes(results[12]))
        self.assertEqual([("remove", "queue", "Sales printer")], changes(results[13]))
        self.assertIn('"Sales printer" prints to the port "Sales"', results[11].err)


class SetUpElsewhere(Tool):
    """The monitor is set up on simulated servers and removed from them. Their files are their own;
    what registers the monitor is this computer's spooler, which finds the library here."""

    def ours(self, system):
        """What is of ours in a system directory: its files, and what is in the spooler's folder."""
        files = (name for name in os.listdir(system) if name.startswith("Velmora"))
        return sorted(files), os.listdir(os.path.join(system, "spool"))

    def registry(self, server):
        """Steps that find the monitor's key and its registration."""
        return [Step("reg", "query", f"{SERVERS}{server}\\{KEY[5:]}", code=1),
                Step("reg", "query", server_print(server) + "Monitors\\" + MONITOR, code=1)]

    def test_both_servers_or_what_has_been_taken_back(self):
        self.batch(tool("install", "--quiet"), *printer_driver(options.arch))
        self.batch(*self.prefix.simulate_servers("NORTH", "SOUTH"),
                   *(Step("reg", "delete", key, "/f") for server in ("NORTH", "SOUTH")
                     for key in (f"{SERVERS}{server}\\{KEY[5:]}",
                                 server_print(server) + "Monitors\\" + MONITOR)))
        north, south = (self.prefix.own_files(server) for server in ("NORTH", "SOUTH"))
        install = ["install", "--server", "NORTH"]
        both = ["--server", "NORTH,SOUTH"]

        # Whatever fails is named, and nothing is left over.
        (_, registry, _, _, copy, _, _, monitor, *gone, _, share) = self.batch(
            break_call("RegConnectRegistry", 53), tool(*install, code=FAILED),
            break_call("RegConnectRegistry", 0),
            break_call("CopyFile", 5), tool(*install, code=DENIED), break_call("CopyFile", 0),
            break_call("AddMonitor", 50), tool(*install, "--json", code=FAILED),
            *self.registry("NORTH"), break_call("AddMonitor", 0),
            tool("install", "--server", "EAST", "--json", code=FAILED))
        self.assertIn('the registry of "\\\\NORTH"', registry.err)
        self.assertIn("nothing has been changed", copy.err)
        error = monitor.json()["error"]
        self.assertEqual("install, registering with the spooler", error["subject"])
        self.assertIn("what was done before has been taken back", error["message"])
        self.assertIn("on that computer", error["remedy"])
        self.assertEqual("share-unreachable", share.json()["error"]["code"])
        self.assertEqual(([], []), self.ours(north))

        # A library for the other kind of Windows is refused.
        program = os.path.join(south, "spoolsv.exe")
        with open(program, "rb") as file:
            image = bytearray(file.read())
        headers = int.from_bytes(image[0x3C:0x40], "little")
        other = image[:]
        other[headers + 4:headers + 6] = b"\x64\x86" if options.arch == "x86" else b"\x4c\x01"
        for data in (other, image):
            with open(program, "wb") as file:
                file.write(data)
            if data is other:
                wrong, = self.batch(tool("install", "--server", "SOUTH", code=USAGE))
        self.assertIn("-bit Windows; nothing has been changed", wrong.err)
        self.assertEqual(([], []), self.ours(south))

        done, again, *_, added, ports, told = self.batch(
            tool("install", *both, "--json"), tool("install", *both),
            use_shim_on("NORTH", MONITOR), use_shim_on("SOUTH", MONITOR),
            tool("port", "add", "Hall", "--url", NOBODY, *both),
            tool("port", "list", *both, "-o", "names"),
            tool("uninstall", "--dry-run", *both))
        for part in done.json():
            self.assertEqual(("copied", "written", True, MONITOR),
                             tuple(part["answer"][key] for key in
                                   ("library", "policy", "registered-now", "monitor")))
        self.assertIn('NORTH: The monitor "Velmora IPP Port" is already registered', again.out)
        self.assertIn("Velmora.dll\" is already there.", again.out)
        for system in (north, south):
            self.assertEqual((["Velmora.dat", "Velmora.dll"], ["Velmora"]), self.ours(system))
        self.assertEqual("NORTH: Hall\nSOUTH: Hall\n", ports.out)
        self.assertIn("SOUTH: Nothing stands in the way", told.out)

        (_, kept, _, left, keep, remove, nothing, *gone) = self.batch(
            break_call("DeleteMonitor", 5),
            tool("uninstall", "--ports", "keep", "--server", "NORTH", code=DENIED),
            break_call("DeleteMonitor", 0),
            tool("port", "list", "--server", "NORTH", "-o", "names"),
            tool("uninstall", "--ports", "keep", "--server", "NORTH"),
            tool("uninstall", "--ports", "remove", "--server", "SOUTH"),
            tool("uninstall", "--ports", "remove", "--server", "SOUTH"), *self.registry("SOUTH"))
        self.assertIn("on that computer", kept.err)
        self.assertEqual("Hall\n", left.out)
        self.assertIn("settings stay", keep.out)
        self.assertEqual((["Velmora.dat"], ["Velmora"]), self.ours(north))
        self.assertEqual(([], ["Velmora"]), self.ours(south))
        self.assertIn("there was nothing to undo", nothing.out)
        # This computer's own was not touched.
        own, = self.batch(tool("install", "--json"))
        self.assertEqual(("same", False), (own.json()["library"], own.json()["registered-now"]))


if __name__ == "__main__":
    run_tests(__doc__, "fleet-")
