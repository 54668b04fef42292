#!/usr/bin/env python3
"""The download: its contents, checksums and signatures, and that it can be reproduced. The programs in it
are stand-ins; the texts and pictures are the real ones."""

import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

import jsonschema

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "harness", "peers"))
import time_stamps  # noqa: E402

COMPILERS = {"x86": "i686-w64-mingw32-gcc", "x64": "x86_64-w64-mingw32-gcc"}
PROGRAMS = [f"{arch}/{name}" for arch in COMPILERS for name in ("Velmora.dll", "velmoractl.exe")]
PACKAGES = ["Velmora-x64.msi", "Velmora-x86.msi"]
PASSWORD = "secret"

# Made once: the stand-ins and the documentation.
place = None


def run(*words, **options):
    return subprocess.run(words, capture_output=True, text=True, timeout=200, check=False, **options)


def wrong_in(document):
    """The errors that the schemas of CycloneDX find."""
    schemas = {}
    for name in ("bom-1.5", "spdx", "jsf-0.82"):
        name += ".SNAPSHOT.schema.json"
        with open(os.path.join(ROOT, "tests", "tools", "cyclonedx", name), encoding="utf-8") as file:
            schemas[name] = json.load(file)
    bom = schemas["bom-1.5.SNAPSHOT.schema.json"]
    store = {"http://cyclonedx.org/schema/" + name: schema for name, schema in schemas.items()}
    resolver = jsonschema.RefResolver.from_schema(bom, store=store)
    return [error.message for error in
            jsonschema.Draft7Validator(bom, resolver=resolver).iter_errors(document)]


def setUpModule():
    global place
    place = tempfile.mkdtemp()
    unittest.addModuleCleanup(shutil.rmtree, place)
    source = os.path.join(place, "stand-in.c")
    for arch, compiler in COMPILERS.items():
        bin_folder = os.path.join(place, "built", arch, "bin")
        os.makedirs(bin_folder)
        for name in ("Velmora.dll", "velmoractl.exe", "velmora_setup.dll"):
            with open(source, "w", encoding="ascii") as file:
                file.write(f'const char text[] = "{arch} {name}";\n'
                           "int __stdcall start(void) { return text[0]; }\n")
            kind = ["-shared"] if name.endswith(".dll") else []
            subprocess.run([compiler, "-nostdlib", *kind, "-Wl,--entry=" + (
                "_start@0" if arch == "x86" else "start"), "-Wl,--no-insert-timestamp", source,
                "-o", os.path.join(bin_folder, name)], check=True, timeout=60)
    made = run(os.path.join(ROOT, "tools", "site"), os.path.join(place, "site"))
    if made.returncode != 0:
        raise AssertionError(made.stderr)


