"""Server certificates for loopback, made afresh by openssl: no key is kept in the source tree."""

import os
import subprocess

CA_CONF = """\
[ca]
default_ca = own
[own]
new_certs_dir = {directory}
database = {directory}/index
serial = {directory}/serial
default_md = sha256
policy = any
x509_extensions = server
[any]
commonName = supplied
[server]
subjectAltName = DNS:{host}
basicConstraints = CA:TRUE
"""

DATES = {
    "self-signed": ("20200101000000Z", "20491231000000Z"),
    "expired": ("20200101000000Z", "20200201000000Z"),
    "wrong-name": ("20200101000000Z", "20491231000000Z"),
}


def make(directory, kind):
    """Writes key.pem, certificate.pem and certificate.der of the kind (a key of DATES) and returns the
    first two paths. The name is localhost, except for wrong-name."""
    host = "elsewhere.invalid" if kind == "wrong-name" else "localhost"
    start, end = DATES[kind]
    path = {name: os.path.join(directory, name)
            for name in ("key.pem", "request.pem", "certificate.pem", "certificate.der", "ca.conf")}
    with open(path["ca.conf"], "w", encoding="ascii") as file:
        file.write(CA_CONF.format(directory=directory, host=host))
    open(os.path.join(directory, "index"), "w", encoding="ascii").close()
    with open(os.path.join(directory, "serial"), "w", encoding="ascii") as file:
        file.write(os.urandom(8).hex().upper() + "\n")
    for command in (
            ["openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={host}",
             "-keyout", path["key.pem"], "-out", path["request.pem"]],
            ["openssl", "ca", "-batch", "-selfsign", "-config", path["ca.conf"], "-notext",
             "-keyfile", path["key.pem"], "-in", path["request.pem"],
             "-startdate", start, "-enddate", end, "-out", path["certificate.pem"]],
            ["openssl", "x509", "-in", path["certificate.pem"], "-outform", "DER",
             "-out", path["certificate.der"]]):
        subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
    return path["certificate.pem"], path["key.pem"]
