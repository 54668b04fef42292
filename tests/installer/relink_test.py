#!/usr/bin/env python3
"""Linking again on another day gives the same bytes, and no file contains the path of its build.

    relink_test.py BUILD_DIRECTORY TARGET...
"""

import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def relinked(built, name, folder):
    """The file linked by the build's own command, three days later, in another folder."""
    commands = subprocess.run(["ninja", "-C", built, "-t", "commands", "bin/" + name], check=True,
                              capture_output=True, text=True).stdout.splitlines()
    # The linker makes an address of the output's name: it stays the same, in a folder beside links to
    # all other inputs.
    here = os.path.join(folder, name)
    os.makedirs(os.path.join(here, "bin"))
    for entry in os.listdir(built):
        if entry != "bin":
            os.symlink(os.path.join(os.path.abspath(built), entry), os.path.join(here, entry))
    # The import library is the build's.
    command = re.sub(r"-Wl,--out-implib,\S+", "", commands[-1])
    subprocess.run(["faketime", "-f", "+3d", "sh", "-c", command], cwd=here, check=True)
    with open(os.path.join(here, "bin", name), "rb") as file:
        return file.read()


def main():
    built, *names = sys.argv[1:]
    problems = []
    with tempfile.TemporaryDirectory() as folder:
        for name in names:
            with open(os.path.join(built, "bin", name), "rb") as file:
                data = file.read()
            if relinked(built, name, folder) != data:
                problems.append(f"{name}: linking it again gives other bytes")
            for place in (ROOT, os.path.realpath(built), os.path.expanduser("~") + "/"):
                if place.encode() in data:
                    problems.append(f"{name}: {place} is in it")
    if not names:
        problems.append("nothing to link")
    print("\n".join(problems) or f"{len(names)} files are the same")
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
