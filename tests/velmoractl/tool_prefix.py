"""A Wine prefix with the files of a download in it, and the administration tool run there."""

import glob
import json
import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "peers"))
import peer_process  # noqa: E402

DOWNLOAD = "C:\\download"
MONITORS = "HKLM\\System\\CurrentControlSet\\Control\\Print\\Monitors\\"
TIMEOUT = 120


class Result:
    def __init__(self, code, out, err):
        self.code = code
        self.out = out.decode("utf-8", "replace").replace("\r\n", "\n")
        self.err = err.decode("utf-8", "replace").replace("\r\n", "\n")

    def json(self):
        return json.loads(self.out)

    def __repr__(self):
        return f"exit code {self.code}\n--- out\n{self.out}--- err\n{self.err}"


class ToolPrefix:
    def __init__(self, arch, build_directory, directory):
        self.arch = arch
        self.build = build_directory
        self.prefix = os.path.join(directory, "prefix")
        self.wine("cmd", "/c", "exit", prefix=None)  # makes the template
        template = os.path.join(self.build, "wine", "template-null")
        # Hard links share the files of Windows; the registry is private.
        subprocess.run(["cp", "-al", template, self.prefix], check=True)
        for name in glob.glob(os.path.join(self.prefix, "*.reg")):
            os.remove(name)
        for name in glob.glob(os.path.join(template, "*.reg")):
            shutil.copy2(name, self.prefix)
        self.fill_download()

    def path(self, *names):
        """The host's path of a file on drive C."""
        return os.path.join(self.prefix, "drive_c", *names)

    def fill_download(self):
        os.makedirs(self.path("download", "languages"))
        languages = os.path.join(ROOT, "ui", "languages")
        for name in ("velmoractl.exe", "Velmora.dll"):
            shutil.copy(os.path.join(self.build, "bin", name), self.path("download"))
        shutil.copy(os.path.join(languages, "Velmora.dat"), self.path("download"))
        for name in os.listdir(languages):
            shutil.copy(os.path.join(languages, name), self.path("download", "languages"))

    def wine(self, *words, prefix="", stdin=b""):
        environment = dict(os.environ, VELMORA_WINE_TIMEOUT=str(TIMEOUT), LC_ALL="C.UTF-8")
        if prefix is not None:
            environment["VELMORA_WINE_PREFIX"] = self.prefix
        process = subprocess.run(
            [os.path.join(ROOT, "tools", "wine-run"), self.arch,
             os.path.join(self.build, "wine"), *words],
            env=environment, input=stdin, capture_output=True, timeout=TIMEOUT + 30, check=False)
        return Result(process.returncode, process.stdout, process.stderr)

    def tool(self, *words, stdin=b""):
        return self.wine(DOWNLOAD + "\\velmoractl.exe", *words, stdin=stdin)

    def tool_batch(self, commands):
        """The tool once for each list of words, started by one batch file: most of a short run is
        the start of Wine."""
        place = self.path("batch")
        shutil.rmtree(place, ignore_errors=True)
        os.makedirs(place)
        lines = ["@echo off"]
        for index, words in enumerate(commands):
            command = subprocess.list2cmdline([DOWNLOAD + "\\velmoractl.exe", *words])
            lines += [f"{command} >C:\\batch\\{index}.out 2>C:\\batch\\{index}.err <NUL",
                      f"echo %errorlevel% >C:\\batch\\{index}.code"]
        with open(self.path("batch", "run.bat"), "w", encoding="ascii", newline="\r\n") as file:
            file.write("\n".join(lines) + "\n")
        batch = self.wine("cmd", "/c", "C:\\batch\\run.bat")
        results = []
        for index in range(len(commands)):
            parts = []
            for end in ("code", "out", "err"):
                name = os.path.join(place, f"{index}.{end}")
                assert os.path.exists(name), (commands[index], batch)
                with open(name, "rb") as file:
                    parts.append(file.read())
            results.append(Result(int(parts[0]), *parts[1:]))
        return results

    def use_shim(self, monitor):
        """Wine's spooler has no working Xcv channel without it (tests/support/xcv_shim)."""
        shutil.copy(os.path.join(self.build, "bin", "velmora_shim.dll"),
                    self.path("windows", "system32"))
        self.set_value(MONITORS + monitor, "Driver", "velmora_shim.dll")

    def let_spooler_find(self, monitor, port):
        """Wine's spooler finds a port's monitor by this key; Windows' asks the monitors."""
        result = self.wine("reg", "add", MONITORS + monitor + "\\Ports\\" + port, "/f")
        assert result.code == 0, result

    def set_value(self, key, name, text):
        result = self.wine("reg", "add", key, "/v", name, "/d", text, "/f")
        assert result.code == 0, result

    def exported_key(self, key):
        """All values below a key, as the registry tool writes them; empty when there is none."""
        file = self.path("export.reg")
        if os.path.exists(file):
            os.remove(file)
        self.wine("reg", "export", key, "C:\\export.reg", "/y")
        if not os.path.exists(file):
            return b""
        with open(file, "rb") as stream:
            return stream.read()

    def stop(self):
        subprocess.run(["wineserver", "-k"], env=dict(os.environ, WINEPREFIX=self.prefix),
                       stderr=subprocess.DEVNULL, timeout=30, check=False)


class Printer:
    """One of the peers on loopback; without a name a real IPP printer."""

    def __init__(self, directory, peer="ippeve_printer", *arguments):
        self.directory = directory
        os.makedirs(directory)
        self.process = peer_process.start(
            [sys.executable, os.path.join(ROOT, "tests", "peers", peer + ".py"),
             "--directory", directory, *arguments],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().strip()

    def documents(self):
        names = sorted(name for name in glob.glob(os.path.join(self.directory, "[0-9]*-*"))
                       if not name.endswith(".prn"))
        contents = []
        for name in names:
            with open(name, "rb") as file:
                contents.append(file.read())
        return contents

    def stop(self):
        peer_process.stop(self.process)
        self.process.stdout.close()
