#!/usr/bin/env python3
"""A day at a print server, in minutes: 60 printers (good, slow, faulty, hostile, switched off, and some
real ones), 40 ports, jobs of 1 KiB to 64 MiB from eight threads; meanwhile ports are added, changed and
removed, dialogs opened, the printer directory edited, the policy switched, and the monitor unloaded and
loaded. Afterwards everything is compared, and charts are drawn.

Ends with 0 only if nothing was lost or mangled: each job is in the record of deliveries with each of its
printers, what the record calls accepted is whole at the printer, what failed has its reason and failed
at no printer without fault; the process lived; and memory, handles and threads are in the end, within
bounds, what they were when it was warm. With 1 if not, and what is wrong is listed.

DIR gets soak.svg (the charts), jobs.csv, samples.csv, actions.csv, deliveries.jsonl, arrivals.jsonl and
findings.txt. Runs in a Wine prefix of its own and ends what it has started.
"""

import argparse
import collections
import csv
import glob
import hashlib
import json
import os
import random
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path[:0] = [HERE, os.path.join(ROOT, "harness")]
import charts  # noqa: E402
import verdict  # noqa: E402
from printer_peer import Printer  # noqa: E402
from wine_prefix import WinePrefix, peer_process  # noqa: E402

DONE, WRONG = 0, 1
# When its time is over a run still ends the jobs that it has begun.
GRACE = 240
HEAD = 64
Size = collections.namedtuple("Size", "ports real good slow faulty hostile off largest reload")
LARGE = Size(40, 4, 25, 10, 11, 8, 2, 64 << 20, 30)
SMALL = Size(12, 1, 6, 2, 3, 2, 1, 1 << 20, 3)


class Documents:
    """The file from which documents are cut (documents.h)."""

    def __init__(self, seed, largest):
        self.bytes = random.Random(seed).randbytes(largest + (1 << 20))
        self.sizes = {}

    def digest(self, job):
        size = self.sizes[job.id]
        place = job.id * 977 % (len(self.bytes) - size)
        head = f"%!PS-Adobe-3.0 document {job.id} ".ljust(HEAD, ".").encode()
        data = hashlib.sha256(head[:job.written])
        data.update(memoryview(self.bytes)[place + HEAD:max(place + job.written, place + HEAD)])
        return data.hexdigest()


