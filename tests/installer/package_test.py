#!/usr/bin/env python3
"""The packages for Windows Installer: their tables, and what Wine's installer makes of them.

    package_test.py --arch x86|x64 --built BUILD_DIRECTORY [TEST...]
"""

import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path[:0] = [os.path.join(ROOT, "harness"), os.path.join(ROOT, "installer")]
import make_msi
from printer_peer import Printer
from tool_prefix import (DOCUMENT, DONE, FAILED, KEY, MONITOR, MONITORS, NOBODY, Step, ToolPrefix,
                         export_key, fleet, let_spooler_find, options, peer_process, run_tests,
                         set_value, start_spooler, stop_spooler)

UNINSTALL = "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"
EPOCH = 1700000000
FOLDER = "C:\\Program Files\\Velmora\\"
REFUSED, RESTART_WANTED = 1603, 3010

packages = {}


def read(*names):
    with open(os.path.join(*names), "rb") as file:
        return file.read()


def document():
    with open(os.path.join(ROOT, "docs", "deploy.md"), encoding="utf-8") as file:
        return file.read()


def documented(what):
    """The words of the command of docs/deploy.md with `what` in it, without what this test adds to
    every command."""
    line, = [line for line in re.findall(r"msiexec (.*?)(?:`|$)", document(), re.MULTILINE)
             if what in line and "%CD%" not in line]
    return [word for word in line.split() if word != "/qn"]


