#!/usr/bin/env python3
"""Prints a real document through a real spooler and the monitor to real IPP printers.

Builds the 32-bit library, registers it with the spooler of a Wine prefix
of its own, starts four IPP printers on loopback, configures one port for the first and one for the
other three (in two printer groups), prints a PDF of three pages to both ports and compares what
arrived with what was sent. Nothing needs to be configured, and nothing is left over.

Exit code 0: every printer has the whole document. Users start it as tools/print-demo, which installs
what is missing first.
"""

import argparse
import csv
import hashlib
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time

import printer_peer
from wine_prefix import ROOT, WinePrefix, peer_process

# Printers by port and, for the second port, by printer group.
PORTS = {
    "Office": {"": ["Reception"]},
    "Everywhere": {"First floor": ["Accounting", "Sales"], "Cellar": ["Archive"]},
}
PRINTER_NAMES = [name for groups in PORTS.values() for names in groups.values() for name in names]
JOB_ATTRIBUTES = ["job-name", "job-originating-user-name", "job-state", "document-format-detected",
                  "copies", "media", "sides", "print-quality", "printer-resolution",
                  "orientation-requested", "finishings", "number-up", "page-ranges",
                  "job-priority", "job-sheets"]
GET_JOBS = """{
  OPERATION Get-Jobs
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR naturalLanguage attributes-natural-language en
  ATTR uri printer-uri $uri
  ATTR keyword which-jobs %s
  ATTR keyword requested-attributes all
""" + "".join(f"  DISPLAY {name}\n" for name in JOB_ATTRIBUTES) + "}\n"
PRINT_TIMEOUT = 300


class Failure(Exception):
    """The message for the user instead of a table."""


def say(text):
    print(text, flush=True)


class Printer(printer_peer.Printer):
    """One IPP printer, and what it received."""

    def __init__(self, name, directory):
        super().__init__(directory)
        self.name = name

    def delivered_file(self):
        return next(iter(self.document_paths()), None)

    def received(self):
        name = self.delivered_file()
        return os.path.getsize(name) if name else 0

    def job(self):
        """The printer's own attributes of its job, empty if it has none. A job that has just
        arrived may still be processed."""
        for _ in range(50):
            for which in ("completed", "not-completed"):
                rows = self.jobs(which)
                if rows and (which == "completed" or rows[0]["job-state"] == "processing-stopped"):
                    return rows[0]
            if not self.delivered_file():
                break
            time.sleep(0.1)
        return {}

    def jobs(self, which):
        script = os.path.join(self.directory, "get-jobs.test")
        with open(script, "w", encoding="ascii") as file:
            file.write(GET_JOBS % which)
        answer = subprocess.run(["ipptool", "-c", self.url, script], capture_output=True, text=True,
                                timeout=30, check=False)
        return list(csv.DictReader(answer.stdout.splitlines()))


