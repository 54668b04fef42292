#!/usr/bin/env python3
"""Draws the product's icon: a printer with a page, on a blue tile.

    make_product_icon.py ICON.ico [PREVIEW.ppm]
    make_product_icon.py --check ICON.ico

The icon has 32-bit pictures of 16, 24, 32, 48 and 64 pixels, as bitmaps, so that every version of
Windows reads them. The preview shows them side by side on white. --check writes nothing and fails if
the icon is not what this program draws.
"""

import struct
import sys

SIZES = (16, 24, 32, 48, 64)
BLUE, WHITE, GREY, LINE = (0x1F, 0x5F, 0xA8), (0xFF, 0xFF, 0xFF), (0xD5, 0xDE, 0xE8), (0x1F, 0x5F, 0xA8)
# Rectangles with round corners on a field of 48 by 48: left, top, right, bottom, radius, colour.
# What comes later is drawn over what came before.
SHAPES = (
    (0, 0, 48, 48, 9, BLUE),
    (14, 6, 34, 22, 1.5, WHITE),     # the page that goes in
    (6, 18, 42, 37, 4, GREY),        # the printer
    (35, 22, 39, 26, 2, BLUE),       # its lamp
    (13, 28, 35, 43, 1.5, WHITE),    # the page that comes out
    (17, 32, 31, 34, 1, LINE),
    (17, 37, 27, 39, 1, LINE),
)
SAMPLES = 8  # a pixel and direction


def inside(shape, x, y):
    left, top, right, bottom, radius, _ = shape
    if not (left <= x < right and top <= y < bottom):
        return False
    across = max(left + radius - x, x - (right - radius), 0)
    down = max(top + radius - y, y - (bottom - radius), 0)
    return across * across + down * down <= radius * radius


def pixel(size, column, row):
    """(red, green, blue, alpha): the mean of what is seen at the points of the pixel."""
    seen = []
    for i in range(SAMPLES):
        for j in range(SAMPLES):
            x = (column + (i + 0.5) / SAMPLES) * 48 / size
            y = (row + (j + 0.5) / SAMPLES) * 48 / size
            colours = [shape[5] for shape in SHAPES if inside(shape, x, y)]
            if colours:
                seen.append(colours[-1])
    if not seen:
        return 0, 0, 0, 0
    mean = [(2 * sum(colour[part] for colour in seen) + len(seen)) // (2 * len(seen))
            for part in range(3)]
    return *mean, 255 * len(seen) // SAMPLES ** 2


def picture(size):
    return [[pixel(size, column, row) for column in range(size)] for row in range(size)]


def bitmap(rows):
    """As an icon holds it: twice as high, for the mask that follows; both from the bottom upwards."""
    size = len(rows)
    colours = b"".join(bytes((blue, green, red, alpha)) for row in reversed(rows)
                       for red, green, blue, alpha in row)
    mask = b""
    for row in reversed(rows):
        bits = "".join("0" if alpha else "1" for *_, alpha in row)
        bits += "0" * (-size % 32)
        mask += int(bits, 2).to_bytes(len(bits) // 8, "big")
    return struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, len(colours) + len(mask), 0, 0,
                       0, 0) + colours + mask


def icon(pictures):
    images = [bitmap(rows) for rows in pictures]
    offset = 6 + 16 * len(images)
    entries = b""
    for rows, image in zip(pictures, images):
        entries += struct.pack("<BBBBHHII", len(rows), len(rows), 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    return struct.pack("<HHH", 0, 1, len(images)) + entries + b"".join(images)


def preview(pictures):
    """A PPM picture."""
    height = max(SIZES)
    lines = b""
    for row in range(height):
        for rows in pictures:
            for part in rows[row] if row < len(rows) else [(0, 0, 0, 0)] * len(rows):
                *colour, alpha = part
                lines += bytes((value * alpha + 255 * (255 - alpha)) // 255 for value in colour)
    return b"P6 %d %d 255\n" % (sum(SIZES), height) + lines


def main():
    arguments = sys.argv[1:]
    check = arguments[:1] == ["--check"]
    if check:
        arguments = arguments[1:]
    if len(arguments) not in (1, 2):
        sys.exit(__doc__)
    pictures = [picture(size) for size in SIZES]
    if check:
        with open(arguments[0], "rb") as present:
            if present.read() != icon(pictures):
                sys.exit(f"{arguments[0]} is not what make_product_icon.py draws: run it")
        return
    for path, content in zip(arguments, (icon(pictures), preview(pictures))):
        with open(path, "wb") as output:
            output.write(content)


if __name__ == "__main__":
    main()
