#!/usr/bin/env python3
"""Checks IPP requests strictly: their form (RFC 8010), their groups, attributes and values (RFC 8011,
PWG 5100.1 and 5101.1), and what CUPS's library says about them.

    request_check.py FILE...

Each file is the body of one request. Shows what is wrong with each, what is stated below as an
exception left out, and exits with 1 if there is anything.
"""

import collections
import dataclasses
import re
import sys

import ipp_message
import libcups
from ipp_message import (BOOLEAN, CHARSET, ENUM, INTEGER, KEYWORD, LANGUAGE, MIME_TYPE, NAME, RANGE,
                         RESOLUTION, TEXT, URI)


@dataclasses.dataclass(frozen=True)
class Finding:
    """`rule` is one of the words that the checks below use; `name` is the attribute's, if the rule is
    about one."""
    rule: str
    name: str = ""
    value: str = ""

    def __str__(self):
        return ": ".join(word for word in (self.name, self.rule, self.value) if word)


@dataclasses.dataclass(frozen=True)
class Stated:
    """An exception: what we send although the rule says otherwise, and why."""
    rule: str
    name: str
    values: str  # a regular expression for the whole value
    reason: str

    def covers(self, finding):
        return (finding.rule == self.rule and finding.name == self.name and
                re.fullmatch(self.values, finding.value, re.DOTALL) is not None)


STATED = (
    Stated("version", "", r"1\.0", "deployed printers are sent 1.0, which all later ones take"),
    Stated("unregistered keyword", "sides", "duplex|head-to-head|tumble|head-to-toe",
           "printers older than the registered keywords know the sides by these"),
    Stated("unregistered media", "media",
           r"Letter|Legal|Executive|Folio|A4|JIS B5|ISO B5|A5|Com 10 Env\.|Monarch Env\.|DL Env\.|"
           r"Custom Paper Size|C5 Env\.|Post A6|C6|STS|A6",
           "the names by which the vendor's printers know their media; others are entered as they are"),
    Stated("libcups", "media",
           r'.*Bad keyword value "(JIS B5|ISO B5|Com 10 Env\.|Monarch Env\.|DL Env\.|Custom Paper Size|'
           r'C5 Env\.|Post A6)" - invalid character.*', "as above: some of these names have blanks"),
    *(Stated(rule, name, values, "a document's name is not cut; printers cut what is too long for them")
      for name in ("job-name", "document-name")
      for rule, values in (("too long", r"256 octets"), ("libcups", r".*bad length 256 .*"))),
    Stated("scheme", "printer-uri", "https?",
           "the printer is named as the port's URL names it, which may be a web server's"),
    Stated("range", "page-ranges", r"1--2147483648",
           "a page above 2147483647, which no document has, is sent as its 32 bits"),
    Stated("libcups", "page-ranges", r".*1--2147483648.*", "as above"),
)


@dataclasses.dataclass(frozen=True)
class Syntax:
    """What RFC 8011 says about an attribute's values."""
    tags: tuple
    several: bool = False
    keywords: frozenset = frozenset()   # the registered ones; empty: not checked
    bounds: tuple = (-2**31, 2**31 - 1)  # of integers and of both ends of ranges
    enum: bool = False                   # the values must have registered names
    longest: int = 1023                  # octets


def keywords(words, **more):
    return Syntax((KEYWORD,), keywords=frozenset(words.split()), **more)


NAMES = Syntax((NAME,), longest=255)
POSITIVE = (1, 2**31 - 1)
TARGET = {"attributes-charset": Syntax((CHARSET,), longest=63),
          "attributes-natural-language": Syntax((LANGUAGE,), longest=63),
          "printer-uri": Syntax((URI,)), "requesting-user-name": NAMES}
JOB_ID = {"job-id": Syntax((INTEGER,), bounds=POSITIVE)}
# RFC 8011, 5.3: what may be requested about a job, besides the job template attributes.
REQUESTED = {"requested-attributes": keywords(
    "all job-template job-description printer-description job-uri job-id job-printer-uri job-name "
    "job-originating-user-name job-state job-state-reasons job-state-message number-of-documents "
    "time-at-creation time-at-processing time-at-completed job-printer-up-time job-k-octets "
    "job-impressions job-media-sheets", several=True)}
