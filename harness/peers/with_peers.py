#!/usr/bin/env python3
"""Runs a command that may ask for peers (the other programs of this directory) while it runs.

    with_peers.py COMMAND...

A test program under Wine cannot start and stop host programs by itself. It finds in VELMORA_PEERS
the number of a loopback port, and each connection to it is one peer:

    client: PROGRAM ARGUMENTS...\\n     e.g. "faulty_printer --on 2 closes-in-body"
    server: URL\\n                      the peer is ready; or an empty line: it did not start
    then any number of times
    client: file PATTERN\\n             a file below the peer's directory (shell pattern, the last
                                       one by name)
    server: SIZE\\n, then SIZE bytes    SIZE -1: no such file
    client: run WORDS...\\n             a host command; {url}, {directory} (the peer's) and {here}
                                       (this directory) replaced
    server: SIZE\\n, then SIZE bytes    its standard output

A peer ends when its connection is closed; all end with the command.
"""

import glob
import os
import shlex
import shutil
import socketserver
import subprocess
import sys
import tempfile
import threading

import peer_process

HERE = os.path.dirname(os.path.abspath(__file__))


class Peer(socketserver.StreamRequestHandler):
    def handle(self):
        words = shlex.split(self.rfile.readline().decode())
        if not words:
            return
        directory = tempfile.mkdtemp(prefix="velmora-peer-")
        child = peer_process.start(
            [sys.executable, os.path.join(HERE, words[0] + ".py"), "--directory", directory,
             *words[1:]], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        try:
            url = child.stdout.readline().decode().strip()
            self.wfile.write(url.encode() + b"\n")
            for line in self.rfile:
                verb, _, rest = line.decode().strip().partition(" ")
                data = self.file(directory, rest) if verb == "file" else self.command(
                    directory, url, rest)
                if data is None:
                    self.wfile.write(b"-1\n")
                else:
                    self.wfile.write(b"%d\n" % len(data) + data)
        except OSError:
            pass
        finally:
            peer_process.stop(child)
            child.stdout.close()
            shutil.rmtree(directory, ignore_errors=True)

    @staticmethod
    def file(directory, pattern):
        names = sorted(glob.glob(os.path.join(directory, pattern)))
        if not names:
            return None
        with open(names[-1], "rb") as file:
            return file.read()

    @staticmethod
    def command(directory, url, text):
        for name, value in (("{url}", url), ("{directory}", directory), ("{here}", HERE)):
            text = text.replace(name, value)
        child = peer_process.start(
            shlex.split(text), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        try:
            return child.communicate(timeout=60)[0]
        except subprocess.TimeoutExpired:
            child.kill()
            return child.communicate()[0]


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = False
    block_on_close = True


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    peer_process.end_on_signal()
    with Server(("127.0.0.1", 0), Peer) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        environment = dict(os.environ, VELMORA_PEERS=str(server.server_address[1]))
        child = peer_process.start(sys.argv[1:], env=environment)
        try:
            code = child.wait()
        finally:
            peer_process.stop(child)
            # The command's connections are closed with it, so every peer is being stopped now.
            server.shutdown()
    sys.exit(code if code >= 0 else 128 - code)


if __name__ == "__main__":
    main()
