#!/usr/bin/env python3
"""A printer that misbehaves in exactly one way.

    faulty_printer.py [--on N[,N...]] [--seconds S] [--size N] BEHAVIOUR [-- COMMAND...]
    faulty_printer.py --list

--on says which requests get the fault (counted from 1 over the printer's life; default: all); the
others get a good answer. A client's job is two requests: the probe, then the print job.
Without COMMAND: prints the URL and runs until SIGTERM or Ctrl-C. COMMAND as in ippeve_printer.py.
With --directory DIR, DIR/served gets a line for each request read to its end (number, operation,
size of the body), before it is answered, and one for its outcome.
"""

import argparse
import itertools
import os
import socket
import struct
import sys
import threading
import time

import peer_process
import raw_http

BEHAVIOURS = {}


def behaviour(function):
    """Registers a behaviour under its name with dashes; its first doc line is its --list text."""
    BEHAVIOURS[function.__name__.replace("_", "-")] = function
    return function


class Fault(Exception):
    """The fault has been shown; the connection is closed with this as the outcome."""


class Exchange:
    """One request on one connection, as a behaviour sees it."""

    def __init__(self, printer, connection, stream, number):
        self.printer = printer
        self.options = printer.options
        self.connection = connection
        self.stream = stream
        self.number = number
        self.request = None

    def read(self):
        self.request = self.stream.read_head()
        self.read_rest()

    def read_rest(self):
        self.stream.read_body(self.request)
        operation = self.request.operation or 0
        self.printer.log(f"{self.number} 0x{operation:04x} {len(self.request.body)}")

    def send(self, data):
        try:
            self.connection.sendall(data)
        except OSError as error:
            raise Fault("client gone") from error

    def send_slowly(self, data, pause):
        for index in range(len(data)):
            self.send(data[index:index + 1])
            time.sleep(pause)

    def flood(self, block):
        """Sends the block for ever: 20 MiB at once, then with pauses, since Wine's client reads what is
        there before it closes a connection."""
        for sent in itertools.count(0, len(block)):
            self.send(block)
            if sent > 20 << 20:
                time.sleep(0.2)

    def drip(self, data, count=None):
        """`count` bytes (default: for ever) of the data over and over, one every --seconds."""
        for byte in itertools.islice(itertools.cycle(data), count):
            self.send(bytes([byte]))
            time.sleep(self.options.seconds)

    def reset(self, outcome):
        """Closes with a reset instead of an orderly end."""
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        raise Fault(outcome)

    def wait_for_client(self, seconds):
        """Waits until the client closes or the time is over; discards what arrives."""
        self.connection.settimeout(0.1)
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            try:
                if not self.connection.recv(65536):
                    raise Fault("client closed")
            except socket.timeout:
                continue
            except OSError as error:
                raise Fault("client reset") from error


def good(exchange):
    exchange.read()
    if not exchange.request.line.startswith("POST "):
        # A client that has followed a redirect sends GET, and perhaps a body with it, which must not be
        # taken for the next request.
        exchange.send(raw_http.answer(b"", "405 Method Not Allowed", ["Connection: close"]))
        exchange.wait_for_client(10)
        raise Fault(exchange.request.line)
    exchange.send(raw_http.answer(raw_http.ipp_answer()))
    return "good"


@behaviour
def never_answers(exchange):
    """reads the request and is silent; after --seconds it closes"""
    exchange.read()
    exchange.wait_for_client(exchange.options.seconds)
    raise Fault("gave up")


@behaviour
def slow(exchange):
    """answers one byte every --seconds"""
    exchange.read()
    exchange.send_slowly(raw_http.answer(raw_http.ipp_answer()), exchange.options.seconds)
    return "slow"


@behaviour
def closes_before_reading(exchange):
    """closes the connection without reading a byte"""
    exchange.reset("closed before reading")


@behaviour
def closes_in_headers(exchange):
    """closes after the request line"""
    exchange.stream.take_through(raw_http.CRLF)
    exchange.reset("closed in headers")


@behaviour
def closes_in_body(exchange):
    """closes after the first piece of the body (or the first --size bytes of it)"""
    request = exchange.stream.read_head()
    exchange.stream.take(exchange.options.size)
    exchange.reset("closed in body of " + request.line)


