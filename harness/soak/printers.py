#!/usr/bin/env python3
"""The printers of a busy print server in one program, each on a port of its own: good ones, slow
ones, some with faults and some that are hostile, and switched-off ones.

    printers.py --directory DIR --seed S [--good N] [--slow N] [--faulty N] [--hostile N] [--off N]
                [--damages]

Prints a line "KIND URL" for each printer and an empty line, and serves until SIGTERM. Every Print-Job
request whose body has come to its end is a line of JSON in DIR/arrivals.jsonl before it is answered:

    printer, job (its name), bytes and sha256 of the document, and what the answer says:
    "taken"    a good answer
    "either"   a good answer among bad bytes: a client may see it or not
    "refused"  anything else

Faulty and hostile printers answer every second request well. None keeps a client waiting for more than some
seconds. With --damages the good ones lose the last byte of each document before they look at it.
"""

import argparse
import asyncio
import hashlib
import json
import os
import random
import signal
import socket
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "peers"))
import peer_process  # noqa: E402
import raw_http  # noqa: E402

PRINT_JOB = 2
END_OF_ATTRIBUTES = 3
FIRST_VALUE_TAG = 0x10
SLOW_BYTES = 8 << 20  # a second
LITTLE_WHILE = 2  # seconds


class Ended(Exception):
    """The connection is over."""


def ipp_front(data):
    """(operation, job name, length) of an IPP request's attributes; None if they are not complete
    (RFC 2910, 3.1)."""
    name = b""
    at = 8
    while at < len(data):
        tag = data[at]
        at += 1
        if tag == END_OF_ATTRIBUTES:
            return int.from_bytes(data[2:4], "big"), name.decode("utf-8", "replace"), at
        if tag < FIRST_VALUE_TAG:
            continue
        parts = []
        for _ in range(2):
            size = int.from_bytes(data[at:at + 2], "big")
            parts.append(bytes(data[at + 2:at + 2 + size]))
            at += 2 + size
        if parts[0] == b"job-name":
            name = parts[1]
    return None


class Incoming:
    """What a client sends: request heads, and bodies without their framing."""

    def __init__(self, reader, bytes_a_second):
        self.reader = reader
        self.bytes_a_second = bytes_a_second
        self.buffer = bytearray()

    async def more(self):
        data = await self.reader.read(1 << 18)
        if not data:
            raise Ended
        self.buffer += data
        if self.bytes_a_second:
            await asyncio.sleep(len(data) / self.bytes_a_second)

    async def head(self):
        while (end := self.buffer.find(b"\r\n\r\n")) < 0:
            await self.more()
        head = bytes(self.buffer[:end])
        del self.buffer[:end + 4]
        return raw_http.Request(head)

    async def body(self, request):
        """Yields the body in pieces."""
        if not request.chunked:
            left = request.length
            while left:
                if not self.buffer:
                    await self.more()
                piece = bytes(self.buffer[:left])
                del self.buffer[:left]
                left -= len(piece)
                yield piece
            return
        last = False
        while not last:
            piece = bytearray()
            at = 0
            while not last and (end := self.buffer.find(b"\r\n", at)) >= 0:
                size = int(self.buffer[at:end], 16)
                if len(self.buffer) < end + size + 4:
                    break
                piece += self.buffer[end + 2:end + 2 + size]
                at = end + size + 4
                last = size == 0
            del self.buffer[:at]
            if piece:
                yield piece
            if not last:
                await self.more()


class Exchange:
    """One request, as a behaviour sees it."""

    def __init__(self, printer, incoming, writer):
        self.printer = printer
        self.incoming = incoming
        self.writer = writer
        self.request = None

    async def read(self, answer):
        """Reads the whole request. `answer`: what the answer to it will be."""
        front = bytearray()
        parsed = None
        document = hashlib.sha256()
        size = 0
        held = b""  # the byte that a damaging printer may lose
        async for piece in self.incoming.body(self.request):
            if parsed is None:
                front += piece
                parsed = ipp_front(front)
                if parsed is None:
                    continue
                piece = front[parsed[2]:]
            if self.printer.damages and piece:
                piece = held + piece
                held, piece = piece[-1:], piece[:-1]
            document.update(piece)
            size += len(piece)
        if parsed and parsed[0] == PRINT_JOB:
            self.printer.arrived({"job": parsed[1], "bytes": size, "sha256": document.hexdigest(),
                                  "answer": answer})

    async def send(self, data):
        self.writer.write(data)
        await self.writer.drain()

    async def answer(self, *arguments, **options):
        await self.send(raw_http.answer(*arguments, **options))

    async def client_leaves(self, seconds=LITTLE_WHILE):
        """Until the client closes, but not longer than this."""
        try:
            await asyncio.wait_for(self.drop(), seconds)
        except asyncio.TimeoutError:
            pass
        raise Ended

    async def drop(self):
        while True:
            self.incoming.buffer.clear()
            await self.incoming.more()

    def reset(self):
        """Closes with a reset instead of an orderly end."""
        connection = self.writer.get_extra_info("socket")
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        raise Ended


