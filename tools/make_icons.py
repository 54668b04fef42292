#!/usr/bin/env python3
"""Draws the tree's bitmaps from ui/resources/tree_icons*.txt, one for each size.

    make_icons.py SOURCE STRIP.bmp MASK.bmp [PREVIEW.ppm]
    make_icons.py --check SOURCE STRIP.bmp MASK.bmp

The strip is a 32-bit BGRA bitmap with all pictures side by side, the mask a 1-bit bitmap in which a
set bit is transparent, as ImageList_Add takes them. The preview shows them enlarged, on white and on
the colour of a selected item. --check writes nothing and fails when a bitmap is not what its source
gives.
"""

import struct
import sys

def read_source(path):
    colours, images = {}, []
    with open(path, encoding="ascii") as source:
        for number, line in enumerate(source, 1):
            words = line.split()
            if not words or line.startswith("#"):
                continue
            if words[0] == "colour":
                colours[words[1]] = bytes.fromhex(words[2])
            elif words[0] == "image":
                images.append([])
            elif images and len(words[0]) == len((images[0] or words)[0]):
                unknown = set(words[0]) - set(colours) - {"."}
                if unknown:
                    sys.exit(f"{path}:{number}: no colour for {sorted(unknown)}")
                images[-1].append(words[0])
            else:
                sys.exit(f"{path}:{number}: neither a colour nor as many pixels as before")
    for image in images:
        if not image or len(image) != len(image[0]):
            sys.exit(f"{path}: a picture with {len(image)} rows")
    return colours, images


def bitmap(width, bits, palette, rows):
    """A BMP file with BITMAPINFOHEADER; `rows` from top to bottom, the file holds them upside down."""
    pixels = b"".join(row + b"\0" * (-len(row) % 4) for row in reversed(rows))
    offset = 14 + 40 + len(palette)
    info = struct.pack("<IiiHHIIiiII", 40, width, len(rows), 1, bits, 0, len(pixels), 2835, 2835,
                       len(palette) // 4, 0)
    return struct.pack("<2sIHHI", b"BM", offset + len(pixels), 0, 0, offset) + info + palette + pixels


def strip(colours, images):
    def pixel(character):
        if character == ".":
            return b"\0\0\0\0"
        red, green, blue = colours[character]
        return bytes((blue, green, red, 255))

    size = len(images[0])
    rows = [b"".join(pixel(c) for image in images for c in image[y]) for y in range(size)]
    return bitmap(size * len(images), 32, b"", rows)


def mask(images):
    def row(y):
        bits = "".join("1" if c == "." else "0" for image in images for c in image[y])
        return int(bits, 2).to_bytes(len(bits) // 8, "big")

    size = len(images[0])
    black_and_white = b"\0\0\0\0" + b"\xff\xff\xff\0"
    return bitmap(size * len(images), 1, black_and_white, [row(y) for y in range(size)])


def preview(colours, images, scale=16):
    """A PPM picture of the images on two backgrounds."""
    lines = []
    for background in (b"\xff\xff\xff", b"\x31\x6a\xc5"):
        for y in range(len(images[0])):
            line = b"".join((background if c == "." else colours[c]) * scale
                            for image in images for c in image[y])
            lines.append(line * scale)
    width, height = len(images[0]) * len(images) * scale, 2 * len(images[0]) * scale
    return b"P6 %d %d 255\n" % (width, height) + b"".join(lines)


def main():
    arguments = sys.argv[1:]
    check = arguments[:1] == ["--check"]
    if check:
        arguments = arguments[1:]
    if len(arguments) not in (3, 4):
        sys.exit(__doc__)
    colours, images = read_source(arguments[0])
    outputs = [strip(colours, images), mask(images), preview(colours, images)]
    for path, content in zip(arguments[1:], outputs):
        if not check:
            with open(path, "wb") as output:
                output.write(content)
        else:
            with open(path, "rb") as present:
                if present.read() != content:
                    sys.exit(f"{path} is not what {arguments[0]} gives: run make_icons.py")


if __name__ == "__main__":
    main()