def older(library, version=(0, 9)):
    """The library with another version in its resources, and the matching checksum."""
    data = bytearray(library)
    place = data.index(struct.pack("<I", 0xFEEF04BD)) + 8
    struct.pack_into("<IIII", data, place, *(version[0] << 16 | version[1], 0) * 2)
    place = struct.unpack_from("<I", data, 0x3C)[0] + 0x58
    struct.pack_into("<I", data, place, 0)
    total = 0
    for word in struct.unpack(f"<{len(data) // 2}H", data[:len(data) // 2 * 2]):
        total += word
        total = (total & 0xFFFF) + (total >> 16)
    struct.pack_into("<I", data, place, total + len(data))
    return bytes(data)


def package(version):
    """The path of the package of that version. "0.9.0" has an older library, "1.0.0" the built one;
    the texts are few, so that installing them takes no time."""
    if version not in packages:
        programs = os.path.join(options.built, "bin")
        library = read(programs, "Velmora.dll")
        files = {"velmoractl.exe": read(programs, "velmoractl.exe"),
                 "Velmora.dll": older(library) if version == "0.9.0" else library,
                 "docs/README.md": read(ROOT, "docs", "README.md")}
        for name in ("Velmora.dat", "Velmora.de.dat"):
            data = read(ROOT, "ui", "languages", name)
            files["languages/" + name] = data
        files["Velmora.dat"] = files["languages/Velmora.dat"]
        path = os.path.join(options.directory, f"velmora-{version}.msi")
        make_msi.make(path, options.arch, version, files, read(programs, "velmora_setup.dll"),
                      ["de"], "docs/README.md", EPOCH)
        packages[version] = path
    return packages[version]


class Tables(unittest.TestCase):
    """What Wine's installer does not show, or shows differently from Windows'."""

    def table(self, name):
        """{first column: the other columns}"""
        rows = subprocess.run(["msiinfo", "export", package("1.0.0"), name], check=True,
                              capture_output=True).stdout.decode().replace("\r\n", "\n")
        lines = [line.split("\t") for line in rows.rstrip("\n").split("\n")[3:]]
        return {line[0]: line[1:] for line in lines}

    def test_the_installer_is_told_what_windows_needs(self):
        properties = {name: values[0] for name, values in self.table("Property").items()}
        # Never changes: packages of all versions replace each other by it.
        self.assertEqual("{0E6B4D3C-6F0B-4E0B-9C0D-5A8A2F2C7D11}", properties["UpgradeCode"])
        self.assertEqual("1", properties["ALLUSERS"])
        self.assertLess({"LANGUAGE", "POLICY", "RESTARTSPOOLER", "FLEET", "REMOVECONFIGURATION"},
                        set(properties["SecureCustomProperties"].split(";")))
        # No property has a default: a repair would set it again.
        self.assertFalse({"LANGUAGE", "POLICY", "FLEET", "RESTARTSPOOLER"} & set(properties))
        files = list(self.table("File").values())
        versions = {row[1].split("|")[-1]: row[3:5] for row in files}
        for name in make_msi.VERSIONED:
            self.assertEqual(["1.0.0.0", "1033"], versions[name])
        self.assertEqual(["", ""], versions["Velmora.dat"])
        self.assertEqual(["=-*PATH", "[~];[INSTALLDIR]"], self.table("Environment")["Path"][:2])

    def test_the_document_tells_the_properties_and_codes_there_are(self):
        rows = dict(re.findall(r"^\| `?(\w+)`? \| (.*) \|$", document(), re.MULTILINE))
        codes = {int(name) for name in rows if name.isdigit()}
        self.assertEqual({DONE, RESTART_WANTED, REFUSED}, codes)
        told = {name for name in rows if name.isupper()}
        self.assertEqual(set(make_msi.PROPERTIES), told)
        # Those in commands for Intune, winget and others too.
        self.assertEqual(set(), set(re.findall(r"\b([A-Z]{5,})=", document())) - told
                         - {"REINSTALL", "REINSTALLMODE"})

    def test_the_start_menu_has_the_documentation(self):
        shortcut, = self.table("Shortcut").values()
        self.assertEqual("[INSTALLDIR]docs\\README.md", shortcut[3])

    def test_package_and_tool_show_the_products_icon(self):
        icon = read(ROOT, "velmoractl", "velmora.ico")
        self.assertEqual(["velmora.ico"], self.table("Property")["ARPPRODUCTICON"])
        self.assertEqual(icon, subprocess.run(
            ["msiinfo", "extract", package("1.0.0"), "Icon.velmora.ico"], check=True,
            capture_output=True).stdout)
        tool = read(options.built, "bin", "velmoractl.exe")
        count, = struct.unpack_from("<H", icon, 4)
        self.assertGreater(count, 2)
        for entry in range(count):
            size, offset = struct.unpack_from("<II", icon, 6 + 16 * entry + 8)
            self.assertIn(icon[offset:offset + size], tool)

    def test_another_version_is_another_product_and_the_same_upgrade(self):
        codes = set()
        for version in ("0.9.0", "1.0.0"):
            text = subprocess.run(["msiinfo", "export", package(version), "Property"], check=True,
                                  capture_output=True, text=True).stdout
            codes |= {line for line in text.split("\n") if line.startswith("ProductCode")}
        self.assertEqual(2, len(codes))
        upgrade = self.table("Upgrade")
        self.assertEqual({"{0E6B4D3C-6F0B-4E0B-9C0D-5A8A2F2C7D11}"}, set(upgrade))

    def test_checks_come_before_and_work_within_the_transaction(self):
        order = {name: int(values[1]) for name, values in
                 self.table("InstallExecuteSequence").items()}
        begin, end = order["InstallInitialize"], order["InstallFinalize"]
        for name in ("CheckInstall", "CheckUninstall"):
            self.assertLess(order["CostFinalize"], order[name])
            self.assertLess(order[name], begin)
        # In the transaction, so that a failure brings the old version back.
        self.assertTrue(begin < order["RemoveExistingProducts"] < order["InstallFiles"])
        self.assertTrue(begin < order["UndoUninstall"] < order["Uninstall"] < order["RemoveFiles"])
        self.assertTrue(order["PublishProduct"] < order["Install"] < end < order["RestartWanted"])
        types = {name: int(values[0]) for name, values in self.table("CustomAction").items()}
        deferred_as_system = 0x1 + 0x400 + 0x800
        self.assertEqual(deferred_as_system, types["Install"])
        self.assertEqual(deferred_as_system, types["Uninstall"])
        self.assertEqual(deferred_as_system + 0x100, types["UndoUninstall"])
        self.assertEqual([0x1, 0x1], [types["CheckInstall"], types["CheckUninstall"]])

    def test_the_32_bit_package_refuses_64_bit_windows_in_words(self):
        conditions = self.table("LaunchCondition")
        found = [values[0] for condition, values in conditions.items() if "VersionNT64" in condition]
        if options.arch == "x64":
            self.assertEqual([], found)
        else:
            self.assertEqual(1, len(found))
            self.assertIn("Velmora-x64.msi", found[0])
            self.assertIn("Installed OR NOT VersionNT64", conditions)

    def test_components_are_of_the_packages_kind_of_windows(self):
        attributes = {int(row[2]) for row in self.table("Component").values()}
        self.assertEqual({options.arch == "x64"}, {bool(value & 256) for value in attributes})

    def test_the_same_files_give_the_same_bytes(self):
        path = package("1.0.0")
        first = read(path)
        del packages["1.0.0"]
        # Another umask and time zone make no difference.
        mask = os.umask(0o077)
        zone = os.environ.get("TZ")
        os.environ["TZ"] = "Asia/Tokyo"
        try:
            package("1.0.0")
        finally:
            os.umask(mask)
            del os.environ["TZ"]
            if zone is not None:
                os.environ["TZ"] = zone
        self.assertEqual(first, read(path))


class Packages(unittest.TestCase):
    """One prefix for each class."""

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp(dir=options.directory)
        cls.prefix = ToolPrefix(options.arch, options.built, cls.place)
        cls.addClassCleanup(cls.prefix.stop)
        shutil.rmtree(cls.prefix.path("download"))
        os.mkdir(cls.prefix.path("packages"))
        for version in ("0.9.0", "1.0.0"):
            shutil.copy(package(version), cls.prefix.path("packages"))

    def setUp(self):
        # Wine's spooler has no working channel to the monitor without the shim, and a registered
        # monitor is left as it is.
        self.shim = set_value(MONITORS + MONITOR, "Driver", "velmora_shim.dll")
        self.logs = 0

    @staticmethod
    def tool(*words, code=DONE):
        return Step(FOLDER + "velmoractl.exe", *words, code=code)

    def msiexec(self, *words, code=DONE):
        """The codes of Windows are larger than those of other systems: cmd sees them whole."""
        self.logs += 1
        return Step("start", "/wait", "msiexec", *words, "/qn", "/norestart", "/l*v",
                    f"C:\\log{self.logs}.txt", code=code)

    def install(self, version, *words, code=DONE):
        return self.msiexec("/i", f"C:\\packages\\velmora-{version}.msi", *words, code=code)

    def log(self, number):
        """What the installer wrote, in either of its encodings."""
        data = read(self.prefix.path(f"log{number}.txt"))
        return data.decode("utf-16" if data[:2] == b"\xff\xfe" else "utf-8", "replace")

    def batch(self, *steps):
        results = self.prefix.batch(steps)
        for step, result in zip(steps, results):
            logs = "".join("\n".join(line for line in self.log(number + 1).splitlines() if not line.startswith("Property("))[-2500:] for number in range(self.logs)
                           if os.path.exists(self.prefix.path(f"log{number + 1}.txt")))
            self.assertEqual(step.code, result.code, f"{step.words}: {result!r}\n{logs}")
        return results

    def exists(self, *names):
        return os.path.exists(self.prefix.path(*names))

    def system_file(self):
        return read(self.prefix.path("windows", "system32", "Velmora.dll"))

    def write(self, name, content):
        with open(self.prefix.path(name), "wb") as file:
            file.write(content)
        return "C:\\" + name

    def installed_versions(self):
        result, = self.prefix.batch([Step("reg", "query", UNINSTALL, "/s")])
        return [line.split()[-1] for line in result.out.splitlines() if "DisplayVersion" in line]


class Life(Packages):
    def test_from_an_empty_system_and_back(self):
        self.installed_with_everything()
        self.a_failed_upgrade_leaves_library_and_ports()
        self.upgraded_while_a_job_runs()
        self.repaired()
        self.not_downgraded()
        self.removal_is_refused_while_printers_print()
        self.removed_and_back()

    def installed_with_everything(self):
        # A share of another computer, as Wine sees one.
        share = self.prefix.path("..", "dosdevices", "unc", "server", "share")
        os.makedirs(share)
        with open(os.path.join(share, "fleet.json"), "wb") as file:
            file.write(fleet({"name": "Floor 1", "url": NOBODY}))
        _, _, ports, policy, path = self.batch(
            self.shim, self.install("0.9.0", *documented("/i Velmora-x64.msi /qn")[2:]),
            self.tool("port", "list", "-o", "names"), self.tool("policy", "list", "--json"),
            Step("reg", "query", "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\"
                 "Environment", "/v", "PATH"))
        self.assertEqual("Floor 1\n", ports.out)
        self.assertEqual({False}, {value["set"] for value in policy.json()})
        self.assertIn("Program Files\\Velmora", path.out)
        self.assertIn(b"Seiten", read(self.prefix.path("windows", "system32", "Velmora.dat")))
        self.assertEqual(older(read(options.built, "bin", "Velmora.dll")), self.system_file())
        self.assertEqual(["0.9.0"], self.installed_versions())
        self.assertFalse(self.exists("Program Files", "Velmora", "before"))

    def a_failed_upgrade_leaves_library_and_ports(self):
        """Windows brings the old program files back too; Wine's installer cannot."""
        # Only the import looks at the address itself.
        bad = self.write("bad.json", fleet({"name": "New", "url": NOBODY},
                                           {"name": "Two", "url": "ftp://nobody.example/"}))
        before, _, after = self.batch(
            export_key(KEY + "\\Ipp"), self.upgrade("1.0.0", f"FLEET={bad}", code=REFUSED),
            export_key(KEY + "\\Ipp"))
        self.assertIn("the scheme \"ftp\" is not one of", self.log(self.logs))
        self.assertEqual(before.raw, after.raw)
        self.assertEqual(older(read(options.built, "bin", "Velmora.dll")), self.system_file())
        self.assertIn(b"Seiten", read(self.prefix.path("windows", "system32", "Velmora.dat")))
        self.batch(self.install("0.9.0"))

    def upgraded_while_a_job_runs(self):
        silent = Printer(os.path.join(self.place, "silent"), "faulty_printer", "--seconds", "250",
                         "never-answers")
        self.addCleanup(silent.stop)
        page = self.write("page.ps", DOCUMENT)
        # The job's program is not the installed one: Windows' spooler is neither.
        shutil.copy(os.path.join(options.built, "bin", "velmoractl.exe"),
                    self.prefix.path("job.exe"))
        self.batch(self.tool("port", "add", "Slow", "--url", silent.url),
                   let_spooler_find(MONITOR, "Slow"))
        job = self.prefix.start(["C:\\job.exe", "print", page, "--port", "Slow"],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(peer_process.stop, job)
        silent.wait_for_request()
        before, _, after, status = self.batch(
            export_key(KEY + "\\Ipp"), self.upgrade("1.0.0", code=RESTART_WANTED),
            export_key(KEY + "\\Ipp"), self.tool("status", "--json", "--no-probe"))
        self.assertEqual(before.raw, after.raw)
        self.assertTrue(status.json()["registered"])
        self.assertEqual(read(options.built, "bin", "Velmora.dll"), self.system_file())
        self.assertIn(b"Seiten", read(self.prefix.path("windows", "system32", "Velmora.dat")))
        self.assertEqual(["1.0.0"], self.installed_versions())
        self.assertIsNone(job.poll(), "the job goes on")
        product = make_msi.code("product", "1.0.0", options.arch)
        self.batch(self.msiexec("/i", product, "REINSTALL=ALL", "REINSTALLMODE=omus",
                                "RESTARTSPOOLER=1"))
        self.assertIn("Velmora: The spooler has been restarted.", self.log(self.logs))
        silent.stop()
        job.wait(60)
        self.batch(self.tool("port", "remove", "Slow"))

    def upgrade(self, version, *words, code=DONE):
        """Wine's installer does not tell the old package that it is being replaced."""
        step = self.install(version, *words, code=code)
        step.words = ["set", "VELMORA_UPGRADING=1&", *step.words]
        return step

    def repaired(self):
        for name in (("windows", "system32", "Velmora.dll"), ("Program Files", "Velmora",
                                                              "Velmora.dll")):
            with open(self.prefix.path(*name), "r+b") as file:
                file.truncate(1000)
        product = make_msi.code("product", "1.0.0", options.arch)
        _, policy, ports = self.batch(
            self.msiexec("/i", product, *documented("REINSTALL")[2:]),
            self.tool("policy", "list", "--json"), self.tool("port", "list", "-o", "names"))
        library = read(options.built, "bin", "Velmora.dll")
        self.assertEqual(library, self.system_file())
        self.assertEqual(library, read(self.prefix.path("Program Files", "Velmora", "Velmora.dll")))
        self.assertIn(b"Seiten", read(self.prefix.path("windows", "system32", "Velmora.dat")))
        self.assertEqual({False}, {value["set"] for value in policy.json()})
        self.assertEqual("Floor 1\n", ports.out)

    def not_downgraded(self):
        self.batch(self.install("0.9.0", code=REFUSED))
        self.assertEqual(["1.0.0"], self.installed_versions())

    def removal_is_refused_while_printers_print(self):
        product = make_msi.code("product", "1.0.0", options.arch)
        queues = [self.queue(name, "Floor 1") for name in ("Accounting", "Sales")]
        self.batch(*(step for queue in queues for step in queue),
                   self.msiexec("/x", product, code=REFUSED))
        log = self.log(self.logs)
        self.assertIn('"Accounting" prints to the port "Floor 1"', log)
        self.assertIn('"Sales" prints to the port "Floor 1"', log)
        self.assertTrue(self.exists("Program Files", "Velmora", "velmoractl.exe"))
        self.assertEqual(["1.0.0"], self.installed_versions())
        # Nor while the spooler does not answer: its registration would be left without a library.
        self.batch(stop_spooler(), self.msiexec("/x", product, code=REFUSED), start_spooler())
        self.assertIn("check that the spooler is running", self.log(self.logs))
        self.assertEqual(["1.0.0"], self.installed_versions())
        printers = "HKLM\\System\\CurrentControlSet\\Control\\Print\\Printers\\"
        self.batch(*(Step("reg", "delete", printers + name, "/f")
                     for name in ("Accounting", "Sales")))

    @staticmethod
    def queue(name, port):
        key = "HKLM\\System\\CurrentControlSet\\Control\\Print\\Printers\\" + name
        values = {"Name": name, "Port": port, "Printer Driver": "Any", "Print Processor":
                  "WinPrint", "Datatype": "RAW", "Share Name": "", "Description": "",
                  "Location": "", "Parameters": "", "Separator File": ""}
        return [set_value(key, value, text) for value, text in values.items()]

    def removed_and_back(self):
        product = make_msi.code("product", "1.0.0", options.arch)
        self.assertEqual(["/x", "Velmora-x64.msi"], documented("/x "))
        before, _ = self.batch(export_key(KEY + "\\Ipp"),
                               self.msiexec("/x", "C:\\packages\\velmora-1.0.0.msi"))
        self.assertEqual([], self.installed_versions())
        self.assertFalse(self.exists("windows", "system32", "Velmora.dll"))
        self.assertFalse(self.exists("Program Files", "Velmora"))
        _, _, kept, _, _ = self.batch(
            self.shim, self.install("1.0.0"), export_key(KEY + "\\Ipp"),
            self.msiexec("/x", product, "REMOVECONFIGURATION=1"),
            Step("reg", "query", KEY + "\\Ipp", code=FAILED))
        # A computer without a policy gets one this time.
        self.assertIn(before.raw.decode("utf-16").split("\n")[2],
                      kept.raw.decode("utf-16").split("\n"))
        self.assertFalse(self.exists("windows", "system32", "Velmora.dat"))


class Refusals(Packages):
    """Nothing is changed by an installation that cannot succeed."""

    def tearDown(self):
        self.assertEqual([], self.installed_versions())
        for name in (("windows", "system32", "Velmora.dll"),
                     ("windows", "system32", "Velmora.dat"), ("Program Files", "Velmora")):
            self.assertFalse(self.exists(*name), name)

    def refused(self, *words, before=(), after=()):
        self.batch(*before, self.install("1.0.0", *words, code=REFUSED), *after)
        return self.log(self.logs)

    def test_words_that_mean_nothing(self):
        self.assertIn("there is no language xx; there are de", self.refused("LANGUAGE=xx"))
        self.assertIn("POLICY is none or standard", self.refused("POLICY=maybe"))
        self.assertIn("C:\\nowhere.json cannot be read (error 2)",
                      self.refused("FLEET=C:\\nowhere.json"))

    def test_a_spooler_that_is_stopped(self):
        overrides = "HKCU\\Software\\Wine\\AppDefaults\\msiexec.exe\\DllOverrides"
        log = self.refused(
            before=[Step("reg", "add", overrides, "/v", "localspl", "/d", "", "/f")],
            after=[Step("reg", "delete", overrides, "/v", "localspl", "/f")])
        self.assertIn("the print spooler does not answer", log)

    def test_a_full_disk(self):
        small = os.path.join(self.place, "small")
        os.mkdir(small)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "tmpfs", small], check=True)
        self.addCleanup(subprocess.run, ["umount", "-l", small], check=True)
        os.symlink(small, self.prefix.path("..", "dosdevices", "s:"))
        log = self.refused("INSTALLDIR=S:\\Velmora\\")
        self.assertRegex(log, r"the drive of S: has \d+ KiB free; \d+ KiB are needed")
        self.assertEqual([], os.listdir(small))

    def test_a_fleet_file_with_an_error(self):
        bad = self.write("bad.json", fleet({"name": "One", "url": NOBODY},
                                           {"name": "Two", "uri": NOBODY}))
        log = self.refused(f"FLEET={bad}", before=[self.shim])
        self.assertIn(f"Velmora: the file {bad}: port 2 has the unknown key \"uri\"", log)
        # It was refused before the monitor was set up: what it would have replaced is untouched.
        self.assertNotIn("velmoractl import", log)
        key, _ = self.batch(Step("reg", "query", MONITORS + MONITOR),
                            Step("reg", "delete", MONITORS + MONITOR, "/f"))
        self.assertIn("shim", key.out)

    def test_a_fleet_file_that_cannot_be_imported(self):
        bad = self.write("worse.json", fleet({"name": "One", "url": NOBODY},
                                             {"name": "Two", "url": "ftp://nobody.example/"}))
        log = self.refused(f"FLEET={bad}", before=[self.shim])
        self.assertIn("the scheme \"ftp\" is not one of", log)
        key, = self.batch(Step("reg", "query", MONITORS + MONITOR, code=FAILED))
        self.assertNotIn("shim", key.out)


if __name__ == "__main__":
    run_tests(__doc__, "msi-")
