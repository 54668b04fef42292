#!/usr/bin/env python3
"""A real IPP server for tests: a private cupsd with one raw queue, on a free loopback port.

    cups_server.py --directory DIR [options] [-- COMMAND...]

Must be started as root (cupsd changes to the user lp by itself). Documents stay in
DIR/spool/d<five digits>-001 (a job with a banner: -002), the log is DIR/error_log. COMMAND as in
ippeve_printer.py.
"""

import argparse
import os
import shutil
import subprocess
import sys

import certificates
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
ServerKeychain {directory}/ssl
CreateSelfSignedCerts no
AccessLog {directory}/access_log
ErrorLog {directory}/error_log
PageLog {directory}/page_log
"""

CUPSD_CONF = """\
{listen} 127.0.0.1:{port}
ServerName localhost
Browsing No
WebInterface No
StrictConformance {strict}
LogLevel debug
PreserveJobHistory Yes
PreserveJobFiles Yes
MaxLogSize 0
<Location />
  Order allow,deny
  Allow localhost
{all_users}</Location>
<Policy default>
  JobPrivateAccess all
  JobPrivateValues none
  <Limit Print-Job>
    Order allow,deny
    Allow localhost
{job_users}  </Limit>
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
{quota}</Printer>
"""

KNOWN_USERS = "AuthType Basic\nRequire valid-user\n"
# One KiB a day for each user; then jobs are refused.
QUOTA = "QuotaPeriod 86400\nKLimit 1\n"

# The server asks the system's modules (PAM) whether a password is right. In a mount namespace of its own it
# finds this file instead of the system's.
PAM_FILE = "/etc/pam.d/cups"
PAM = """\
auth required pam_exec.so quiet expose_authtok {check}
account required pam_permit.so
"""
CHECK = """\
#!/bin/sh
[ "$PAM_USER:$(tr -d '\\0')" = '{credentials}' ]
"""
OWN_PAM = 'mount --bind "$0" ' + PAM_FILE + ' && exec "$@"'


def write(directory, name, text):
    with open(os.path.join(directory, "etc", name), "w", encoding="ascii") as file:
        file.write(text)


def keep_certificate(directory, kind):
    certificate, key = certificates.make(directory, kind)
    place = os.path.join(directory, "ssl")
    os.makedirs(place)
    shutil.copy(certificate, os.path.join(place, "localhost.crt"))
    shutil.copy(key, os.path.join(place, "localhost.key"))


def own_users(directory, credentials):
    """The command prefix of a server that knows one user, USER:PASSWORD; empty if it needs none."""
    if not credentials:
        return []
    check, pam = os.path.join(directory, "check"), os.path.join(directory, "pam")
    with open(check, "w", encoding="ascii") as file:
        file.write(CHECK.format(credentials=credentials))
    os.chmod(check, 0o755)
    with open(pam, "w", encoding="ascii") as file:
        file.write(PAM.format(check=check))
    return ["unshare", "--mount", "sh", "-c", OWN_PAM, pam]


def spend_quota(directory, url):
    """A job of this user that is larger than the quota."""
    document = os.path.join(directory, "spent")
    with open(document, "wb") as file:
        file.write(bytes(2048))
    subprocess.run(["ipptool", "-f", document, url, "print-job.test"], check=True,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def start_server(directory, options):
    """(process, port); None when the server does not start."""
    for name in ("etc", "spool", "tmp", "cache", "state", "data/banners"):
        path = os.path.join(directory, name)
        os.makedirs(path, exist_ok=True)
        shutil.chown(path, "lp", "lp")
    # The queue supports the job sheets for which there is a banner file.
    with open(os.path.join(directory, "data/banners/standard"), "w", encoding="ascii") as file:
        file.write("%!PS\nshowpage\n")
    for name in os.listdir(DATA):
        if name != "banners":
            os.symlink(os.path.join(DATA, name), os.path.join(directory, "data", name))
    shutil.chown(directory, "lp", "lp")
    write(directory, "cups-files.conf", FILES_CONF.format(directory=directory))
    if options.certificate:
        keep_certificate(directory, options.certificate)
    start = own_users(directory, options.basic or options.basic_jobs)
    for _ in range(5):
        port = peer_process.free_port()
        write(directory, "cupsd.conf", CUPSD_CONF.format(
            port=port, strict="Yes" if options.strict else "No",
            listen="SSLListen" if options.certificate else "Listen",
            all_users=KNOWN_USERS if options.basic else "",
            job_users=KNOWN_USERS if options.basic_jobs else ""))
        write(directory, "printers.conf",
              PRINTERS_CONF.format(quota=QUOTA if options.spent_quota else ""))
        with open(os.path.join(directory, "cupsd.out"), "wb") as out:
            server = peer_process.start(
                [*start, "cupsd", "-f", "-c", directory + "/etc/cupsd.conf",
                 "-s", directory + "/etc/cups-files.conf"],
                stdin=subprocess.DEVNULL, stdout=out, stderr=out)
        if peer_process.wait_for_port(port, server):
            return server, port
        peer_process.stop(server)
    return None


def main():
    parser = argparse.ArgumentParser(description="a private cupsd on a free loopback port")
    parser.add_argument("--directory", required=True, help="where documents and logs are kept")
    parser.add_argument("--strict", action="store_true",
                        help="take only requests that keep to the standard")
    parser.add_argument("--basic", metavar="USER:PASSWORD", help="take no request of others")
    parser.add_argument("--basic-jobs", metavar="USER:PASSWORD", help="take no jobs of others")
    parser.add_argument("--certificate", choices=sorted(certificates.DATES),
                        help="serve https with a certificate of this kind (certificate.der in DIR)")
    parser.add_argument("--spent-quota", action="store_true",
                        help="jobs of this user are refused: the quota is used up")
    parser.add_argument("run", nargs="*", help="a command to run while the server is there")
    options = parser.parse_args()
    peer_process.end_on_signal()
    directory = os.path.abspath(options.directory)
    os.makedirs(directory, exist_ok=True)
    started = start_server(directory, options)
    if started is None:
        peer_process.fail("cupsd does not start, see " + directory)
    server, port = started
    url = f"{'https' if options.certificate else 'ipp'}://localhost:{port}/printers/raw"
    try:
        if options.spent_quota:
            spend_quota(directory, url)
        sys.exit(peer_process.serve(url, options.run))
    finally:
        peer_process.stop(server)


if __name__ == "__main__":
    main()