async def good(exchange):
    await exchange.read("taken")
    # successful-ok, or the same with ignored or substituted attributes (RFC 2911, 13.1.2).
    await exchange.answer(raw_http.ipp_answer(exchange.printer.random.choice((0, 0, 0, 1, 2))))


async def late(exchange):
    await exchange.read("taken")
    await asyncio.sleep(exchange.printer.random.random() / 2)
    await exchange.answer(raw_http.ipp_answer())


# Faults, as they happen in an office.

async def refuses(exchange):
    await exchange.read("refused")
    await exchange.answer(raw_http.ipp_answer(exchange.printer.random.choice(
        (0x0400, 0x0403, 0x040B, 0x0500, 0x0504, 0x0507))))


async def server_error(exchange):
    await exchange.read("refused")
    await exchange.answer(b"<html></html>", exchange.printer.random.choice(
        ("500 Internal Server Error", "503 Service Unavailable", "404 Not Found",
         "417 Expectation Failed")))


async def closes_in_body(exchange):
    if not exchange.incoming.buffer:
        await exchange.incoming.more()
    exchange.reset()


async def closes_before_reading(exchange):
    exchange.reset()


async def closes_before_answer(exchange):
    await exchange.read("refused")
    raise Ended


async def closes_in_answer(exchange):
    await exchange.read("refused")
    await exchange.send(raw_http.answer(raw_http.ipp_answer())[:-30])
    raise Ended


async def closes_between(exchange):
    """A good answer, and an orderly close that no header announced."""
    await good(exchange)
    raise Ended


async def early_refusal(exchange):
    """Answers without reading the request."""
    await exchange.answer(raw_http.ipp_answer(0x0507))
    await exchange.client_leaves()


async def stops_reading(exchange):
    await asyncio.sleep(LITTLE_WHILE)
    exchange.reset()


async def silent(exchange):
    await exchange.read("refused")
    await exchange.client_leaves()


FAULTS = (refuses, refuses, server_error, closes_in_body, closes_before_reading,
          closes_before_answer, closes_in_answer, closes_between, early_refusal, stops_reading,
          silent)


# What only an attacker does.

async def garbage(exchange):
    await exchange.read("refused")
    await exchange.send(bytes(range(256)) * 40)
    raise Ended


async def many_headers(exchange):
    await exchange.read("either")
    await exchange.answer(raw_http.ipp_answer(),
                          fields=[f"X-Field-{index}: value" for index in range(8192)])


async def many_continues(exchange):
    await exchange.read("either")
    await exchange.send(b"HTTP/1.1 100 Continue\r\n\r\n" * 1000)
    await exchange.answer(raw_http.ipp_answer())


async def flood(exchange):
    """An answer followed by 18 MiB of zeros."""
    await exchange.read("either")
    await exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n"
                        b"Content-Length: %d\r\n\r\n" % (1 << 40) + raw_http.ipp_answer())
    for _ in range(18):
        await exchange.send(bytes(1 << 20))
    raise Ended


async def endless_attributes(exchange):
    await exchange.read("refused")
    await exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n\r\n" +
                        raw_http.ipp_answer(0x0400)[:-1])
    block = raw_http.attribute(0x21, b"copies", b"\0\0\0\1") * 65536
    for _ in range(8):
        await exchange.send(block)
    raise Ended


async def negative_chunk(exchange):
    await exchange.read("refused")
    await exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n"
                        b"Transfer-Encoding: chunked\r\n\r\n-5\r\nabcde\r\n0\r\n\r\n")
    raise Ended