@behaviour
def closes_between(exchange):
    """a good answer, then an orderly close that no header announced"""
    good(exchange)
    raise Fault("closed after a good answer")


@behaviour
def closes_before_answer(exchange):
    """reads everything and closes without an answer"""
    exchange.read()
    raise Fault("closed before the answer")


@behaviour
def closes_in_answer_headers(exchange):
    """closes in the middle of the answer's header block"""
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: appl")
    raise Fault("closed in the answer's headers")


@behaviour
def closes_in_answer(exchange):
    """closes in the middle of the answer's body"""
    exchange.read()
    data = raw_http.answer(raw_http.ipp_answer())
    exchange.send(data[:-20])
    raise Fault("closed in the answer")


@behaviour
def waits_in_body(exchange):
    """reads the header block, and the rest when there is a file DIR/go (or after --seconds)"""
    exchange.request = exchange.stream.read_head()
    exchange.printer.log(f"{exchange.number} waits")
    end = time.monotonic() + exchange.options.seconds
    while time.monotonic() < end and not os.path.exists(
            os.path.join(exchange.options.directory, "go")):
        time.sleep(0.02)
    try:
        exchange.read_rest()
    except raw_http.Closed as error:
        raise Fault("the body broke off") from error
    exchange.send(raw_http.answer(raw_http.ipp_answer()))
    return "the body came to its end"


@behaviour
def zero_window(exchange):
    """stops reading after the header block (the receive window closes), after --seconds it resets"""
    exchange.request = exchange.stream.read_head()
    time.sleep(exchange.options.seconds)
    exchange.reset("never read the body")


@behaviour
def early_answer(exchange):
    """answers right after the header block, and reads the body afterwards"""
    exchange.request = exchange.stream.read_head()
    exchange.send(raw_http.answer(raw_http.ipp_answer()))
    exchange.read_rest()
    return "answered early"


@behaviour
def early_answer_and_close(exchange):
    """refuses right after the header block (IPP 0x0507) and closes with the body unread"""
    exchange.request = exchange.stream.read_head()
    exchange.send(raw_http.answer(raw_http.ipp_answer(0x0507)))
    exchange.connection.shutdown(socket.SHUT_WR)
    raise Fault("answered early and closed")


@behaviour
def late_continue(exchange):
    """"100 Continue" only after the whole body, directly before the answer"""
    exchange.read()
    exchange.send(b"HTTP/1.1 100 Continue\r\n\r\n")
    exchange.send(raw_http.answer(raw_http.ipp_answer()))
    return "continued late"


@behaviour
def expectation_failed(exchange):
    """answers 417"""
    return with_status(exchange, "417 Expectation Failed")


@behaviour
def redirects_elsewhere(exchange):
    """answers 302 to a port where nobody listens"""
    return with_status(exchange, "302 Found",
                       [f"Location: http://localhost:{peer_process.free_port()}/ipp/print"])


@behaviour
def redirects_to_itself(exchange):
    """answers 302 to its own URL, every time"""
    return with_status(exchange, "302 Found",
                       [f"Location: http://localhost:{exchange.printer.port}/ipp/print"])


@behaviour
def unauthorized(exchange):
    """answers 401 (Basic), whatever the client says"""
    return with_status(exchange, "401 Unauthorized", ['WWW-Authenticate: Basic realm="printers"'])


@behaviour
def not_found(exchange):
    """answers 404"""
    return with_status(exchange, "404 Not Found")


@behaviour
def server_error(exchange):
    """answers 500"""
    return with_status(exchange, "500 Internal Server Error")


@behaviour
def unavailable(exchange):
    """answers 503"""
    return with_status(exchange, "503 Service Unavailable")


@behaviour
def not_implemented(exchange):
    """answers 501"""
    return with_status(exchange, "501 Not Implemented")


def with_status(exchange, status, fields=()):
    exchange.read()
    body = b"<html>" + status.encode("ascii") + b"</html>"
    exchange.send(raw_http.answer(body, status, fields))
    return status


@behaviour
def bad_status_line(exchange):
    """answers "HTTP/1.1 abc" with a good body"""
    return with_head(exchange, b"HTTP/1.1 abc\r\n")


@behaviour
def long_status(exchange):
    """answers with a status of four digits"""
    return with_head(exchange, b"HTTP/1.1 2000 OK\r\n")


