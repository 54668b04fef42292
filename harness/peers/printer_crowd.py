#!/usr/bin/env python3
"""Hundreds of printers in one small program: every path of its port is a printer that gives recorded
answers. It prints nothing.

    printer_crowd.py --directory DIR [--certificate KIND] [-- COMMAND...]

The first part of the path chooses what the printer does:

    /ready/...     accepts every job, and reports its toner
    /refuses/...   refuses jobs with media A4
    /silent/...    reads the request and never answers

DIR/served holds a byte for each request received. COMMAND as in ippeve_printer.py.
"""

import argparse
import asyncio
import os
import ssl
import sys
import threading

import certificates
import peer_process
import raw_http

VALIDATE_JOB, GET_PRINTER_ATTRIBUTES = 4, 11
REFUSED = 0x040B  # client-error-attributes-or-values-not-supported


def number(value):
    return value.to_bytes(4, "big", signed=True)


def several(tag, name, values):
    """One attribute with many values."""
    first, *rest = values
    return raw_http.attribute(tag, name, first) + b"".join(
        raw_http.attribute(tag, b"", value) for value in rest)


INTEGER, BOOLEAN, ENUM, RANGE, TEXT, NAME, KEYWORD = 0x21, 0x22, 0x23, 0x33, 0x41, 0x42, 0x44
PRINTER = b"\x04" + b"".join((
    several(NAME, b"printer-name", [b"One of many"]),
    several(ENUM, b"printer-state", [number(3)]),
    several(KEYWORD, b"printer-state-reasons", [b"toner-low-warning"]),
    several(BOOLEAN, b"printer-is-accepting-jobs", [b"\x01"]),
    several(ENUM, b"operations-supported", [number(code) for code in (2, 4, 10, 11)]),
    several(KEYWORD, b"media-supported", [b"iso_a4_210x297mm", b"na_letter_8.5x11in"]),
    several(KEYWORD, b"sides-supported", [b"one-sided", b"two-sided-long-edge"]),
    several(RANGE, b"copies-supported", [number(1) + number(99)]),
    several(NAME, b"marker-names", [b"Black", b"Cyan"]),
    several(KEYWORD, b"marker-types", [b"toner", b"toner"]),
    several(INTEGER, b"marker-levels", [number(64), number(9)])))
MEDIA = b"\x05" + several(KEYWORD, b"media", [b"A4"])


def answer_of(kind, body):
    operation = int.from_bytes(body[2:4], "big")
    if operation == GET_PRINTER_ATTRIBUTES:
        return raw_http.ipp_answer(0, PRINTER)
    if operation == VALIDATE_JOB and kind == "refuses" and MEDIA[1:] in body:
        return raw_http.ipp_answer(REFUSED, MEDIA)
    return raw_http.ipp_answer(0)


class Crowd:
    def __init__(self, directory, context):
        self.context = context
        self.port = None
        self.served = os.path.join(directory, "served")
        self.started = threading.Event()

    async def serve(self, reader, writer):
        try:
            while True:
                head = await reader.readuntil(b"\r\n\r\n")
                request = raw_http.Request(head)
                body = await reader.readexactly(request.length)
                with open(self.served, "ab") as file:
                    file.write(b".")
                kind = request.line.split("/")[1]
                if kind == "silent":
                    await reader.read()  # until the client closes
                    return
                writer.write(raw_http.answer(answer_of(kind, body)))
                await writer.drain()
        except (asyncio.IncompleteReadError, ConnectionError):
            pass
        finally:
            writer.close()

    async def listen(self):
        server = await asyncio.start_server(self.serve, "127.0.0.1", 0, ssl=self.context,
                                            backlog=1024)
        self.port = server.sockets[0].getsockname()[1]
        self.started.set()
        await server.serve_forever()

    def start(self):
        threading.Thread(target=lambda: asyncio.run(self.listen()), daemon=True).start()
        self.started.wait(20)


def main():
    parser = argparse.ArgumentParser(description="many printers on one free loopback port")
    parser.add_argument("--directory", required=True, help="where requests are counted")
    parser.add_argument("--certificate", choices=sorted(certificates.DATES),
                        help="serve https with a certificate of this kind")
    parser.add_argument("run", nargs="*", help="a command to run while the printers are there")
    options = parser.parse_args()
    peer_process.end_on_signal()
    os.makedirs(options.directory, exist_ok=True)
    context = None
    if options.certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*certificates.make(options.directory, options.certificate))
    crowd = Crowd(options.directory, context)
    crowd.start()
    if crowd.port is None:
        peer_process.fail("the server does not start")
    scheme = "https" if options.certificate else "ipp"
    sys.exit(peer_process.serve(f"{scheme}://localhost:{crowd.port}/ready", options.run))


if __name__ == "__main__":
    main()