CREATION = {"job-name": NAMES, "document-name": NAMES,
            "ipp-attribute-fidelity": Syntax((BOOLEAN,)), "document-format": Syntax((MIME_TYPE,)),
            "document-natural-language": Syntax((LANGUAGE,)),
            "compression": keywords("none deflate gzip compress")}
# RFC 8011, 4.2 and 4.3: the operation attributes.
OPERATIONS = {
    ipp_message.PRINT_JOB: {**TARGET, **CREATION},
    ipp_message.VALIDATE_JOB: {**TARGET, **CREATION},
    ipp_message.CANCEL_JOB: {**TARGET, **JOB_ID, "message": Syntax((TEXT,), longest=127)},
    ipp_message.GET_JOB_ATTRIBUTES: {**TARGET, **JOB_ID, **REQUESTED},
    ipp_message.GET_JOBS: {**TARGET, **REQUESTED, "limit": Syntax((INTEGER,), bounds=POSITIVE),
                           "which-jobs": keywords("completed not-completed"),
                           "my-jobs": Syntax((BOOLEAN,))},
    ipp_message.GET_PRINTER_ATTRIBUTES: {**TARGET, **REQUESTED,
                                         "document-format": Syntax((MIME_TYPE,))},
}
WITH_JOB_GROUP = (ipp_message.PRINT_JOB, ipp_message.VALIDATE_JOB)
ABOUT_A_JOB = (ipp_message.CANCEL_JOB, ipp_message.GET_JOB_ATTRIBUTES)
# RFC 8011, 5.2.
JOB_TEMPLATE = {
    "job-priority": Syntax((INTEGER,), bounds=(1, 100)),
    "job-hold-until": keywords("no-hold indefinite day-time evening night weekend second-shift "
                               "third-shift"),
    "job-sheets": keywords("none standard"),
    "multiple-document-handling": keywords(
        "single-document separate-documents-uncollated-copies separate-documents-collated-copies "
        "single-document-new-sheet"),
    "copies": Syntax((INTEGER,), bounds=POSITIVE),
    "finishings": Syntax((ENUM,), several=True, enum=True),
    "page-ranges": Syntax((RANGE,), several=True, bounds=POSITIVE),
    "sides": keywords("one-sided two-sided-long-edge two-sided-short-edge"),
    "number-up": Syntax((INTEGER,), bounds=POSITIVE),
    "orientation-requested": Syntax((ENUM,), enum=True),
    "media": Syntax((KEYWORD,)),
    "printer-resolution": Syntax((RESOLUTION,)),
    "print-quality": Syntax((ENUM,), enum=True),
}


def findings(data):
    """All mistakes of a request, including stated exceptions."""
    try:
        message = ipp_message.parse(data)
    except ipp_message.FormError as error:
        return [Finding("form", value=str(error))]
    return [*_header(message), *_groups(message), *_target(message), *_attributes(message),
            *(Finding("libcups", name, words) for name, words in libcups.complaints(data))]


def is_stated(finding):
    return any(one.covers(finding) for one in STATED)


def _header(message):
    version = "{}.{}".format(*message.version)
    if version not in ("1.1", "2.0", "2.1", "2.2"):
        yield Finding("version", value=version)
    if not 1 <= int.from_bytes(message.request_id, "big") <= 2**31 - 1:
        yield Finding("request id", value=message.request_id.hex())
    if message.operation not in OPERATIONS:
        yield Finding("unknown operation", value=hex(message.operation))
    if message.operation != ipp_message.PRINT_JOB and message.document:
        yield Finding("data after the end", value=f"{len(message.document)} octets")


