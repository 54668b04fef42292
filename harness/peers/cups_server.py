#!/usr/bin/env python3
"""A real IPP server for tests: a private cupsd with one raw queue, on a free loopback port.

    cups_server.py --directory DIR [-- COMMAND...]

Must be started as root (cupsd changes to the user lp by itself). Documents stay in
DIR/spool/d<five digits>-001 (a job with a banner: -002), the log is DIR/error_log. COMMAND as in
ippeve_printer.py.
"""

import argparse
import os
import shutil
import subprocess
import sys

import peer_process

DATA = "/usr/share/cups"

FILES_CONF = """\
User lp
Group lp
SystemGroup lpadmin
FileDevice Yes
ServerRoot {directory}/etc
DataDir {directory}/data
RequestRoot {directory}/spool
TempDir {directory}/tmp
CacheDir {directory}/cache
StateDir {directory}/state
AccessLog {directory}/access_log
ErrorLog {directory}/error_log
PageLog {directory}/page_log
"""

CUPSD_CONF = """\
Listen 127.0.0.1:{port}
Browsing No
WebInterface No
LogLevel debug
PreserveJobHistory Yes
PreserveJobFiles Yes
MaxLogSize 0
<Location />
  Order allow,deny
  Allow localhost
</Location>
<Policy default>
  JobPrivateAccess all
  JobPrivateValues none
  <Limit All>
    Order allow,deny
    Allow localhost
  </Limit>
</Policy>
"""

PRINTERS_CONF = """\
<Printer raw>
  DeviceURI file:///dev/null
  State Idle
  Accepting Yes
  OpPolicy default
  ErrorPolicy abort-job
</Printer>
"""


def write(directory, name, text):
    with open(os.path.join(directory, "etc", name), "w", encoding="ascii") as file:
        file.write(text)


def start_server(directory):
    """(process, port); None when the server does not start."""
    for name in ("etc", "spool", "tmp", "cache", "state", "data/banners"):
        path = os.path.join(directory, name)
        os.makedirs(path, exist_ok=True)
        shutil.chown(path, "lp", "lp")
    # The queue knows the job sheets that there is a banner file for.
    with open(os.path.join(directory, "data/banners/standard"), "w", encoding="ascii") as file:
        file.write("%!PS\nshowpage\n")
    for name in os.listdir(DATA):
        if name != "banners":
            os.symlink(os.path.join(DATA, name), os.path.join(directory, "data", name))
    shutil.chown(directory, "lp", "lp")
    write(directory, "cups-files.conf", FILES_CONF.format(directory=directory))
    for _ in range(5):
        port = peer_process.free_port()
        write(directory, "cupsd.conf", CUPSD_CONF.format(port=port))
        write(directory, "printers.conf", PRINTERS_CONF)
        with open(os.path.join(directory, "cupsd.out"), "wb") as out:
            server = peer_process.start(
                ["cupsd", "-f", "-c", directory + "/etc/cupsd.conf",
                 "-s", directory + "/etc/cups-files.conf"],
                stdin=subprocess.DEVNULL, stdout=out, stderr=out)
        if peer_process.wait_for_port(port, server):
            return server, port
        peer_process.stop(server)
    return None


def main():
    parser = argparse.ArgumentParser(description="a private cupsd on a free loopback port")
    parser.add_argument("--directory", required=True, help="where documents and logs are kept")
    parser.add_argument("run", nargs="*", help="a command to run while the server is there")
    options = parser.parse_args()
    peer_process.end_on_signal()
    directory = os.path.abspath(options.directory)
    os.makedirs(directory, exist_ok=True)
    started = start_server(directory)
    if started is None:
        peer_process.fail("cupsd does not start, see " + directory)
    server, port = started
    try:
        sys.exit(peer_process.serve(f"ipp://localhost:{port}/printers/raw", options.run))
    finally:
        peer_process.stop(server)


if __name__ == "__main__":
    main()
