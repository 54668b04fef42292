"""A Wine prefix for one user, and programs run in it; harness/wine-run says what is in it and how Wine is
started."""

import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "harness", "peers"))
import peer_process  # noqa: E402

WINE_RUN = os.path.join(ROOT, "harness", "wine-run")


class WinePrefix:
    """The folder "prefix" in `directory`, which must be on the file system of the build directory.
    Whoever makes one calls stop() before the folder is removed."""

    def __init__(self, arch, build_directory, directory):
        self.arch = arch
        self.wine_directory = os.path.join(build_directory, "wine")
        self.root = os.path.join(directory, "prefix")
        subprocess.run([WINE_RUN, "--make", self.root, arch, self.wine_directory], check=True,
                       timeout=300)

    def path(self, *names):
        """The host's path of a file on drive C."""
        return os.path.join(self.root, "drive_c", *names)

    def install(self, *files):
        """Copies libraries to where the system looks for them."""
        for file in files:
            shutil.copy(file, self.path("windows", "system32"))

    def command(self, words, *options):
        return [WINE_RUN, *options, self.arch, self.wine_directory, *words]

    def environment(self, **more):
        return dict(os.environ, VELMORA_WINE_PREFIX=self.root, **more)

    def run(self, words, seconds, **options):
        """A CompletedProcess; the program is ended after `seconds`."""
        return subprocess.run(self.command(words), timeout=seconds + 30, check=False,
                              env=self.environment(VELMORA_WINE_TIMEOUT=str(seconds),
                                                   LC_ALL="C.UTF-8"), **options)

    def start(self, words, **options):
        """The running program; it ends when this one does."""
        return peer_process.start(self.command(words), env=self.environment(), **options)

    def start_on_terminal(self, words, terminal):
        """The running program, with `terminal` as all of its standard streams."""
        return peer_process.start(self.command(words, "--terminal"),
                                  env=self.environment(TERM="xterm"), stdin=terminal,
                                  stdout=terminal, stderr=terminal, start_new_session=True)

    def stop(self):
        """Ends every program of this prefix."""
        if os.path.isdir(self.root):
            subprocess.run(["wineserver", "-k"], env=dict(os.environ, WINEPREFIX=self.root),
                           stderr=subprocess.DEVNULL, timeout=30, check=False)
