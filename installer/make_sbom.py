"""What is in the programs of the download, as SPDX 2.3 in JSON (https://spdx.github.io/spdx-spec):
the runtime and header libraries that they are linked with, with versions and licences."""

import hashlib
import json
import subprocess
import time
import uuid

import make_msi

# Name, licence, Debian package whose version it is, the files that hold it, what for.
PARTS = (
    ("gcc-runtime-win32", "GPL-3.0-or-later WITH GCC-exception-3.1",
     "gcc-mingw-w64-i686-win32", ("Velmora.dll",), "C++ runtime, thread model win32"),
    ("gcc-runtime-posix", "GPL-3.0-or-later WITH GCC-exception-3.1",
     "gcc-mingw-w64-i686-posix", ("velmoractl.exe",), "C++ runtime, thread model posix"),
    ("mingw-w64-runtime", "ZPL-2.1", "mingw-w64-i686-dev", ("Velmora.dll", "velmoractl.exe"),
     "C runtime's start and import libraries"),
    ("winpthreads", "MIT AND BSD-3-Clause", "mingw-w64-i686-dev", ("velmoractl.exe",), "threads"),
    ("CLI11", "BSD-3-Clause", "libcli11-dev", ("velmoractl.exe",), "command line"),
    ("nlohmann-json", "MIT", "nlohmann-json3-dev", ("velmoractl.exe",), "JSON"),
    ("lunr", "MIT", "libjs-lunr", (), "search in the documentation"),
)
# The parts that only the documentation holds.
DOCUMENTATION = "lunr"


def versions():
    """{Debian package: version}"""
    names = sorted({part[2] for part in PARTS})
    run = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *names], check=False,
                         capture_output=True, text=True)
    if run.returncode != 0:
        raise make_msi.Failure(f"the versions of the libraries are not known:\n{run.stderr}")
    return dict(line.split(" ") for line in run.stdout.splitlines())


def identifier(kind, name):
    return f"SPDXRef-{kind}-" + "".join(c if c.isalnum() or c == "." else "-" for c in name)


def relation(source, kind, target):
    return {"spdxElementId": source, "relationshipType": kind, "relatedSpdxElement": target}


def package(name, version, licence, **more):
    return {"name": name, "SPDXID": identifier("Package", name), "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "licenseConcluded": licence, "licenseDeclared": licence,
            "copyrightText": "NOASSERTION", **more}


def document(version, epoch, programs):
    """The bytes of the document. `programs`: {path in the download: bytes}."""
    found = versions()
    product = identifier("Package", "Velmora")
    packages = [package("Velmora", version, "MIT", supplier="Organization: Velmora")]
    files, relations = [], [relation("SPDXRef-DOCUMENT", "DESCRIBES", product)]
    for path, data in sorted(programs.items()):
        files.append({"fileName": "./" + path, "SPDXID": identifier("File", path),
                      "fileTypes": ["BINARY"], "licenseConcluded": "NOASSERTION",
                      "copyrightText": "NOASSERTION",
                      "checksums": [{"algorithm": name, "checksumValue":
                                     hashlib.new(name.lower(), data).hexdigest()}
                                    for name in ("SHA1", "SHA256")]})
        relations.append(relation(product, "CONTAINS", identifier("File", path)))
    for name, licence, source, holders, purpose in PARTS:
        packages.append(package(name, found[source], licence, summary=purpose,
                                sourceInfo=f"Debian package {source}"))
        part = identifier("Package", name)
        relations += [relation(identifier("File", path), "STATIC_LINK", part)
                      for path in sorted(programs) if path.split("/")[-1] in holders]
        if name == DOCUMENTATION:
            relations.append(relation(product, "CONTAINS", part))
    text = json.dumps({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"velmora-{version}",
        # Another one for other programs.
        "documentNamespace": "urn:uuid:" + str(uuid.uuid5(
            make_msi.NAMESPACE, json.dumps([packages, files]))),
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(epoch)),
                         "creators": ["Organization: Velmora", "Tool: velmora-dist"]},
        "packages": packages, "files": files, "relationships": relations}, indent=1)
    return (text + "\n").encode("ascii")
