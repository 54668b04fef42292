#!/usr/bin/env python3
"""Writes a real PDF of several pages: text, drawings and an uncompressed picture on each.

    make_pdf.py FILE [--pages N] [--picture PIXELS]

The same arguments give the same bytes.
"""

import argparse

PAGE = (595, 842)  # A4 in points


def text(x, y, size, words):
    escaped = words.replace("\\", "\\\\").replace("(", "\\(").replace(")", "\\)")
    return f"BT /F1 {size} Tf {x} {y} Td ({escaped}) Tj ET\n"


def page_content(number, pages):
    lines = [text(60, 770, 28, f"Page {number} of {pages}")]
    for line in range(24):
        lines.append(text(60, 735 - 14 * line, 10,
                          f"{number}.{line + 1:02}  Nothing printed is ever lost or mangled: "
                          f"line {line + 1} of page {number} arrives as it was sent."))
    for bar in range(12):
        height = 20 + (bar * 37 + number * 53) % 140
        lines.append(f"0.{bar % 9 + 1} 0.4 0.{9 - bar % 9} rg {60 + bar * 38} 210 30 {height} re f\n")
    lines.append("0 0 0 rg\nq 120 0 0 120 60 60 cm /Im1 Do Q\n")
    return "".join(lines).encode("ascii")


def picture(number, pixels):
    """Rows of RGB values: a gradient, turned a little on each page."""
    return bytes(value for y in range(pixels) for x in range(pixels)
                 for value in ((x * number) & 255, (y * 2) & 255, (x ^ y) & 255))


def stream(entries, data):
    return b"<< " + entries.encode("ascii") + b" /Length %d >>\nstream\n" % len(data) + data + \
        b"\nendstream"


def build(pages, pixels):
    kids = " ".join(f"{4 + 3 * page} 0 R" for page in range(pages))
    objects = [b"<< /Type /Catalog /Pages 2 0 R >>",
               f"<< /Type /Pages /Count {pages} /Kids [ {kids} ] >>".encode("ascii"),
               b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"]
    for page in range(pages):
        first = 4 + 3 * page
        objects.append(
            f"<< /Type /Page /Parent 2 0 R /MediaBox [ 0 0 {PAGE[0]} {PAGE[1]} ] "
            f"/Contents {first + 1} 0 R /Resources << /Font << /F1 3 0 R >> "
            f"/XObject << /Im1 {first + 2} 0 R >> >> >>".encode("ascii"))
        objects.append(stream("", page_content(page + 1, pages)))
        objects.append(stream(
            f"/Type /XObject /Subtype /Image /Width {pixels} /Height {pixels} "
            "/ColorSpace /DeviceRGB /BitsPerComponent 8", picture(page + 1, pixels)))
    return objects


def assemble(objects):
    out = bytearray(b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    start = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (
        len(objects) + 1, start)
    return bytes(out)


def main():
    parser = argparse.ArgumentParser(description="writes a PDF of several pages")
    parser.add_argument("file")
    parser.add_argument("--pages", type=int, default=3)
    parser.add_argument("--picture", type=int, default=192, help="pixels a side (default 192)")
    options = parser.parse_args()
    with open(options.file, "wb") as file:
        file.write(assemble(build(options.pages, options.picture)))


if __name__ == "__main__":
    main()