@behaviour
def garbage(exchange):
    """answers with bytes that are not HTTP, and closes"""
    exchange.read()
    exchange.send(bytes(range(256)) * 4)
    raise Fault("garbage")


def with_head(exchange, line):
    exchange.read()
    body = raw_http.ipp_answer()
    exchange.send(line + b"Content-Type: application/ipp\r\nContent-Length: %d\r\n\r\n" % len(body) +
                  body)
    return "odd status line"


@behaviour
def many_headers(exchange):
    """a good answer with --size header lines (default 65536)"""
    exchange.read()
    fields = [f"X-Field-{index}: value" for index in range(exchange.options.size or 65536)]
    exchange.send(raw_http.answer(raw_http.ipp_answer(), fields=fields))
    return "many headers"


@behaviour
def huge_answer(exchange):
    """a good answer followed by --size bytes of padding in the same body (default 1 GiB)"""
    exchange.read()
    body = raw_http.ipp_answer()
    left = exchange.options.size or 1 << 30
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\nContent-Length: %d\r\n\r\n" %
                  (len(body) + left) + body)
    block = bytes(1 << 20)
    while left > 0:
        exchange.send(block[:left])
        left -= len(block)
    return "huge answer"


@behaviour
def endless_attributes(exchange):
    """an answer whose attributes never end; after --size bytes (default 64 MiB) it closes"""
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n\r\n" +
                  raw_http.ipp_answer()[:-1])
    block = b"\x21\x00\x06copies\x00\x04\x00\x00\x00\x01" * 4096
    left = exchange.options.size or 64 << 20
    while left > 0:
        exchange.send(block)
        left -= len(block)
    raise Fault("endless attributes")


@behaviour
def endless_answer(exchange):
    """a good answer at the front of a body that never ends"""
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n"
                  b"Content-Length: %d\r\n\r\n" % (1 << 40) + raw_http.ipp_answer())
    exchange.flood(bytes(65536))


@behaviour
def endless_chunks(exchange):
    """a good answer in a chunked body that never ends"""
    chunked(exchange, b"%x\r\n" % len(raw_http.ipp_answer()) + raw_http.ipp_answer() + b"\r\n")
    exchange.flood(b"10000\r\n" + bytes(0x10000) + b"\r\n")


@behaviour
def endless_error(exchange):
    """a 404 whose body never ends"""
    exchange.read()
    exchange.send(b"HTTP/1.1 404 Not Found\r\nContent-Type: text/html\r\n"
                  b"Content-Length: %d\r\n\r\n" % (1 << 40))
    exchange.flood(b"<html>\n" * 8192)


@behaviour
def drips_headers(exchange):
    """a good answer with --size header bytes before it, one every --seconds"""
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nX-Drip: ")
    exchange.drip(b"x", exchange.options.size or None)
    exchange.send(raw_http.answer(raw_http.ipp_answer())[len("HTTP/1.1 200 OK"):])
    return "dripped headers"


@behaviour
def drips_body(exchange):
    """headers, then a body that begins as an answer, one byte every --seconds, for ever"""
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n\r\n" +
                  raw_http.ipp_answer()[:-1])
    exchange.drip(raw_http.attribute(0x21, b"copies", b"\0\0\0\1"))


@behaviour
def drips_after_the_answer(exchange):
    """a whole answer at once, and after it one byte every --seconds, for ever"""
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n\r\n" +
                  raw_http.ipp_answer())
    exchange.drip(b"\0")


@behaviour
def many_continues(exchange):
    """"100 Continue" a thousand times (or --size), then a good answer"""
    exchange.read()
    exchange.send(b"HTTP/1.1 100 Continue\r\n\r\n" * (exchange.options.size or 1000))
    exchange.send(raw_http.answer(raw_http.ipp_answer()))
    return "many continues"


@behaviour
def redirects_to_a_file(exchange):
    """answers 302 to a file: URL"""
    return with_status(exchange, "302 Found", ["Location: file:///C:/windows/win.ini"])


@behaviour
def redirects_to(exchange):
    """answers 307 to the port --size of this computer"""
    return with_status(exchange, "307 Temporary Redirect",
                       [f"Location: http://localhost:{exchange.options.size}/ipp/print"])