class Made(unittest.TestCase):
    """A download made of the stand-ins."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.built = os.path.join(folder.name, "built")
        shutil.copytree(os.path.join(place, "built"), self.built)
        self.output = os.path.join(folder.name, "output")

    def dist(self, *words, **options):
        return run(sys.executable, os.path.join(ROOT, "tools", "dist"), "--built", self.built,
                   "--output", self.output, "--site", os.path.join(place, "site"), *words, **options)

    def make(self, *words):
        """{name: bytes} of everything that was made."""
        shutil.rmtree(self.output, ignore_errors=True)
        result = self.dist(*words)
        self.assertEqual(0, result.returncode, result.stderr)
        files = {}
        for path, _, names in os.walk(self.output):
            for name in names:
                with open(os.path.join(path, name), "rb") as file:
                    files[os.path.relpath(file.name, self.output)] = file.read()
        return files

    def zipped(self):
        """The files of the zip, without the folder in front."""
        name, = [name for name in os.listdir(self.output) if name.endswith(".zip")]
        with zipfile.ZipFile(os.path.join(self.output, name)) as archive:
            self.assertIsNone(archive.testzip())
            files = {one: archive.read(one) for one in archive.namelist()}
        top = name[:-len(".zip")]
        self.assertEqual({top}, {one.split("/")[0] for one in files})
        return {one[len(top) + 1:]: data for one, data in files.items()}

    def assert_sums(self, sums, files):
        listed = dict(reversed(line.split(" *", 1)) for line in sums.decode("ascii").splitlines())
        self.assertEqual({name: hashlib.sha256(data).hexdigest() for name, data in files.items()},
                         listed)


class Dist(Made):
    def test_everything_is_in_it_with_its_checksum(self):
        made = self.make()
        self.assertLess(set(PACKAGES), set(made))
        self.assert_sums(made.pop("SHA256SUMS.txt"), made)
        files = self.zipped()
        for name in [*PROGRAMS, "x86/Velmora.dat", "x64/Velmora.dat", "languages/Velmora.de.dat",
                     "docs/README.html", "docs/install.html", "docs/images/new-port.png",
                     "docs/site/index.js", "LICENSE.txt", "THIRD-PARTY.txt", "CHANGELOG.md",
                     "UNSIGNED.txt", "velmora.cdx.json"]:
            self.assertIn(name, files)
        self.assert_sums(files.pop("SHA256SUMS.txt"), files)
        # The licences require their own text to be included.
        for words in (b"Permission is hereby granted", b"Neither the name of the University"):
            self.assertIn(words, files["THIRD-PARTY.txt"])
        for package in PACKAGES:
            listing = run("msiinfo", "export", os.path.join(self.output, package), "File").stdout
            for name in ("velmoractl.exe", "README.html", "UNSIGNED.txt"):
                self.assertIn(name, listing)

    def test_the_same_files_give_the_same_bytes(self):
        first = self.make()
        mask = os.umask(0o077)
        try:
            os.environ["TZ"] = "Asia/Tokyo"
            second = self.make()
        finally:
            os.umask(mask)
            del os.environ["TZ"]
        self.assertEqual(sorted(first), sorted(second))
        self.assertEqual([], [name for name in first if first[name] != second[name]])

    def test_a_missing_program_is_told_in_one_line(self):
        for program in ("velmoractl.exe", "velmora_setup.dll"):
            os.remove(os.path.join(self.built, "x64", "bin", program))
            result = self.dist()
            self.assertNotEqual(0, result.returncode)
            self.assertRegex(result.stderr, rf"^dist: .*x64.*{re.escape(program)}: No such file.*\n$")
            self.assertFalse(os.path.exists(self.output))
            shutil.copy(os.path.join(place, "built", "x64", "bin", program),
                        os.path.join(self.built, "x64", "bin"))

    def test_what_is_in_the_programs_is_told(self):
        made = self.make()
        name, = [name for name in made if name.endswith(".cdx.json")]
        document = json.loads(made[name])
        self.assertEqual([], wrong_in(document))
        parts = {one["bom-ref"]: one for one in document["components"]}
        self.assertEqual({"CLI11", "nlohmann-json", "gcc-runtime-win32", "gcc-runtime-posix",
                          "mingw-w64-runtime", "winpthreads", "lunr"},
                         {name for name, one in parts.items() if one["type"] == "library"})
        for one in parts.values():
            self.assertRegex(one["version"], r"^\d+\.")
        self.assertIn("GCC-exception-3.1", json.dumps(parts["gcc-runtime-win32"]["licenses"]))
        # The hashes are those of the programs, and each relation is between existing components.
        for program in PROGRAMS:
            with open(os.path.join(self.built, *program.replace("/", "/bin/").split("/")),
                      "rb") as file:
                digest = hashlib.sha256(file.read()).hexdigest()
            self.assertIn({"alg": "SHA-256", "content": digest}, parts[program]["hashes"])
        known = {*parts, document["metadata"]["component"]["bom-ref"]}
        needed = {one["ref"]: set(one["dependsOn"]) for one in document["dependencies"]}
        self.assertLessEqual(set(needed), known)
        self.assertLessEqual(set().union(*needed.values()), known)
        self.assertIn("CLI11", needed["x64/velmoractl.exe"])
        self.assertNotIn("CLI11", needed["x64/Velmora.dll"])

    def test_what_is_wrong_in_a_bill_of_materials_is_found(self):
        made = self.make()
        name, = [name for name in made if name.endswith(".cdx.json")]
        for old, new in (('"ZPL-2.1"', '"Zope"'), ('"SHA-256"', '"SHA256"'), ('"library"', '"lib"'),
                         ('"bomFormat"', '"format"')):
            self.assertIn(old.encode(), made[name])
            self.assertNotEqual([], wrong_in(json.loads(made[name].replace(old.encode(),
                                                                           new.encode()))), new)

    def test_the_manifest_names_the_packages(self):
        made = self.make("--url", "https://downloads.example/velmora")
        text = made["velmora.winget/Velmora.Velmora.installer.yaml"].decode()
        for arch in COMPILERS:
            digest = hashlib.sha256(made[f"Velmora-{arch}.msi"]).hexdigest().upper()
            self.assertIn(f"  InstallerUrl: https://downloads.example/velmora/Velmora-{arch}.msi\n"
                          f"  InstallerSha256: {digest}\n", text)
            properties = run("msiinfo", "export", os.path.join(
                self.output, f"Velmora-{arch}.msi"), "Property").stdout
            product = re.search(r"^ProductCode\t(.*?)\r?$", properties, re.M).group(1)
            self.assertIn(f"  ProductCode: '{product}'\n", text)


class Signatures(Made):
    @classmethod
    def setUpClass(cls):
        """A certificate authority of this test, which nobody else trusts."""
        cls.keys = tempfile.mkdtemp(dir=place)
        for name, more in (
                ("ca", ["-x509", "-subj", "/CN=Test authority", "-addext",
                        "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=keyCertSign"]),
                ("code", ["-x509", "-subj", "/CN=Velmora test", "-CA", "ca.pem", "-CAkey", "ca.key",
                          "-addext", "extendedKeyUsage=codeSigning"])):
            cls.openssl("req", "-newkey", "rsa:2048", "-nodes", "-days", "3650", *more, "-keyout",
                        name + ".key", "-out", name + ".pem")
        cls.openssl("pkcs12", "-export", "-inkey", "code.key", "-in", "code.pem", "-certfile",
                    "ca.pem", "-passout", "pass:" + PASSWORD, "-out", "code.p12")
        with open(os.path.join(cls.keys, "password"), "w", encoding="ascii") as file:
            file.write(PASSWORD + "\n")

    @classmethod
    def openssl(cls, *words):
        done = run("openssl", *words, cwd=cls.keys)
        if done.returncode != 0:
            raise AssertionError(done.stderr)

    def key(self, name):
        return os.path.join(self.keys, name)

    def signing(self, *more):
        return ["--sign-with", self.key("code.p12"), "--password-file", self.key("password"), *more]

    def verify(self, path, *more):
        return run("osslsigncode", "verify", "-CAfile", self.key("ca.pem"), *more, "-in", path)

    def signed_files(self):
        paths = [os.path.join(self.output, name) for name in PACKAGES]
        for name, data in self.zipped().items():
            if name in PROGRAMS:
                paths.append(os.path.join(self.output, name.replace("/", "-")))
                with open(paths[-1], "wb") as file:
                    file.write(data)
        self.assertEqual(6, len(paths))
        return paths

    def test_signatures_verify_and_a_changed_byte_is_found(self):
        self.make(*self.signing())
        self.assertNotIn("UNSIGNED.txt", self.zipped())
        for path in self.signed_files():
            with self.subTest(file=os.path.basename(path)):
                good = self.verify(path)
                self.assertEqual(0, good.returncode, good.stdout)
                with open(path, "r+b") as file:
                    # Within the program's code, or the package's files.
                    file.seek(os.path.getsize(path) // 2 if path.endswith(".msi") else 0x410)
                    byte = file.read(1)
                    file.seek(-1, os.SEEK_CUR)
                    file.write(bytes([byte[0] ^ 1]))
                self.assertNotEqual(0, self.verify(path).returncode)

    def token(self):
        """A token with the key, and its PIN; the module finds it by the environment."""
        folder = tempfile.mkdtemp(dir=place)
        os.mkdir(os.path.join(folder, "tokens"))
        with open(os.path.join(folder, "softhsm2.conf"), "w", encoding="ascii") as file:
            file.write(f"directories.tokendir = {folder}/tokens\nobjectstore.backend = file\n")
        environment = dict(os.environ, SOFTHSM2_CONF=file.name)
        self.openssl("pkcs8", "-topk8", "-nocrypt", "-in", "code.key", "-out", "code.p8")
        for words in (["--init-token", "--free", "--label", "velmora", "--so-pin", "5678"],
                      ["--import", self.key("code.p8"), "--token", "velmora", "--label", "code",
                       "--id", "01"]):
            done = run("softhsm2-util", *words, "--pin", PASSWORD, env=environment)
            self.assertEqual(0, done.returncode, done.stderr)
        return environment

    def test_a_token_signs_and_wants_its_pin(self):
        environment = self.token()
        words = ["--sign-with-token", "/usr/lib/softhsm/libsofthsm2.so", self.key("code.pem"),
                 "pkcs11:token=velmora;object=code", "--password-file"]
        signed = self.dist(*words, self.key("password"), env=environment)
        self.assertEqual(0, signed.returncode, signed.stderr)
        for path in self.signed_files():
            with self.subTest(file=os.path.basename(path)):
                self.assertEqual(0, self.verify(path).returncode)
        with open(self.key("wrong"), "w", encoding="ascii") as file:
            file.write("another\n")
        refused = self.dist(*words, self.key("wrong"), env=environment)
        self.assertNotEqual(0, refused.returncode)
        self.assertRegex(refused.stderr, "^dist: signing .* failed")

    def test_the_same_key_gives_the_same_bytes(self):
        self.assertEqual(self.make(*self.signing()), self.make(*self.signing()))

    def test_a_time_stamp_is_in_the_signature(self):
        with time_stamps.Server(self.key("tsa")) as server:
            self.make(*self.signing("--time-stamp", server.url))
        checked = self.verify(os.path.join(self.output, "Velmora-x64.msi"), "-TSA-CAfile",
                              server.authority)
        self.assertEqual(0, checked.returncode, checked.stdout)
        self.assertRegex(checked.stdout, "(?i)timestamp")

    def test_what_cannot_be_signed_is_an_error(self):
        with open(self.key("wrong"), "w", encoding="ascii") as file:
            file.write("another\n")
        for words in (["--sign-with", self.key("code.p12"), "--password-file", self.key("wrong")],
                      self.signing("--time-stamp", "http://127.0.0.1:1/")):
            result = self.dist(*words)
            self.assertNotEqual(0, result.returncode)
            self.assertRegex(result.stderr, "^dist: signing .* failed")


class Site(unittest.TestCase):
    """tools/site has checked what it made; here it must find what is wrong."""

    def setUp(self):
        self.site = tempfile.mkdtemp(dir=place)
        shutil.copytree(os.path.join(place, "site"), self.site, dirs_exist_ok=True)

    def change(self, old, new, name="install.html"):
        path = os.path.join(self.site, name)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        self.assertIn(old, text)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(old, new))

    def check(self):
        return run(os.path.join(ROOT, "tools", "site"), "--check", self.site)

    def test_wrong_links_are_found(self):
        self.assertEqual((0, ""), (self.check().returncode, self.check().stderr))
        self.change('href="languages.html"', 'href="tongues.html"')
        self.change('href="security.html#policy"', 'href="security.html#police"')
        shutil.copy(os.path.join(self.site, "images", "help.png"),
                    os.path.join(self.site, "images", "nobody.png"))
        with open(os.path.join(self.site, "lonely.html"), "w", encoding="ascii") as file:
            file.write("<p>")
        found = self.check()
        self.assertEqual(1, found.returncode)
        for words in ("install.html: no such file: tongues.html",
                      "install.html: no such anchor: security.html#police",
                      "images/nobody.png: no page shows it", "lonely.html: no page leads there"):
            self.assertIn(words, found.stderr)

    def test_the_first_port_is_told_in_every_language_of_the_dialogs(self):
        def commands(name):
            with open(os.path.join(ROOT, "docs", name), encoding="utf-8") as file:
                return re.findall(r"^    (velmoractl .*)$", file.read(), re.M)
        english = commands("first-port.md")
        self.assertTrue(english)
        for name in os.listdir(os.path.join(ROOT, "ui", "languages")):
            language = re.fullmatch(r"Velmora\.(.+)\.dat", name)
            if not language:
                continue
            with self.subTest(language=language.group(1)):
                page = f"first-port.{language.group(1)}"
                self.assertEqual(english, commands(page + ".md"))
                with open(os.path.join(self.site, page + ".html"), encoding="utf-8") as file:
                    self.assertIn(f'<html lang="{language.group(1)}">', file.read())

    def test_nothing_is_asked_of_another_computer(self):
        for name in os.listdir(self.site):
            if name.endswith(".html"):
                with open(os.path.join(self.site, name), encoding="utf-8") as file:
                    self.assertEqual([], re.findall(r'(?:src|<link[^>]*href)="(?:https?:)?//[^"]*',
                                                    file.read()))

    def test_the_search_finds_pages_by_their_words(self):
        # The library is Debian's, for its own Python.
        program = ("import json, sys; from lunr.index import Index\n"
                   "text = open(sys.argv[1]).readline()\n"
                   "index = Index.load(json.loads(text[text.index('{'):text.rindex(';')]))\n"
                   "print([one['ref'] for one in index.search(sys.argv[2])][:3])\n")
        for words, page in (("policy", "security.html"), ("import", "fleet-setup.html")):
            found = run("/usr/bin/python3", "-c", program,
                        os.path.join(self.site, "site", "index.js"), words)
            self.assertIn(page, found.stdout, found.stderr)


if __name__ == "__main__":
    unittest.main()