async def long_lengths(exchange):
    """Attributes whose lengths promise more than follows."""
    await exchange.read("refused")
    await exchange.answer(b"\x01\x00\x04\x00\x01\x00\x00\x00\x01\x47\x7f\xff\x80\x00abc\xff\xff")


async def redirects_to_itself(exchange):
    await exchange.read("refused")
    await exchange.answer(b"", "302 Found", [f"Location: {exchange.printer.http_url}"])


async def redirects_to_a_file(exchange):
    await exchange.read("refused")
    await exchange.answer(b"", "302 Found", ["Location: file:///C:/windows/win.ini"])


async def drips(exchange):
    """An answer that comes byte by byte and never ends."""
    await exchange.read("refused")
    await exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n\r\n" +
                        raw_http.ipp_answer(0x0400)[:-1])
    for byte in raw_http.attribute(0x21, b"copies", b"\0\0\0\1") * 2:
        await exchange.send(bytes([byte]))
        await asyncio.sleep(0.05)
    raise Ended


async def hostile_texts(exchange):
    await exchange.read("either")
    text = b"\x1b]0;owned\x07\x1b[2J\x9b\xc2\x9b31m\r\n\x00\x7f" + b"x" * 900
    await exchange.answer(raw_http.ipp_answer(
        attributes=raw_http.attribute(0x41, b"status-message", text)))


HARM = (garbage, many_headers, many_continues, flood, endless_attributes, negative_chunk,
        long_lengths, redirects_to_itself, redirects_to_a_file, drips, hostile_texts)
MISBEHAVIOURS = {"faulty": FAULTS, "hostile": HARM}
KINDS = ("good", "slow", "faulty", "hostile", "off")


class Printer:
    def __init__(self, kind, seed, record, damages):
        self.kind = kind
        self.random = random.Random(seed)
        self.record = record
        self.damages = damages and kind == "good"
        self.requests = 0
        self.listener = socket.socket()
        self.listener.bind(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.url = f"ipp://localhost:{self.port}/{kind}/print"
        self.http_url = self.url.replace("ipp:", "http:")

    def arrived(self, arrival):
        self.record.write(json.dumps({"printer": self.url, **arrival}) + "\n")

    async def listen(self):
        # A printer that is off is bound and not listening: its port stays ours.
        if self.kind != "off":
            await asyncio.start_server(self.serve, sock=self.listener, limit=1 << 18)

    def behaviour(self):
        self.requests += 1
        if self.kind == "slow":
            return late
        if self.kind == "good" or self.random.random() < 0.5:
            return good
        return self.random.choice(MISBEHAVIOURS[self.kind])

    async def serve(self, reader, writer):
        incoming = Incoming(reader, SLOW_BYTES if self.kind == "slow" else 0)
        try:
            while True:
                exchange = Exchange(self, incoming, writer)
                exchange.request = await incoming.head()
                if exchange.request.line.startswith("GET "):
                    # A client that follows a redirect may send a body with its GET.
                    await exchange.answer(b"", "405 Method Not Allowed", ["Connection: close"])
                    await exchange.client_leaves()
                await self.behaviour()(exchange)
        except (Ended, OSError, ValueError, asyncio.CancelledError):
            pass  # the client is gone, or this program ends
        finally:
            writer.close()


async def run(options):
    with open(os.path.join(options.directory, "arrivals.jsonl"), "a", encoding="ascii",
              buffering=1) as record:
        printers = [Printer(kind, f"{options.seed} {kind} {index}", record, options.damages)
                    for kind in KINDS for index in range(getattr(options, kind))]
        for printer in printers:
            await printer.listen()
        print("".join(f"{printer.kind} {printer.url}\n" for printer in printers), flush=True)
        over = asyncio.Event()
        asyncio.get_running_loop().add_signal_handler(signal.SIGTERM, over.set)
        await over.wait()


def main():
    parser = argparse.ArgumentParser(description="the printers of a busy print server")
    parser.add_argument("--directory", required=True, help="where arrivals are recorded")
    parser.add_argument("--seed", required=True)
    for kind in KINDS:
        parser.add_argument("--" + kind, type=int, default=0)
    parser.add_argument("--damages", action="store_true")
    options = parser.parse_args()
    asyncio.run(run(options))


if __name__ == "__main__":
    main()