@behaviour
def short_status(exchange):
    """answers with a status of two digits"""
    return with_head(exchange, b"HTTP/1.1 20 OK\r\n")


@behaviour
def no_reason(exchange):
    """a good answer whose status line has no reason"""
    return with_head(exchange, b"HTTP/1.1 200\r\n")


def chunked(exchange, framed):
    exchange.read()
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\n"
                  b"Transfer-Encoding: chunked\r\n\r\n" + framed)


@behaviour
def bad_chunk_size(exchange):
    """an answer in chunks whose size line is not a number"""
    chunked(exchange, b"zz\r\n" + raw_http.ipp_answer() + b"\r\n0\r\n\r\n")
    raise Fault("bad chunk size")


@behaviour
def huge_chunk_size(exchange):
    """an answer in chunks whose size needs more than 64 bits"""
    chunked(exchange, b"FFFFFFFFFFFFFFFFFFFF\r\n" + raw_http.ipp_answer() + b"\r\n0\r\n\r\n")
    raise Fault("huge chunk size")


@behaviour
def negative_chunk_size(exchange):
    """an answer in chunks whose size is negative"""
    chunked(exchange, b"-5\r\n" + raw_http.ipp_answer() + b"\r\n0\r\n\r\n")
    raise Fault("negative chunk size")


@behaviour
def late_final_chunk(exchange):
    """a 404 in chunks, the final chunk only after a moment: who stops reading leaves it there"""
    exchange.read()
    exchange.send(b"HTTP/1.1 404 Not Found\r\nContent-Type: text/html\r\n"
                  b"Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n")
    time.sleep(min(exchange.options.seconds, 0.2))
    exchange.send(b"0\r\n\r\n")
    return "late final chunk"


@behaviour
def malformed_then_more(exchange):
    """a chunked 200 whose IPP is malformed in its first chunk, with a second and a final chunk"""
    chunked(exchange, b"9\r\n\x01\x00\x00\x00\x01\x00\x00\x00\x0f\r\n400\r\n" + bytes(1024) +
            b"\r\n0\r\n\r\n")
    return "malformed"


@behaviour
def html(exchange):
    """200 with a text/html page"""
    exchange.read()
    body = b"<html><body>Printer</body></html>"
    exchange.send(b"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: %d\r\n\r\n" %
                  len(body) + body)
    return "html"


@behaviour
def empty_answer(exchange):
    """200 with an empty body"""
    exchange.read()
    exchange.send(raw_http.answer(b""))
    return "empty"


@behaviour
def ipp_status(exchange):
    """a well-formed answer whose IPP status is --size"""
    exchange.read()
    exchange.send(raw_http.answer(raw_http.ipp_answer(exchange.options.size)))
    return "ipp status"


@behaviour
def few_operations(exchange):
    """a good answer of a printer whose operations are Print-Job and Get-Printer-Attributes"""
    exchange.read()
    operations = (raw_http.attribute(0x23, b"operations-supported", b"\x00\x00\x00\x02") +
                  raw_http.attribute(0x23, b"", b"\x00\x00\x00\x0b"))
    exchange.send(raw_http.answer(raw_http.ipp_answer(0, b"\x04" + operations)))
    return "few operations"


@behaviour
def no_value(exchange):
    """a well-formed answer that carries an out-of-band no-value (0x13)"""
    exchange.read()
    attribute = b"\x13\x00\x06copies\x00\x00"
    exchange.send(raw_http.answer(raw_http.ipp_answer(attributes=attribute)))
    return "no-value"


@behaviour
def hostile_texts(exchange):
    """a good answer about a printer and a job whose texts attack the terminal that shows them"""
    exchange.read()
    evil = (b"\x1b]0;owned\x07\x1b[2J\x9b\xc2\x9b31m\r\n\x00\x7f\xe2\x80\xae\xef\xbb\xbf" +
            b"x" * 900)
    texts = [raw_http.attribute(tag, name, evil) for tag, name in
             ((0x41, b"status-message"), (0x42, b"printer-name"), (0x41, b"printer-info"),
              (0x44, b"printer-state-reasons"), (0x44, b"media-supported"), (0x42, b"job-name"),
              (0x42, b"job-originating-user-name"))]
    exchange.send(raw_http.answer(raw_http.ipp_answer(
        exchange.options.size, texts[0] + b"\x04" + b"".join(texts[1:5]) +
        b"\x02" + raw_http.attribute(0x21, b"job-id", b"\x00\x00\x00\x07") + b"".join(texts[5:]))))
    return "hostile texts"


