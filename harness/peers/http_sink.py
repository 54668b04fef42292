#!/usr/bin/env python3
"""A recording IPP server: takes every request, records its bytes as received, and answers successfully.

    http_sink.py --directory DIR [options] [-- COMMAND...]

For request N (from 1): DIR/request-N.head is the header block, request-N.raw the body as received
(chunk framing included), request-N.body the body without framing. They are written before the
answer is sent. COMMAND as in ippeve_printer.py.
"""

import argparse
import base64
import os
import socket
import ssl
import sys
import threading

import certificates
import peer_process
import raw_http


# A job-attributes group: a completed job with id 1, for clients that ask for its state.
JOB = (b"\x02" + raw_http.attribute(0x21, b"job-id", b"\x00\x00\x00\x01") +
       raw_http.attribute(0x23, b"job-state", b"\x00\x00\x00\x09"))


class Sink:
    def __init__(self, options):
        self.options = options
        self.requests = raw_http.Counter()
        self.context = None
        if options.certificate:
            self.context = self.make_context(options.directory, options.certificate)
        self.next_context = None
        if options.then:
            place = os.path.join(options.directory, "then")
            os.makedirs(place)
            self.next_context = self.make_context(place, options.then)

    @staticmethod
    def make_context(directory, kind):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*certificates.make(directory, kind))
        return context

    def keep(self, request):
        number = self.requests.next()
        for suffix, data in (("head", request.head), ("raw", request.raw_body),
                             ("body", request.body)):
            name = os.path.join(self.options.directory, f"request-{number}.{suffix}")
            with open(name, "wb") as file:
                file.write(data)

    def authorized(self, request):
        basic = self.options.basic
        if self.options.basic_file:
            with open(self.options.basic_file, encoding="latin-1") as file:
                basic = file.read().strip()
        if not basic:
            return True
        word = base64.b64encode(basic.encode("latin-1")).decode("ascii")
        return request.fields.get("authorization") == "Basic " + word

    def reply(self, request):
        if not self.authorized(request):
            return raw_http.answer(b"", "401 Unauthorized",
                                   ['WWW-Authenticate: Basic realm="printers"'])
        return raw_http.answer(raw_http.ipp_answer(int(self.options.status, 0), JOB))

    def serve_connection(self, connection):
        try:
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            if self.context:
                connection = self.context.wrap_socket(connection, server_side=True)
            stream = raw_http.Stream(connection)
            while True:
                request = stream.read_head()
                if request.fields.get("expect", "").lower() == "100-continue":
                    connection.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
                if self.options.discard and request.chunked:
                    self.discard(stream)
                else:
                    self.keep(stream.read_body(request))
                connection.sendall(self.reply(request))
                if self.next_context:
                    self.context, self.next_context = self.next_context, None
                    raise raw_http.Closed
        except (raw_http.Closed, OSError):
            pass
        finally:
            connection.close()

    @staticmethod
    def discard(stream):
        """Reads a chunked body as fast as it comes. The end is recognised by the last bytes alone, so
        documents must not end like a chunked body."""
        end = b"\r\n0\r\n\r\n"
        tail = bytes(stream.buffer[-len(end):])
        stream.buffer.clear()
        area = bytearray(1 << 20)
        while tail != end:
            size = stream.connection.recv_into(area)
            if size == 0:
                raise raw_http.Closed
            tail = (tail + bytes(area[max(0, size - len(end)):size]))[-len(end):]

    def run(self, listener):
        while True:
            connection, _ = listener.accept()
            threading.Thread(target=self.serve_connection, args=(connection,), daemon=True).start()


def main():
    parser = argparse.ArgumentParser(description="a recording IPP server on a free loopback port")
    parser.add_argument("--directory", required=True, help="where requests are written")
    parser.add_argument("--status", default="0", help="IPP status of the answers (0x... allowed)")
    parser.add_argument("--basic", help="USER:PASSWORD to ask for; others get 401")
    parser.add_argument("--basic-file", help="the same, read anew for each request")
    parser.add_argument("--certificate", choices=sorted(certificates.DATES),
                        help="serve https with a certificate of this kind (certificate.der in DIR)")
    parser.add_argument("--then", choices=sorted(certificates.DATES),
                        help="another certificate after the first answer, on a new connection")
    parser.add_argument("--discard", action="store_true",
                        help="read chunked bodies without looking at them (benchmarks)")
    parser.add_argument("run", nargs="*", help="a command to run while the server is there")
    options = parser.parse_args()
    peer_process.end_on_signal()
    os.makedirs(options.directory, exist_ok=True)
    sink = Sink(options)
    listener = raw_http.listen()
    threading.Thread(target=sink.run, args=(listener,), daemon=True).start()
    scheme = "https" if options.certificate else "ipp"
    url = f"{scheme}://localhost:{listener.getsockname()[1]}/ipp/print"
    sys.exit(peer_process.serve(url, options.run))


if __name__ == "__main__":
    main()
