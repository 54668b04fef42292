#!/usr/bin/env python3
"""Writes files to a full disk: a tmpfs of 256 KiB, for which this needs root (sudo is used if it
is not root already).

    small_disk_test.py WORDS...    what runs small_disk_check; gets the disk's folder as last word
"""

import os
import subprocess
import sys
import tempfile

ROOT = [] if os.geteuid() == 0 else ["sudo", "-n"]

with tempfile.TemporaryDirectory() as place:
    options = f"size=256k,mode=777,uid={os.geteuid()}"
    subprocess.run([*ROOT, "mount", "-t", "tmpfs", "-o", options, "tmpfs", place], check=True)
    try:
        run = subprocess.run([*sys.argv[1:], "Z:" + place.replace("/", "\\")], check=False)
    finally:
        subprocess.run([*ROOT, "umount", place], check=True)
sys.exit(run.returncode)