# What a hostile printer does with its requests in turn.
HOSTILE = [good, many_headers, good, closes_before_reading, redirects_elsewhere, good,
           closes_in_headers, good, closes_in_answer, redirects_to_itself, good, closes_in_body,
           good, endless_answer, closes_before_answer, good, redirects_to_a_file, good,
           closes_in_answer_headers, garbage, good, server_error, endless_attributes, good]


@behaviour
def turns_hostile(exchange):
    """another fault for each request, and good answers in between"""
    return HOSTILE[exchange.number % len(HOSTILE)](exchange)


class Printer:
    def __init__(self, options):
        self.options = options
        self.requests = raw_http.Counter()
        self.listener = None
        self.port = 0
        self.lock = threading.Lock()

    def listen(self):
        if self.options.behaviour == "refuses":
            # Bound but not listening: the port stays ours and every connection is refused.
            self.listener = socket.socket()
            self.listener.bind(("127.0.0.1", 0))
        else:
            self.listener = raw_http.listen()
            if self.options.behaviour == "zero-window":
                # Inherited by the connections: the window is small and soon full.
                self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        self.port = self.listener.getsockname()[1]

    def run(self):
        while True:
            connection, _ = self.listener.accept()
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        stream = raw_http.Stream(connection)
        first = True
        try:
            while True:
                # A connection is made for a request; a further one begins with its first byte.
                if not first and not stream.buffer:
                    stream.fill()
                first = False
                self.serve_request(connection, stream)
        except (raw_http.Closed, Fault, OSError):
            pass
        finally:
            connection.close()

    def serve_request(self, connection, stream):
        exchange = Exchange(self, connection, stream, self.requests.next())
        act = good
        if exchange.number in self.options.on:
            act = BEHAVIOURS[self.options.behaviour]
        try:
            outcome = act(exchange)
        except (raw_http.Closed, Fault, OSError) as error:
            # The connection is closed before the line is written.
            connection.close()
            self.log(f"{exchange.number} {error or 'client closed'}")
            raise
        self.log(f"{exchange.number} {outcome}")

    def log(self, line):
        if not self.options.directory:
            return
        with self.lock, open(os.path.join(self.options.directory, "served"), "a",
                             encoding="ascii") as file:
            file.write(line + "\n")


class Everything:
    def __contains__(self, number):
        return True


def main():
    parser = argparse.ArgumentParser(description="a printer that misbehaves in one way")
    parser.add_argument("--list", action="store_true", help="print the behaviours and end")
    parser.add_argument("--directory", help="where the list of served requests is written")
    parser.add_argument("--on", help="numbers of the requests that get the fault, or 'all'")
    parser.add_argument("--seconds", type=float, default=1.0, help="the behaviour's time")
    parser.add_argument("--size", type=lambda text: int(text, 0), default=0,
                        help="the behaviour's number of bytes, lines, or its status")
    parser.add_argument("behaviour", nargs="?", help="see --list; or 'refuses'")
    parser.add_argument("run", nargs="*", help="a command to run while the printer is there")
    options = parser.parse_args()
    if options.list:
        print("refuses: nobody listens on the port")
        for name, function in BEHAVIOURS.items():
            print(f"{name}: {(function.__doc__ or '').strip()}")
        return
    if options.behaviour != "refuses" and options.behaviour not in BEHAVIOURS:
        parser.error(f"no behaviour {options.behaviour!r}, see --list")
    if options.on in (None, "all"):
        options.on = Everything()
    else:
        options.on = {int(number) for number in options.on.split(",")}
    peer_process.end_on_signal()
    if options.directory:
        os.makedirs(options.directory, exist_ok=True)
    printer = Printer(options)
    printer.listen()
    if options.behaviour != "refuses":
        threading.Thread(target=printer.run, daemon=True).start()
    sys.exit(peer_process.serve(f"ipp://localhost:{printer.port}/ipp/print", options.run))


if __name__ == "__main__":
    main()
