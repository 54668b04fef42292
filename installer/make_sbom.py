"""What is in the programs of the download, as a bill of materials in CycloneDX 1.5, JSON
(https://cyclonedx.org/docs/1.5/json): the runtime and header libraries that they are linked with,
with versions and licences."""

import hashlib
import json
import subprocess
import time
import urllib.parse
import uuid

import make_msi

GCC_RUNTIME = {"expression": "GPL-3.0-or-later WITH GCC-exception-3.1"}
# Name, licence, Debian package whose version it is, the files that hold it, what for.
PARTS = (
    ("gcc-runtime-win32", GCC_RUNTIME,
     "gcc-mingw-w64-i686-win32", ("Velmora.dll",), "C++ runtime, thread model win32"),
    ("gcc-runtime-posix", GCC_RUNTIME,
     "gcc-mingw-w64-i686-posix", ("velmoractl.exe",), "C++ runtime, thread model posix"),
    ("mingw-w64-runtime", {"license": {"id": "ZPL-2.1"}}, "mingw-w64-i686-dev",
     ("Velmora.dll", "velmoractl.exe"), "C runtime's start and import libraries"),
    ("winpthreads", {"expression": "MIT AND BSD-3-Clause"}, "mingw-w64-i686-dev",
     ("velmoractl.exe",), "threads"),
    ("CLI11", {"license": {"id": "BSD-3-Clause"}}, "libcli11-dev", ("velmoractl.exe",),
     "command line"),
    ("nlohmann-json", {"license": {"id": "MIT"}}, "nlohmann-json3-dev", ("velmoractl.exe",), "JSON"),
    ("lunr", {"license": {"id": "MIT"}}, "libjs-lunr", (), "search in the documentation"),
)
# The parts that only the documentation holds.
DOCUMENTATION = "lunr"
PRODUCT = "velmora"


def versions():
    """{Debian package: version}"""
    names = sorted({part[2] for part in PARTS})
    run = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *names], check=False,
                         capture_output=True, text=True)
    if run.returncode != 0:
        raise make_msi.Failure(f"the versions of the libraries are not known:\n{run.stderr}")
    return dict(line.split(" ") for line in run.stdout.splitlines())


def library(name, licence, source, version, purpose):
    """A scanner finds known weaknesses by the package URL."""
    return {"type": "library", "bom-ref": name, "name": name, "version": version,
            "description": purpose, "licenses": [licence],
            "purl": f"pkg:deb/debian/{source}@{urllib.parse.quote(version, safe='.~-')}"
                    "?distro=bookworm"}


def program(path, data, version):
    return {"type": "file", "bom-ref": path, "name": path, "version": version,
            "hashes": [{"alg": alg, "content": hashlib.new(alg.replace("-", ""), data).hexdigest()}
                       for alg in ("SHA-1", "SHA-256")]}


def document(version, epoch, programs):
    """The bytes of the document. `programs`: {path in the download: bytes}."""
    found = versions()
    components = [program(path, data, version) for path, data in sorted(programs.items())]
    components += [library(name, licence, source, found[source], purpose)
                   for name, licence, source, _, purpose in PARTS]
    dependencies = [{"ref": PRODUCT, "dependsOn": [*sorted(programs), DOCUMENTATION]}]
    dependencies += [{"ref": path, "dependsOn": [name for name, _, _, holders, _ in PARTS
                                                 if path.split("/")[-1] in holders]}
                     for path in sorted(programs)]
    text = json.dumps({
        "$schema": "http://cyclonedx.org/schema/bom-1.5.schema.json",
        "bomFormat": "CycloneDX", "specVersion": "1.5",
        # A different number for different programs.
        "serialNumber": "urn:uuid:" + str(uuid.uuid5(make_msi.NAMESPACE, json.dumps(components))),
        "version": 1,
        "metadata": {
            "timestamp": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(epoch)),
            "tools": {"components": [{"type": "application", "name": "velmora-dist"}]},
            "component": {"type": "application", "bom-ref": PRODUCT, "name": "Velmora",
                          "version": version, "supplier": {"name": "Velmora"},
                          "licenses": [{"license": {"id": "MIT"}}]}},
        "components": components, "dependencies": dependencies}, indent=1)
    return (text + "\n").encode("ascii")
