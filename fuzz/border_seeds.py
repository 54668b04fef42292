#!/usr/bin/env python3
"""Writes seeds for the fuzz targets with lengths and counts at the limits.

    border_seeds.py DIRECTORY

The limits: 511 to 513 (a block of the encoder), 1022 to 1025 (the longest field that the reader takes, and
the longest text of the directory), 0x7FFF, 0x8000 and 0xFFFF (the sign and the end of a length's 16 bits).
The bytes that a length promises are all there. Each target's seeds go to a folder of the name of its seeds
in DIRECTORY.
"""

import itertools
import os
import struct
import sys

BORDERS = [511, 512, 513, 1022, 1023, 1024, 1025, 0x7FFF, 0x8000, 0xFFFF]
SMALL_BORDERS = [0, 1, 2, 255, 256, 257] + BORDERS


def ipp_field(octets):
    return struct.pack(">H", len(octets)) + octets


def ipp_value(tag, name, octets):
    return bytes([tag]) + ipp_field(name) + ipp_field(octets)


def ipp_message(*values):
    """A response, which as a request is a Print-Job."""
    return b"\x01\x00\x00\x02\x01\x00\x00\x00\x01" + b"".join(values) + b"\x03"


def ipp_reader():
    keyword, text, octets, with_language, collection = 0x44, 0x41, 0x30, 0x35, 0x34
    for size in SMALL_BORDERS:
        filler = b"v" * size
        yield f"name-{size}", ipp_message(ipp_value(keyword, b"n" * size, b"v"))
        yield f"text-{size}", ipp_message(ipp_value(text, b"printer-name", filler))
        yield f"octets-{size}", ipp_message(ipp_value(octets, b"x-octets", b"\0" * size))
        yield f"unknown-kind-{size}", ipp_message(ipp_value(collection, b"media-col", filler))
        yield f"further-{size}", ipp_message(ipp_value(keyword, b"media", b"a"),
                                             ipp_value(keyword, b"", filler))
        if size >= 4:
            for language in (0, size // 2, size - 4):
                inner = ipp_field(b"l" * language) + ipp_field(b"t" * (size - 4 - language))
                yield (f"language-{size}-{language}",
                       ipp_message(ipp_value(with_language, b"printer-info", inner)))
                # The inner lengths promise one byte more than the value holds.
                inner = (ipp_field(b"l" * language)
                         + struct.pack(">H", size - 3 - language) + b"t" * (size - 4 - language))
                yield (f"language-too-long-{size}-{language}",
                       ipp_message(ipp_value(with_language, b"printer-info", inner)))
    # Lengths of the kinds that have one length only.
    for tag, size in ((0x21, 4), (0x22, 1), (0x23, 4), (0x31, 11), (0x32, 9), (0x33, 8)):
        for other in range(size + 3):
            yield f"kind-{tag:02x}-{other}", ipp_message(ipp_value(tag, b"x", b"\x80" * other))
    for tag in range(256):
        yield f"tag-{tag:02x}", ipp_message(ipp_value(tag, b"x", b""), ipp_value(tag, b"", b"\1"))
    attribute = ipp_value(keyword, b"media", b"v")
    for groups in itertools.permutations((1, 2, 4, 5)):
        yield ("groups-" + "".join(map(str, groups)),
               b"\x01\x00\x00\x00\x01\x00\x00\x00"
               + b"".join(bytes([group]) + attribute for group in groups) + b"\x03")
    yield "no-attribute", ipp_message(ipp_value(keyword, b"", b"v"))
    yield "ends-at-empty-value", ipp_message(ipp_value(keyword, b"x", b""))[:-1]
    for operation in list(range(0x14)) + [0x1040, 0x4010, 0x7FFF, 0x8000, 0xFFFF]:
        yield (f"code-{operation:04x}",
               b"\x01\x01" + struct.pack(">H", operation) + b"\1\2\3\4\x01\x03")


def number(value):
    return struct.pack("<I", value)


def text(octets):
    return octets + b"\0"


def packed(targets=0, promised=None, **texts):
    """A port's record; `promised` may differ from the targets that follow."""
    def field(name, default=b""):
        return text(texts.get(name, default))
    promised = targets if promised is None else promised
    return (field("name", b"P") + b"\1" + field("url") + b"\0" + field("user") + field("password")
            + number(promised) + b"".join(number(i) for i in range(targets))
            + number(10) + field("hold", b"no-hold") + number(1) + number(600) * 2 + number(0x103)
            + number(4) + field("pages") + field("media", b"A4") + number(3) + number(1)
            + field("sides", b"one-sided") + field("handling") + number(3)
            + field("sheets", b"none") + b"\0")


def packed_record():
    for size in SMALL_BORDERS:
        for name in ("name", "url", "user", "password", "pages", "media", "sheets"):
            yield f"{name}-{size}", packed(**{name: b"x" * size})
        yield f"targets-{size}", packed(targets=size)
    whole = packed(targets=2)
    for length in range(len(whole)):
        yield f"cut-{length}", whole[:length]
    # What follows the count could hold so many identifiers, or nearly.
    rest = len(packed()) - len(b"P\0\1\0\0\0\0") - 4
    for promised in (rest // 4 - 1, rest // 4, rest // 4 + 1, 0x3FFFFFFF, 0x40000000, 0xFFFFFFFF):
        yield f"promised-{promised}", packed(promised=promised)


def group(node, name=b"", kind=0):
    return number(node) + number(1) + text(name) + number(kind)


def groups_transfer():
    address = text(b"") + b"\0" + text(b"") + text(b"")
    for size in SMALL_BORDERS:
        yield f"name-{size}", number(1) + group(1, b"x" * size) + number(0)
        if size < 300:
            yield (f"groups-{size}",
                   number(size) + b"".join(group(i + 1) for i in range(size)) + number(0))
    # Exactly as many of the smallest entries as there are, and one more or less.
    for count in (0, 1, 2, 3):
        for promised in (count - 1, count, count + 1):
            if promised < 0:
                continue
            nodes = b"".join(group(i + 1) for i in range(count))
            ports = b"".join(text(b"") + address for _ in range(count))
            yield f"nodes-{promised}-of-{count}", number(promised) + nodes
            yield f"nodes-{promised}-of-{count}-and-ports", number(promised) + nodes + number(0)
            yield f"ports-{promised}-of-{count}", number(0) + number(promised) + ports
    for kind in (0, 1, 2, 0xFFFFFFFF):
        yield f"kind-{kind}", number(1) + group(7, b"x", kind) + address + number(0)
    for node in (0, 1, 2, 0x7FFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF):
        yield f"id-{node}", number(2) + group(node) + group(3, b"b") + number(0)
    whole = number(1) + group(5, b"printer", 1) + address + number(1) + text(b"port") + address
    for length in range(len(whole)):
        yield f"cut-{length}", whole[:length]


SEEDS = {"ipp_reader": ipp_reader, "packed_record": packed_record,
         "groups_transfer": groups_transfer}


def main():
    if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
        print(__doc__)
        sys.exit(0 if sys.argv[1:] in (["-h"], ["--help"]) else 2)
    for folder, seeds in SEEDS.items():
        path = os.path.join(sys.argv[1], folder)
        os.makedirs(path, exist_ok=True)
        for name, octets in seeds():
            with open(os.path.join(path, name), "wb") as file:
                file.write(octets)


if __name__ == "__main__":
    main()
