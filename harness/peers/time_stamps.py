"""A time-stamp server (RFC 3161) on loopback with its own authority, for testing signatures."""

import http.server
import os
import subprocess
import threading

CONFIGURATION = """[tsa]
default_tsa = stamps
[stamps]
serial = {0}/serial
signer_cert = {0}/tsa.pem
signer_key = {0}/tsa.key
certs = {0}/tsa-ca.pem
signer_digest = sha256
default_policy = 1.2.3.4.1
digests = sha256
"""


class Server:
    """Runs while the context is entered; `authority` is the file with the certificate to trust."""

    def __init__(self, folder):
        self.folder = folder
        os.makedirs(folder)
        self.authority = os.path.join(folder, "tsa-ca.pem")
        for name, more in (
                ("tsa-ca", ["-subj", "/CN=Time authority", "-addext",
                            "basicConstraints=critical,CA:TRUE"]),
                ("tsa", ["-subj", "/CN=Time stamps", "-CA", "tsa-ca.pem", "-CAkey", "tsa-ca.key",
                         "-addext", "extendedKeyUsage=critical,timeStamping"])):
            self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "3650", *more,
                         "-keyout", name + ".key", "-out", name + ".pem")
        with open(os.path.join(folder, "serial"), "w", encoding="ascii") as file:
            file.write("01\n")
        with open(os.path.join(folder, "tsa.conf"), "w", encoding="ascii") as file:
            file.write(CONFIGURATION.format(folder))
        stamps = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                answer = stamps.stamp(self.rfile.read(int(self.headers["Content-Length"])))
                self.send_response(200)
                self.send_header("Content-Type", "application/timestamp-reply")
                self.send_header("Content-Length", str(len(answer)))
                self.end_headers()
                self.wfile.write(answer)

            def log_message(self, *words):
                pass

        self.server = http.server.HTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}/"

    def openssl(self, *words):
        subprocess.run(["openssl", *words], cwd=self.folder, check=True, timeout=60,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

    def stamp(self, query):
        with open(os.path.join(self.folder, "query"), "wb") as file:
            file.write(query)
        self.openssl("ts", "-reply", "-config", "tsa.conf", "-queryfile", "query", "-out", "reply")
        with open(os.path.join(self.folder, "reply"), "rb") as file:
            return file.read()

    def __enter__(self):
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *words):
        self.server.shutdown()
        self.server.server_close()
