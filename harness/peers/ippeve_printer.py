#!/usr/bin/env python3
"""A real IPP printer for tests and demonstrations: ippeveprinter with a private D-Bus, on a free
loopback port, with the attributes that our default job template needs (media "A4" among them).

    ippeve_printer.py --directory DIR [--command PROGRAM] [--media NAME] [--attributes FILE] [--modest]
                      [-- COMMAND...]

Documents stay in DIR as <number>-<job name>.dat; DIR/printer.log is the printer's own log. Data of any kind
is accepted without a document-format. With COMMAND: runs it with {url} in its words replaced and
VELMORA_PRINTER_URL set, ends the printer and gives the command's exit code. Without: prints the URL and
runs until SIGTERM or Ctrl-C, e.g.

    harness/peers/ippeve_printer.py --directory /tmp/printer
    ipp://localhost:40123/ipp/print
"""

import argparse
import os
import subprocess
import sys

import peer_process

ATTRIBUTES = """\
ATTR keyword media-supported "A4","Letter","iso_a4_210x297mm","na_letter_8.5x11in"
ATTR keyword media-default "A4"
ATTR keyword media-ready "A4","Letter"
ATTR mimeMediaType document-format-supported "application/octet-stream","application/pdf","application/postscript"
ATTR mimeMediaType document-format-default "application/postscript"
ATTR keyword sides-supported "one-sided","two-sided-long-edge","two-sided-short-edge"
ATTR keyword sides-default "one-sided"
ATTR enum print-quality-supported 3,4,5
ATTR enum print-quality-default 4
ATTR resolution printer-resolution-supported 300dpi,600dpi,1200x600dpi
ATTR resolution printer-resolution-default 600dpi
ATTR enum orientation-requested-supported 3,4,5,6
ATTR enum orientation-requested-default 3
ATTR enum finishings-supported 3,4,5
ATTR enum finishings-default 3
ATTR rangeOfInteger copies-supported 1-99
ATTR integer copies-default 1
ATTR boolean page-ranges-supported true
"""


# What a printer without duplex unit, which knows media by their self-describing names, has instead.
MODEST = (('"A4","Letter","iso_', '"iso_'), ('media-default "A4"', 'media-default "iso_a4_210x297mm"'),
          ('media-ready "A4","Letter"', 'media-ready "iso_a4_210x297mm"'),
          ('"one-sided","two-sided-long-edge","two-sided-short-edge"', '"one-sided"'))


def start_bus():
    """(process, address) of a message bus of our own: the printer insists on a system bus."""
    bus = peer_process.start(
        ["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    return bus, bus.stdout.readline().strip()


def with_lines(text, lines):
    """The lines of both; one of `lines` replaces those about the same attribute."""
    names = {line.split()[2] for line in lines}
    kept = [line for line in text.splitlines() if line.split()[2] not in names]
    return "\n".join([*kept, *lines]) + "\n"


def start_printer(directory, options, bus_address):
    """(process, port); None when the printer does not start."""
    attributes = os.path.join(directory, "attributes.conf")
    with open(attributes, "w", encoding="ascii") as file:
        extra = f',"{options.media}"' if options.media else ""
        text = ATTRIBUTES.replace('"na_letter_8.5x11in"', '"na_letter_8.5x11in"' + extra)
        for before, after in MODEST if options.modest else ():
            assert before in text, before
            text = text.replace(before, after)
        if options.attributes:
            with open(options.attributes, encoding="ascii") as more:
                text = with_lines(text, more.read().splitlines())
        file.write(text)
    environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=bus_address)
    for _ in range(5):
        port = peer_process.free_port()
        with open(os.path.join(directory, "printer.log"), "wb") as log:
            printer = peer_process.start(
                ["ippeveprinter", "-p", str(port), "-n", "localhost", "-r", "off", "-a", attributes,
                 "-c", options.command, "-k", "-d", directory, "-v", "Velmora test printer"],
                env=environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        if peer_process.wait_for_port(port, printer):
            return printer, port
        peer_process.stop(printer)
    return None


def main():
    parser = argparse.ArgumentParser(description="ippeveprinter on a free loopback port")
    parser.add_argument("--directory", required=True, help="where documents and the log are kept")
    parser.add_argument("--command", default="/bin/true", help="the printer's print command")
    parser.add_argument("--media", help="a medium that it takes beside the usual ones")
    parser.add_argument("--attributes", metavar="FILE",
                        help="lines such as 'ATTR keyword media-supported \"A4\"' to replace the usual")
    parser.add_argument("--modest", action="store_true",
                        help="one-sided, and no media by their older names")
    parser.add_argument("run", nargs="*", help="a command to run while the printer is there")
    options = parser.parse_args()
    peer_process.end_on_signal()
    directory = os.path.abspath(options.directory)
    os.makedirs(directory, exist_ok=True)
    bus, address = start_bus()
    try:
        started = start_printer(directory, options, address)
        if started is None:
            peer_process.fail("ippeveprinter does not start, see " + directory + "/printer.log")
        printer, port = started
        try:
            sys.exit(peer_process.serve(f"ipp://localhost:{port}/ipp/print", options.run))
        finally:
            peer_process.stop(printer)
    finally:
        peer_process.stop(bus)


if __name__ == "__main__":
    main()
