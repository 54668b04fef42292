#!/usr/bin/env python3
"""Captures what real printers answer, as seeds for the reader's fuzz target.

    capture_answers.py SEED_DIRECTORY        (as root: cupsd wants it)

Starts harness/peers/ippeve_printer.py and harness/peers/cups_server.py, sends each some requests as
this program encodes them, and writes the bodies of the answers to SEED_DIRECTORY.
"""

import http.client
import os
import subprocess
import sys
import tempfile
import urllib.parse

HERE = os.path.dirname(os.path.abspath(__file__))
PEERS = os.path.join(HERE, "..", "harness", "peers")

OPERATION_GROUP, END = b"\x01", b"\x03"


def value(tag, name, octets):
    return (bytes([tag]) + len(name).to_bytes(2, "big") + name.encode()
            + len(octets).to_bytes(2, "big") + octets)


def request(operation, url, *attributes):
    return (b"\x01\x00" + operation.to_bytes(2, "big") + b"\x01\0\0\0" + OPERATION_GROUP
            + value(0x47, "attributes-charset", b"utf-8")
            + value(0x48, "attributes-natural-language", b"en-us")
            + value(0x45, "printer-uri", url.encode())
            + value(0x42, "requesting-user-name", b"user") + b"".join(attributes) + END)


def old_attributes():
    """Attributes without collections, which the strict reader takes."""
    names = ["printer-name", "printer-state", "printer-is-accepting-jobs", "media-supported",
             "sides-supported", "printer-resolution-supported", "page-ranges-supported",
             "copies-supported", "document-format-supported", "operations-supported",
             "finishings-supported", "charset-supported", "printer-current-time",
             "job-priority-supported", "pdl-override-supported"]
    return b"".join(value(0x44, "requested-attributes" if i == 0 else "", name.encode())
                    for i, name in enumerate(names))


def requests(url):
    document = b"%!PS\nshowpage\n"
    return {
        "printer-attributes": request(0x000B, url),
        "some-printer-attributes": request(0x000B, url, old_attributes()),
        "print-job": request(0x0002, url, value(0x42, "job-name", b"job")) + document,
        "print-job-unsupported": request(
            0x0002, url, value(0x44, "x-unknown", b"1"), value(0x49, "document-format", b"x/y")),
        "jobs": request(0x000A, url, value(0x44, "which-jobs", b"completed")),
        "validate-job": request(0x0004, url),
        "unknown-operation": request(0x3FFF, url),
        "malformed": request(0x0002, url)[:20] + END,
    }


def post(url, body):
    parts = urllib.parse.urlsplit(url)
    connection = http.client.HTTPConnection("127.0.0.1", parts.port, timeout=20)
    try:
        connection.request("POST", parts.path, body, {
            "Content-Type": "application/ipp", "Host": f"localhost:{parts.port}"})
        return connection.getresponse().read()
    finally:
        connection.close()


def capture(peer, directory):
    with tempfile.TemporaryDirectory() as work:
        os.chmod(work, 0o755)
        child = subprocess.Popen(
            [sys.executable, os.path.join(PEERS, peer + ".py"), "--directory", work],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        try:
            url = child.stdout.readline().strip()
            for name, body in requests(url).items():
                answer = post(url, body)
                path = os.path.join(directory, f"{peer.split('_')[0]}-{name}.ipp")
                with open(path, "wb") as file:
                    file.write(answer)
                print(f"{path}: {len(answer)} bytes")
        finally:
            child.terminate()
            child.wait(timeout=20)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    os.makedirs(sys.argv[1], exist_ok=True)
    for peer in ("ippeve_printer", "cups_server"):
        capture(peer, sys.argv[1])


if __name__ == "__main__":
    main()