class Printers:
    """All of them, and what they have got."""

    def __init__(self, directory, size, seed, damages):
        self.directory = directory
        self.real = [Printer(os.path.join(directory, f"real-{index}"), "ippeve_printer",
                             "--command", os.path.join(HERE, "take-document"))
                     for index in range(size.real)]
        kinds = [word for kind in ("good", "slow", "faulty", "hostile", "off")
                 for word in ("--" + kind, str(getattr(size, kind)))]
        self.crowd = peer_process.start(
            [sys.executable, os.path.join(HERE, "printers.py"), "--directory", directory, "--seed",
             str(seed), *kinds, *(["--damages"] if damages else [])],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self.kinds = {}

    def wait(self):
        for line in iter(lambda: self.crowd.stdout.readline().strip(), ""):
            kind, url = line.split()
            self.kinds[url] = kind
        self.kinds.update({printer.url: "real" for printer in self.real})
        return "" not in self.kinds and self.crowd.poll() is None

    def arrivals(self):
        found = []
        with open(os.path.join(self.directory, "arrivals.jsonl"), encoding="ascii") as file:
            found += [json.loads(line) for line in file]
        for printer in self.real:
            path = os.path.join(printer.directory, "arrivals.txt")
            if not os.path.exists(path):
                continue
            with open(path, encoding="ascii") as file:
                for name, count, digest in map(str.split, file):
                    # 12-soak_7.dat
                    job = name.split("-", 1)[1].rsplit(".", 1)[0].replace("_", " ")
                    found.append({"printer": printer.url, "job": job, "bytes": int(count),
                                  "sha256": digest, "answer": "taken"})
        return found

    def stop(self):
        peer_process.stop(self.crowd)
        for printer in self.real:
            peer_process.stop(printer.process)


def rows(path):
    """The rows that are complete: the server may be writing the next one."""
    with open(path, encoding="ascii") as file:
        return list(csv.DictReader(line for line in file if line.endswith("\n")))


def numbers(row):
    return {name: int(value) for name, value in row.items()}


class Run:
    def __init__(self, options, out, place):
        self.options = options
        self.out = out
        self.place = place
        self.size = SMALL if options.small else LARGE
        self.documents = Documents(options.seed, self.size.largest)
        self.prefix = None
        self.printers = None
        self.findings = []

    def play(self):
        """Runs the server with its printers to the end."""
        print(f"seed {self.options.seed}, {self.options.minutes:g} minutes, load "
              f"{os.getloadavg()[0]:.1f}", flush=True)
        with open(os.path.join(self.out, "documents.bin"), "wb") as file:
            file.write(self.documents.bytes)
        self.printers = Printers(self.out, self.size, self.options.seed, self.options.damages)
        try:
            self.prefix = WinePrefix(self.options.arch, self.options.built, self.place)
            if not self.printers.wait():
                sys.exit("soak: the printers do not start")
            with open(os.path.join(self.out, "printers.txt"), "w", encoding="ascii") as file:
                file.write("".join(url + "\n" for url in self.printers.kinds))
            self.serve()
            self.wait_for_real_printers()
        finally:
            if self.prefix:
                self.prefix.stop()
            self.printers.stop()
            os.remove(os.path.join(self.out, "documents.bin"))

    def serve(self):
        seconds = round(self.options.minutes * 60)
        program = os.path.join(self.options.built, "bin", "soak-print-server.exe")
        words = [program, "Z:" + self.out.replace("/", "\\"), seconds, self.options.seed,
                 self.size.ports, self.size.largest, self.size.reload]
        environment = self.prefix.environment(
            VELMORA_WINE_TIMEOUT=str(seconds + GRACE), WINEDLLOVERRIDES="winspool.drv=n,b")
        server = peer_process.start(self.prefix.command([str(word) for word in words]),
                                    env=environment)
        told = time.monotonic()
        try:
            while server.poll() is None:
                time.sleep(0.1)
                if time.monotonic() - told > 30:
                    told = time.monotonic()
                    self.tell()
        finally:
            peer_process.stop(server)
        if server.returncode != 0:
            self.findings.append(f"the server ended with code {server.returncode}")
        if not os.path.exists(os.path.join(self.out, "samples.csv")):
            sys.exit(f"soak: the server does not start, code {server.returncode}")
        for path in sorted(glob.glob(self.prefix.path("windows", "system32", "spool", "Velmora",
                                                      "*.jsonl")), reverse=True):
            shutil.copy(path, self.out)

    def tell(self):
        samples = os.path.join(self.out, "samples.csv")
        if not os.path.exists(samples) or not rows(samples):
            return  # it is still being set up
        last = rows(samples)[-1]
        count = len(rows(os.path.join(self.out, "jobs.csv")))
        print(f"{int(last['time']) // 1000:5} s  {count:6} jobs  "
              f"{int(last['committed']) >> 20:5} MiB committed  {int(last['heap']) >> 10:7} KiB used  "
              f"{last['handles']:>5} handles  {last['threads']:>4} threads", flush=True)

    def record(self):
        lines = []
        for path in sorted(glob.glob(os.path.join(self.out, "deliveries*.jsonl"))):
            with open(path, encoding="utf-8") as file:
                lines += [json.loads(line) for line in file]
        return lines

    def wait_for_real_printers(self):
        """Real printers inspect a document after they have answered."""
        accepted = sum(line["outcome"] == "accepted" and
                       self.printers.kinds.get(line["printer"]) == "real"
                       for line in self.record())
        end = time.monotonic() + 60
        while time.monotonic() < end:
            if sum(self.printers.kinds[arrival["printer"]] == "real"
                   for arrival in self.printers.arrivals()) >= accepted:
                break
            time.sleep(0.1)

    def judge(self):
        jobs = []
        times = []
        for row in rows(os.path.join(self.out, "jobs.csv")):
            targets = row.pop("targets")
            port = row.pop("port")
            values = numbers(row)
            self.documents.sizes[values["id"]] = values["size"]
            jobs.append(verdict.Job(
                values["id"], port, values["given"], values["written"], values["tries"],
                values["started"], values["failed"],
                None if targets == "?" else targets.split("|") if targets else []))
            times.append((values["end"] / 60000, max(values["end"] - values["begin"], 1) / 1000,
                          values["written"]))
        samples = [numbers(row) for row in rows(os.path.join(self.out, "samples.csv"))]
        with open(os.path.join(self.out, "findings.txt"), encoding="ascii") as file:
            self.findings += file.read().splitlines()
        record = self.record()
        arrivals = self.printers.arrivals()
        self.findings += verdict.judge(jobs, record, arrivals, self.printers.kinds,
                                       self.documents.digest)
        first, last, grown = verdict.growth(samples)
        self.findings += grown
        if not jobs:
            self.findings.append("no job was printed")
        self.draw(times, samples, record)
        self.report(jobs, record, arrivals, first, last)

    def draw(self, times, samples, record):
        def over_time(name, scale=1, at_rest=0):
            return [(sample["time"] / 60000, sample[name] / scale) for sample in samples
                    if sample["at rest"] >= at_rest]

        sizes = ((0, "up to 64 KiB"), (1 << 16, "to 1 MiB"), (1 << 20, "larger"))
        classes = [charts.Series(name, [], True) for _, name in sizes]
        for end, seconds, written in times:
            classes[max(i for i, (least, _) in enumerate(sizes) if written >= least)].points.append(
                (end, seconds))
        begin = min((line["time"] for line in record), default="")
        first_end = min((end for end, _, _ in times), default=0)
        outcomes = collections.defaultdict(list)
        for line in sorted(record, key=lambda line: line["time"]):
            points = outcomes[line["outcome"]]
            points.append((first_end + _minutes(begin, line["time"]), len(points) + 1))
        mib = 1 << 20
        panels = [
            charts.Panel("Memory of the process", "MiB",
                         [charts.Series("committed", over_time("committed", mib)),
                          charts.Series("in use in the heaps", over_time("heap", mib)),
                          charts.Series("in use, library unloaded", over_time("heap", mib, 1))]),
            charts.Panel("Handles and threads", "count",
                         [charts.Series("handles", over_time("handles")),
                          charts.Series("handles, library unloaded", over_time("handles", 1, 1)),
                          charts.Series("threads", over_time("threads"))]),
            charts.Panel("Time of a job, from its start to its end for the spooler", "seconds",
                         classes, logarithmic=True),
            charts.Panel("Deliveries so far, as the record has them", "copies",
                         [charts.Series(name, points) for name, points in sorted(outcomes.items())])]
        end = max([sample["time"] / 60000 for sample in samples] + [0.1])
        with open(os.path.join(self.out, "soak.svg"), "w", encoding="utf-8") as file:
            file.write(charts.svg("A print server over time", panels, end, "minutes"))

    def report(self, jobs, record, arrivals, first, last):
        outcomes = collections.Counter(line["outcome"] for line in record)
        actions = collections.Counter(
            row["action"] for row in rows(os.path.join(self.out, "actions.csv")))
        whole = sum(arrival["answer"] != "refused" for arrival in arrivals)
        size = sum(arrival["bytes"] for arrival in arrivals)
        print(f"{len(jobs)} jobs, {len(record)} copies: " +
              ", ".join(f"{count} {name}" for name, count in sorted(outcomes.items())))
        print(f"{whole} documents compared by hash; the printers read {size / (1 << 30):.2f} GiB")
        print("meanwhile: " + ", ".join(f"{count} {name}" for name, count in sorted(actions.items())
                                        if name not in ("GetGroupsDB", "end")))
        if last:
            print("at rest, warm and at the end: " + ", ".join(
                f"{name} {first[name]} {last[name]}" for name in verdict.BOUNDS))
        with open(os.path.join(self.out, "findings.txt"), "w", encoding="utf-8") as file:
            file.write("".join(finding + "\n" for finding in self.findings))
        for finding in self.findings[:20]:
            print("WRONG: " + finding)
        if len(self.findings) > 20:
            print(f"WRONG: and {len(self.findings) - 20} more, see {self.out}/findings.txt")
        print(f"charts: {self.out}/soak.svg")
        print("nothing lost, nothing mangled, nothing held" if not self.findings else
              f"{len(self.findings)} findings")


def _minutes(begin, end):
    """Between two times of the record."""
    def seconds(text):
        return time.mktime(time.strptime(text[:19], "%Y-%m-%dT%H:%M:%S")) + float(text[19:-1])
    return (seconds(end) - seconds(begin)) / 60


def main():
    parser = argparse.ArgumentParser(prog="soak", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--minutes", type=float, default=10)
    parser.add_argument("--seed", type=int, default=int(time.time()) % 100000,
                        help="another seed, another day (default: by the clock; it is printed)")
    parser.add_argument("--out", metavar="DIR", help="default: build/soak")
    parser.add_argument("--arch", choices=("x86", "x64"), default="x86")
    parser.add_argument("--built", metavar="DIR", help="the build to use (default: build/ARCH)")
    parser.add_argument("--small", action="store_true",
                        help="12 ports, 15 printers, documents up to 1 MiB")
    parser.add_argument("--damages", action="store_true",
                        help="the good printers lose a byte of each document and say that all is "
                        "well: must end with 1")
    options = parser.parse_args()
    if not 0 < options.minutes <= 24 * 60:
        parser.error("--minutes: more than 0, at most a day")
    options.built = os.path.abspath(options.built or os.path.join(ROOT, "build", options.arch))
    out = os.path.abspath(options.out or os.path.join(ROOT, "build", "soak"))
    peer_process.end_on_signal()
    os.makedirs(out, exist_ok=True)
    # Of an earlier run.
    for path in glob.glob(out + "/*.jsonl") + glob.glob(out + "/*.csv"):
        os.remove(path)
    for path in glob.glob(out + "/real-*"):
        shutil.rmtree(path)
    with tempfile.TemporaryDirectory(dir=options.built, prefix="soak-") as place:
        run = Run(options, out, place)
        run.play()
        run.judge()
    sys.exit(WRONG if run.findings else DONE)


if __name__ == "__main__":
    main()