def _groups(message):
    tags = [tag for tag, _ in message.groups]
    allowed = [ipp_message.OPERATION_GROUP]
    if message.operation in WITH_JOB_GROUP:
        allowed.append(ipp_message.JOB_GROUP)
    if tags[:1] != allowed[:1] or tags != sorted(set(tags)) or not set(tags) <= set(allowed):
        yield Finding("groups", value=" ".join(map(hex, tags)))
    for tag, attributes in message.groups:
        if not attributes:
            yield Finding("empty group", value=hex(tag))
        counts = collections.Counter(one.name for one in attributes)
        yield from (Finding("repeated", name) for name, count in counts.items() if count > 1)


def _target(message):
    """RFC 8011, 4.1.4 and 4.1.5: which operation attributes come first, and in what order."""
    order = ["attributes-charset", "attributes-natural-language", "printer-uri"]
    if message.operation in ABOUT_A_JOB:
        order.append("job-id")
    names = [one.name for one in message.groups[0][1]] if message.groups else []
    if names[:len(order)] != order:
        yield Finding("order", value=" ".join(names))
    if "requesting-user-name" not in names:
        yield Finding("missing", "requesting-user-name")


def _attributes(message):
    for group, attributes in message.groups:
        known = (OPERATIONS.get(message.operation, {}) if group == ipp_message.OPERATION_GROUP
                 else JOB_TEMPLATE)
        for one in attributes:
            if one.name in known:
                yield from _values(one, known[one.name])
            else:
                yield Finding("unknown in its group", one.name, hex(group))


def _values(one, syntax):
    wrong = one.tags - set(syntax.tags)
    if wrong:
        yield Finding("tag", one.name, " ".join(map(hex, sorted(wrong))))
        return
    if len(one.values) > 1 and not syntax.several:
        yield Finding("several values", one.name, str(len(one.values)))
    if len(set(one.values)) < len(one.values):
        yield Finding("equal values", one.name)
    for (tag, octets), text in zip(one.values, one.texts()):
        yield from _value(one.name, tag, octets, text, syntax)
    if one.tags == {RANGE}:
        ends = [end for _, octets in one.values for end in ipp_message.numbers(octets)]
        # Ascending, and none within another (RFC 8011, 5.2.7).
        if all(end >= 1 for end in ends) and any(
                later <= before for before, later in zip(ends[1::2], ends[2::2])):
            yield Finding("range order", one.name)


def _value(name, tag, octets, text, syntax):
    if len(octets) > syntax.longest:
        yield Finding("too long", name, f"{len(octets)} octets")
    low, high = syntax.bounds
    if tag == INTEGER and not low <= int(text) <= high:
        yield Finding("bounds", name, text)
    if tag == BOOLEAN and octets not in (b"\0", b"\1"):
        yield Finding("boolean", name, octets.hex())
    if tag == RANGE:
        first, last = ipp_message.numbers(octets)
        if not low <= first <= last <= high:
            yield Finding("range", name, text)
    if tag == RESOLUTION and not (min(ipp_message.numbers(octets)) > 0 and octets[8] in (3, 4)):
        yield Finding("resolution", name, text)
    if syntax.enum and not libcups.enum_is_registered(name, int(text)):
        yield Finding("unregistered enum", name, text)
    if syntax.keywords and text not in syntax.keywords | (
            frozenset(JOB_TEMPLATE) if name == "requested-attributes" else frozenset()):
        yield Finding("unregistered keyword", name, text)
    if name == "media" and not libcups.media_is_registered(text):
        yield Finding("unregistered media", name, text)
    if tag == URI and text.partition("://")[0] not in ("ipp", "ipps"):
        yield Finding("scheme", name, text.partition("://")[0])
    if name == "attributes-charset" and text != "utf-8":
        yield Finding("character set", name, text)
    if tag in (TEXT, NAME, KEYWORD, URI) and b"\0" in octets:
        yield Finding("NUL", name, text)
    if tag in (TEXT, NAME):
        try:
            octets.decode("utf-8")
        except UnicodeDecodeError:
            yield Finding("not UTF-8", name, text)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    wrong = False
    for name in sys.argv[1:]:
        with open(name, "rb") as file:
            for finding in findings(file.read()):
                if not is_stated(finding):
                    print(f"{name}: {finding}")
                    wrong = True
    sys.exit(wrong)


if __name__ == "__main__":
    main()
