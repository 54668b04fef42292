"""Compares what a print server was given with what its record of deliveries says and with what the
printers have; and what it holds in the end with what it held when it was warm."""

import collections

OUTCOMES = {"accepted", "refused", "no-answer", "incomplete", "not-reached", "abandoned"}
# Printers that have no fault: whatever is sent there must arrive. A real one prints one job at a time and
# answers the next one that it is busy.
SOUND = {"good", "slow", "real"}
BUSY = 0x0507  # server-error-busy (RFC 2911, 13.1.5.8)

# How much more there may be at the end than when the server was warm, both at rest with the library
# unloaded. The platform's client keeps a connection to each of sixty printers for a while, with some
# handles each, and the heaps stay as large as at the worst moment: answers that eight threads read at once,
# and the documents that multi-target jobs hold.
BOUNDS = {"heap": 2 << 20, "handles": 150, "threads": 4, "slots": 2, "committed": 256 << 20}
WARM = 0.2  # of the time


class Job(collections.namedtuple("Job", "id port given written tries started failed targets")):
    """One job of the spooler; `targets`: the printers' URLs, None if they are not certain."""

    @property
    def name(self):
        return f"soak {self.id}"


def judge(jobs, record, arrivals, kinds, digest):
    """The faults found, one text each. `record`: the lines as dictionaries. `arrivals`: dictionaries with
    printer, job, bytes, sha256 and answer (printers.py). `kinds`: printers' kinds by URL. `digest(job)`:
    the SHA-256 of what the monitor has taken of the job's document."""
    findings = []
    lines = collections.defaultdict(list)
    for line in record:
        lines[line["document"]].append(line)
    arrived = collections.defaultdict(list)
    for arrival in arrivals:
        arrived[arrival["job"]].append(arrival)
    if lost := sum(line.get("lost", 0) for line in record):
        findings.append(f"{lost} lines of the record could not be written")
    names = {job.name for job in jobs}
    for what, found in (("the record has", lines), ("a printer has", arrived)):
        findings += [f"{what} a job that nobody sent: {name}" for name in set(found) - names]
    for job in jobs:
        findings += _tries(job, lines[job.name])
        findings += _reasons(job, lines[job.name], kinds)
        findings += _documents(job, lines[job.name], arrived[job.name], digest)
    return findings


def _tries(job, lines):
    """Every attempt of the job is in the record, for every printer."""
    if not lines:
        return [f"{job.name} is not in the record"]
    counted = collections.Counter()
    for line in lines:
        counted[line["target"]] += line.get("repeats", 1)
    findings = []
    targets = lines[-1]["targets"]
    if job.targets is not None:
        printers = collections.Counter(line["printer"] for line in lines if line["target"])
        if job.tries == 1 and printers != collections.Counter(job.targets):
            findings.append(f"{job.name} went to {sorted(printers.elements())}, "
                            f"not to {sorted(job.targets)}")
    if job.tries == 1 and sorted(counted) != (list(range(1, targets + 1)) or [0]):
        findings.append(f"{job.name} has {targets} printers, and lines for {sorted(counted)}")
    if max(counted.values()) != job.tries:
        findings.append(f"{job.name} was tried {job.tries} times, the record says {dict(counted)}")
    return findings


def _reasons(job, lines, kinds):
    """What failed has a reason, and nothing fails at a printer without fault."""
    findings = []
    for line in lines:
        outcome = line["outcome"]
        where = f"{job.name} at {line['printer'] or 'no printer'}"
        if outcome not in OUTCOMES or outcome == "abandoned":
            findings.append(f"{where}: outcome {outcome}")
        if outcome == "accepted":
            continue
        if not any(key in line for key in ("step", "ipp-status", "http-status", "error")):
            findings.append(f"{where}: {outcome} without a reason")
        kind = kinds.get(line["printer"])
        busy = line.get("ipp-status", {}).get("code") == BUSY
        if kind in SOUND and not (kind == "real" and busy):
            findings.append(f"{where}, a {kind} printer: {outcome}: {line}")
    return findings


def _documents(job, lines, arrivals, digest):
    """Each printer has the document as often as the record says that it accepted it, and whole."""
    findings = []
    accepted = collections.Counter(line["printer"] for line in lines
                                   if line["outcome"] == "accepted")
    for printer in set(accepted) | {arrival["printer"] for arrival in arrivals}:
        here = [arrival for arrival in arrivals if arrival["printer"] == printer]
        answers = collections.Counter(arrival["answer"] for arrival in here)
        least, most = answers["taken"], answers["taken"] + answers["either"]
        if accepted[printer] > most:
            findings.append(f"lost: {job.name} is recorded as accepted {accepted[printer]} times "
                            f"by {printer}, which has it {most} times")
        if accepted[printer] < least:
            findings.append(f"{job.name} is recorded as accepted {accepted[printer]} times by "
                            f"{printer}, which took it {least} times")
        if any(arrival["answer"] != "refused" and
               (arrival["bytes"], arrival["sha256"]) != (job.written, digest(job))
               for arrival in here):
            findings.append(f"mangled: {job.name} at {printer} is not what was sent, "
                            f"{[arrival['bytes'] for arrival in here]} of {job.written} bytes")
    return findings


def growth(samples):
    """(first, last, findings): the sample at rest when the server was warm, and the last one."""
    at_rest = [sample for sample in samples if sample["at rest"]]
    end = samples[-1]["time"] if samples else 0
    warm = [sample for sample in at_rest if sample["time"] >= WARM * end]
    if len(warm) < 2:
        return None, None, ["the library was not unloaded often enough to see what stays"]
    first, last = warm[0], warm[-1]
    return first, last, [
        f"{name} grew by {last[name] - first[name]}, from {first[name]} to {last[name]}"
        for name, bound in BOUNDS.items() if last[name] - first[name] > bound]
