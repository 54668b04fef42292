"""A printer of harness/peers in its own process, and the documents that it keeps."""

import glob
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "harness", "peers"))
import peer_process  # noqa: E402


class Printer:
    """By default a real IPP printer. Keeps its documents and its log in `directory`, which it makes."""

    def __init__(self, directory, peer="ippeve_printer", *arguments):
        self.directory = directory
        os.makedirs(directory)
        self.process = peer_process.start(
            [sys.executable, os.path.join(ROOT, "harness", "peers", peer + ".py"),
             "--directory", directory, *arguments],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self._url = None

    @property
    def url(self):
        """Waits until the printer is ready; empty if it does not start."""
        if self._url is None:
            self._url = self.process.stdout.readline().strip()
        return self._url

    def document_paths(self):
        """In the order of the jobs."""
        names = [name for name in glob.glob(os.path.join(glob.escape(self.directory), "[0-9]*-*"))
                 if not name.endswith(".prn")]
        return sorted(names, key=lambda name: int(os.path.basename(name).split("-")[0]))

    def documents(self):
        contents = []
        for name in self.document_paths():
            with open(name, "rb") as file:
                contents.append(file.read())
        return contents

    def wait_for_request(self, seconds=60):
        """For a peer that records its requests in the file "served"."""
        limit = time.monotonic() + seconds
        served = os.path.join(self.directory, "served")
        while not os.path.exists(served) or os.path.getsize(served) == 0:
            if time.monotonic() > limit:
                raise AssertionError("no request has come to " + self.url)
            time.sleep(0.05)

    def stop(self):
        peer_process.stop(self.process)
        self.process.stdout.close()
