#!/usr/bin/env python3
"""Sends a document with CUPS's ipp backend, the way a user's other choice would send it.

    cups_backend.py URL MEBIBYTES

Prints the seconds of wall time and of CPU time that the backend took.
"""

import os
import resource
import subprocess
import sys
import tempfile
import time

BACKEND = "/usr/lib/cups/backend/ipp"


def main():
    url, size = sys.argv[1], int(sys.argv[2])
    with tempfile.NamedTemporaryFile() as document:
        document.write(b"%!PS\n" + os.urandom((size << 20) - 5))
        document.flush()
        environment = dict(os.environ, DEVICE_URI=url + "?waitjob=false&waitprinter=false",
                           CONTENT_TYPE="application/octet-stream")
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.monotonic()
        result = subprocess.run(
            [BACKEND, "1", "user", "document", "1", "", document.name], env=environment,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=sys.stderr if "-v" in sys.argv else subprocess.DEVNULL, timeout=60, check=False)
        wall = time.monotonic() - start
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if result.returncode != 0:
        sys.exit(f"the backend ends with {result.returncode}")
    cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    print(wall, cpu)


if __name__ == "__main__":
    main()
