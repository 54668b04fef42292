"""HTTP as bytes on a socket, for servers that must see and record exactly what a client sent."""

import socket
import threading

CRLF = b"\r\n"


class Closed(Exception):
    """The client closed or reset the connection before the request was complete."""


class Request:
    """One request: the header block as received, its fields (names in lower case), the body with
    the chunk framing removed, and the bytes of the body as received."""

    def __init__(self, head):
        self.head = head
        lines = head.decode("latin-1").split("\r\n")
        self.line = lines[0]
        self.fields = {}
        for line in lines[1:]:
            name, colon, value = line.partition(":")
            if colon:
                self.fields[name.strip().lower()] = value.strip()
        self.body = bytearray()
        self.raw_body = bytearray()

    @property
    def chunked(self):
        return self.fields.get("transfer-encoding", "").lower() == "chunked"

    @property
    def length(self):
        return int(self.fields.get("content-length") or 0)

    @property
    def operation(self):
        """The IPP operation-id, or None when the body is too short for one."""
        return int.from_bytes(self.body[2:4], "big") if len(self.body) >= 4 else None


class Stream:
    """Buffered reading of a socket; everything received is also handed to `record`."""

    def __init__(self, connection, record=lambda data: None):
        self.connection = connection
        self.record = record
        self.buffer = bytearray()

    def fill(self):
        try:
            data = self.connection.recv(65536)
        except OSError as error:
            raise Closed from error
        if not data:
            raise Closed
        self.record(data)
        self.buffer += data

    def take(self, size):
        while len(self.buffer) < size:
            self.fill()
        data = bytes(self.buffer[:size])
        del self.buffer[:size]
        return data

    def take_through(self, end):
        searched = 0
        while True:
            at = self.buffer.find(end, searched)
            if at >= 0:
                return self.take(at + len(end))
            searched = max(0, len(self.buffer) - len(end) + 1)
            self.fill()

    def read_head(self):
        return Request(self.take_through(CRLF + CRLF))

    def read_piece(self, request):
        """The next chunk of a chunked body; False after the last one."""
        size_line = self.take_through(CRLF)
        size = int(size_line.split(b";")[0], 16)
        data = self.take(size + 2)
        request.raw_body += size_line + data
        request.body += data[:-2]
        return size > 0

    def read_body(self, request):
        if request.line.startswith("GET "):
            # Clients that follow a redirect turn a POST into a GET and may leave its fields there.
            return request
        # Transfer-Encoding wins over a Content-Length beside it (RFC 7230, 3.3.3).
        if request.chunked:
            while self.read_piece(request):
                pass
        else:
            request.body += self.take(request.length)
            request.raw_body = request.body
        return request


def answer(body, status="200 OK", fields=(), length=True):
    """A complete answer. `fields` are further header lines without line ends."""
    lines = [f"HTTP/1.1 {status}", "Content-Type: application/ipp", *fields]
    if length:
        lines.append(f"Content-Length: {len(body)}")
    return "\r\n".join(lines).encode("latin-1") + CRLF + CRLF + body


def attribute(tag, name, value):
    """One attribute with one value (RFC 2910, 3.1.3)."""
    return (bytes([tag]) + len(name).to_bytes(2, "big") + name +
            len(value).to_bytes(2, "big") + value)


def ipp_answer(status=0, attributes=b""):
    """An IPP answer (RFC 2910, 3.1): version 1.0, request id as this program's clients send it."""
    return (b"\x01\x00" + status.to_bytes(2, "big") + b"\x01\x00\x00\x00" + b"\x01" +
            attribute(0x47, b"attributes-charset", b"utf-8") +
            attribute(0x48, b"attributes-natural-language", b"en-us") + attributes + b"\x03")


def listen(port=0, backlog=64):
    """A listening loopback socket; port 0 lets the system choose."""
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", port))
    listener.listen(backlog)
    return listener


class Counter:
    """Counts from 1, from any thread."""

    def __init__(self):
        self.lock = threading.Lock()
        self.value = 0

    def next(self):
        with self.lock:
            self.value += 1
            return self.value