class Spooler:
    """Wine's spooler in a prefix of its own, with the monitor registered."""

    def __init__(self, arch, build_directory, directory):
        self.programs = os.path.join(build_directory, "bin")
        self.prefix = WinePrefix(arch, build_directory, directory)

    def prepare(self):
        self.prefix.install(os.path.join(self.programs, "Velmora.dll"))
        self.client("install")

    def client_words(self, *words):
        return [os.path.join(self.programs, "spooler-client.exe"), *words]

    def client(self, *words):
        run = self.prefix.run(self.client_words(*words), PRINT_TIMEOUT, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if run.returncode != 0:
            raise Failure(f"{' '.join(words)}: exit code {run.returncode}\n{run.stdout}")

    def start_printing(self, port, job_name, path):
        words = self.client_words("print", port, job_name, "Z:" + path.replace("/", "\\"))
        return self.prefix.start(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, text=True)

    def stop(self):
        self.prefix.stop()


def build(arch):
    def run(*words):
        if subprocess.run(words, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False).returncode != 0:
            # Again, for the user to see.
            subprocess.run(words, cwd=ROOT, check=False)
            raise Failure("that failed")

    say("Building the library")
    run("cmake", "--preset", arch)
    run("cmake", "--build", "--preset", arch, "--target", "Velmora", "spooler-client")


def print_to(spooler, port, printers, job_name, path):
    """Prints, and shows what is sent and what arrives. Returns whether the spooler accepted everything."""
    size = os.path.getsize(path)
    started = time.monotonic()
    say(f"Printing to port {port}")
    process = spooler.start_printing(port, job_name, path)

    def relay():
        for line in process.stdout:
            say("    " + line.rstrip())

    reader = threading.Thread(target=relay, daemon=True)
    reader.start()
    shown = None
    while process.poll() is None:
        if time.monotonic() - started > PRINT_TIMEOUT:
            peer_process.stop(process)
            break
        arrived = {printer.name: printer.received() for printer in printers}
        if any(arrived.values()) and arrived != shown:
            shown = arrived
            say("    arriving: " + ", ".join(f"{name} {100 * count // max(size, 1)} %"
                                             for name, count in arrived.items()))
        time.sleep(0.25)
    reader.join()
    process.stdout.close()
    say(f"    {time.monotonic() - started:.1f} s, exit code {process.returncode}")
    return process.returncode == 0


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def result_row(port, printer, path, keep):
    delivered = printer.delivered_file()
    job = printer.job()
    equal = bool(delivered) and digest(delivered) == digest(path)
    if keep and delivered:
        kept = os.path.join(keep, f"{port}-{printer.name}{os.path.splitext(delivered)[1]}")
        shutil.copy(delivered, kept)
    attributes = " ".join(f"{name}={value}" for name, value in job.items()
                          if value and name != "job-name")
    return {"Port": port, "Printer": printer.name, "Job name": job.get("job-name", ""),
            "Sent": str(os.path.getsize(path)), "Received": str(printer.received()),
            "SHA-256": "equal" if equal else "NOT EQUAL", "attributes": attributes}


def show_table(rows):
    columns = [name for name in rows[0] if name != "attributes"]
    width = {name: max(len(name), *(len(row[name]) for row in rows)) for name in columns}
    say("")
    say("  ".join(name.ljust(width[name]) for name in columns))
    say("  ".join("-" * width[name] for name in columns))
    for row in rows:
        say("  ".join(row[name].ljust(width[name]) for name in columns).rstrip())
    say("\nJob attributes as the printers saw them")
    for row in rows:
        say(f"  {row['Printer']}: {row['attributes']}")


def start_printers(directory):
    printers = {}
    try:
        for name in PRINTER_NAMES:
            printers[name] = Printer(name, os.path.join(directory, name))
        for name, started in printers.items():
            if not started.url:
                raise Failure(f"the printer {name} does not start, see {started.directory}")
    except BaseException:
        stop_all(printers)
        raise
    return printers


def stop_all(printers):
    for one in printers.values():
        one.stop()


def configure(spooler, printers):
    for port, groups in PORTS.items():
        targets = []
        for group, names in groups.items():
            urls = ",".join(printers[name].url for name in names)
            targets.append(f"{group}={urls}" if group else urls)
            say(f"    {port}: {group + ': ' if group else ''}" +
                ", ".join(f"{name} {printers[name].url}" for name in names))
        spooler.client("configure", port, *targets)


def document(options, directory):
    """(path, job name)."""
    if not options.file:
        path = os.path.join(directory, "demonstration.pdf")
        subprocess.run([sys.executable, os.path.join(ROOT, "harness", "peers", "make_pdf.py"),
                        path], check=True)
        return path, "Velmora demonstration"
    path = os.path.abspath(options.file)
    with open(path, "rb") as file:
        if not file.read(4).startswith((b"%PDF", b"%!")):
            raise Failure(f"{options.file}: the demonstration's printers take PDF and PostScript")
    return path, os.path.basename(path)


def demonstrate(options, directory):
    path, job_name = document(options, directory)
    if options.keep:
        os.makedirs(options.keep, exist_ok=True)
    say("Preparing the spooler")
    spooler = Spooler(options.arch, options.built, directory)
    printers = {}
    try:
        spooler.prepare()
        say("Starting printers and configuring ports")
        printers = start_printers(directory)
        configure(spooler, printers)
        if options.switch_off:
            say(f"Switching {options.switch_off} off")
            printers[options.switch_off].stop()
        rows = []
        content = True
        for port, groups in PORTS.items():
            own = [printers[name] for names in groups.values() for name in names]
            content &= print_to(spooler, port, own, job_name, path)
            rows += [result_row(port, printer, path, options.keep) for printer in own]
    finally:
        stop_all(printers)
        spooler.stop()
    show_table(rows)
    if options.keep:
        say(f"\nThe delivered documents are in {os.path.abspath(options.keep)}")
    whole = all(row["SHA-256"] == "equal" for row in rows)
    say("\nEvery printer has the whole document." if whole and content else
        "\nThe document did not arrive whole everywhere.")
    return whole and content


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--file", help="a PDF or PostScript file of your own to print")
    parser.add_argument("--keep", metavar="DIR", help="keep the delivered documents in DIR")
    parser.add_argument("--arch", choices=("x86", "x64"), default="x86",
                        help="build of the library (default x86, the product)")
    parser.add_argument("--built", metavar="DIR",
                        help="use what is already built in this build directory")
    parser.add_argument("--switch-off", metavar="PRINTER", default="",
                        help="switch one printer off before printing, to see that the others still "
                        "get the document: " + ", ".join(PRINTER_NAMES), choices=PRINTER_NAMES)
    options = parser.parse_args()
    peer_process.end_on_signal()
    try:
        if not options.built:
            build(options.arch)
            options.built = os.path.join(ROOT, "build", options.arch)
        options.built = os.path.abspath(options.built)
        # Beside the Wine template: its files are shared by hard links.
        with tempfile.TemporaryDirectory(prefix="demo-", dir=options.built,
                                         ignore_cleanup_errors=True) as directory:
            sys.exit(0 if demonstrate(options, directory) else 1)
    except Failure as failure:
        say(f"print-demo: {failure}")
        sys.exit(1)


if __name__ == "__main__":
    main()
