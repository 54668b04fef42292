"""IPP requests as bytes: parsed strictly, inspected, changed and written again (RFC 8010, 3)."""

import dataclasses

OPERATION_GROUP, JOB_GROUP, END_TAG = 1, 2, 3

PRINT_JOB, VALIDATE_JOB, CANCEL_JOB, GET_JOB_ATTRIBUTES, GET_JOBS, GET_PRINTER_ATTRIBUTES = (
    2, 4, 8, 9, 10, 11)

INTEGER, BOOLEAN, ENUM = 0x21, 0x22, 0x23
RESOLUTION, RANGE = 0x32, 0x33
TEXT, NAME, KEYWORD, URI, CHARSET, LANGUAGE, MIME_TYPE = (
    0x41, 0x42, 0x44, 0x45, 0x47, 0x48, 0x49)
FIXED_SIZES = {INTEGER: 4, BOOLEAN: 1, ENUM: 4, RESOLUTION: 9, RANGE: 8}


class FormError(Exception):
    """The bytes are not an IPP message."""


@dataclasses.dataclass
class Attribute:
    """A name and its values, each a pair of tag and octets."""
    name: str
    values: list

    @property
    def tags(self):
        return {tag for tag, _ in self.values}

    def texts(self):
        """The values as text, in the order of the request."""
        return [shown(tag, octets) for tag, octets in self.values]


@dataclasses.dataclass
class Message:
    version: bytes
    operation: int
    request_id: bytes
    groups: list  # pairs of delimiter tag and list of attributes
    document: bytes

    def attribute(self, name):
        """The first one of that name in any group; None if there is none."""
        for _, attributes in self.groups:
            for one in attributes:
                if one.name == name:
                    return one
        return None

    def text(self, name):
        """The only value of an attribute; None if the request does not have it."""
        found = self.attribute(name)
        return found.texts()[0] if found else None


def numbers(octets):
    """Big-endian signed numbers of 32 bits, as many as fit."""
    return [int.from_bytes(octets[at:at + 4], "big", signed=True)
            for at in range(0, len(octets) - 3, 4)]


def shown(tag, octets):
    if tag in (INTEGER, ENUM):
        return str(numbers(octets)[0])
    if tag == BOOLEAN:
        return "false" if octets == b"\0" else "true"
    if tag == RANGE:
        return "{}-{}".format(*numbers(octets))
    if tag == RESOLUTION:
        across, along = numbers(octets)
        units = {3: "dpi", 4: "dpcm"}.get(octets[8], f"units-{octets[8]}")
        return f"{across}{units}" if across == along else f"{across}x{along}{units}"
    return octets.decode("utf-8", "backslashreplace")


class _Reader:
    def __init__(self, data):
        self.data = data
        self.at = 0

    def take(self, size, what):
        if self.at + size > len(self.data):
            raise FormError(f"the message ends in {what}")
        self.at += size
        return self.data[self.at - size:self.at]

    def number(self, size, what):
        return int.from_bytes(self.take(size, what), "big")

    def text(self, what):
        return self.take(self.number(2, f"the length of {what}"), what)


def parse(data):
    """Parses a Message; FormError for anything that is not exactly one."""
    reader = _Reader(data)
    message = Message(reader.take(2, "the version"), reader.number(2, "the operation"),
                      reader.take(4, "the request id"), [], b"")
    tag = reader.number(1, "its tags")
    while tag != END_TAG:
        if tag < 0x10:
            message.groups.append((tag, []))
        else:
            _add_value(message, tag, reader)
        tag = reader.number(1, "its tags")
    message.document = data[reader.at:]
    return message


def _add_value(message, tag, reader):
    if not message.groups:
        raise FormError("a value stands before the first group")
    attributes = message.groups[-1][1]
    name = reader.text("a name")
    value = reader.text("the value of " + name.decode("latin-1"))
    if name:
        try:
            attributes.append(Attribute(name.decode("ascii"), []))
        except UnicodeDecodeError:
            raise FormError(f"the name {name!r} is not ASCII") from None
    elif not attributes:
        raise FormError("a further value stands before the first attribute of its group")
    attributes[-1].values.append((tag, value))
    if len(value) != FIXED_SIZES.get(tag, len(value)):
        raise FormError(f"{attributes[-1].name} has a value of {len(value)} octets")


def written(message):
    parts = [message.version, message.operation.to_bytes(2, "big"), message.request_id]
    for group, attributes in message.groups:
        parts.append(bytes([group]))
        for one in attributes:
            name = one.name.encode("ascii")
            for tag, octets in one.values:
                parts += [bytes([tag]), len(name).to_bytes(2, "big"), name,
                          len(octets).to_bytes(2, "big"), octets]
                name = b""
    return b"".join(parts) + bytes([END_TAG]) + message.document


def with_printer(data, url):
    """The same request to another printer."""
    message = parse(data)
    message.attribute("printer-uri").values[0] = (URI, url.encode())
    return written(message)
