"""Makes the packages for Windows Installer: installer/velmora.wxs with the files of the download,
through wixl, and then with msibuild what wixl cannot say. The same files give the same bytes."""

import hashlib
import os
import subprocess
import tempfile
import time
import uuid
from xml.sax.saxutils import quoteattr

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# Our namespace for the codes that are made from names.
NAMESPACE = uuid.UUID("c2a9a0f4-30f5-4f0c-9f33-9a3bb1d2a8f0")
PROPERTIES = ("LANGUAGE", "POLICY", "RESTARTSPOOLER", "FLEET", "REMOVECONFIGURATION")
# The files whose versions Windows compares; all others have none.
VERSIONED = ("velmoractl.exe", "Velmora.dll")
# In the list of installed programs.
ICON = ("velmoractl", "velmora.ico")
# Sequences that wixl sets otherwise, whatever is written. An upgrade removes the old files within
# the transaction, before the new ones come.
SEQUENCES = (("RemoveExistingProducts", 1550),)
# Actions whose types wixl writes with a bit that only those of the system's half may have.
IMMEDIATE = {"CheckInstall": 0x1, "CheckUninstall": 0x1, "RestartWanted": 0x1 + 0x40,
             "SetInstall": 0x33, "SetUninstall": 0x33, "SetUndoUninstall": 0x33}
# In the script of the transaction, run only to undo it, as the system, from the Binary table.
ROLLBACK_DLL = 0x1 + 0x100 + 0x400 + 0x800
# A shared component keeps its code as long as its files have their places.
PATH_ROW = ("Environment\tName\tValue\tComponent_\r\ns72\tl255\tL255\ts72\r\n"
            "Environment\tEnvironment\r\nPath\t=-*PATH\t[~];[INSTALLDIR]\t{component}\r\n")
PATH_ACTIONS = (("WriteEnvironmentStrings", 5200), ("RemoveEnvironmentStrings", 3300))


class Failure(Exception):
    """A message for the user."""


def code(*words):
    return "{" + str(uuid.uuid5(NAMESPACE, " ".join(words))).upper() + "}"


def run(*words, **options):
    """wixl and msibuild take times of the local zone."""
    process = subprocess.run(words, env=dict(os.environ, TZ="UTC", LC_ALL="C"), check=False,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
    if process.returncode != 0:
        raise Failure(f"{words[0]} failed:\n{process.stderr.decode('utf-8', 'replace')}")
    return process.stdout


def identifier(name):
    """Of a file or folder in the package's tables."""
    return "F" + hashlib.sha256(name.encode()).hexdigest()[:30]


def tree(names):
    """{folder: {...}, file: None} of paths with slashes."""
    top = {}
    for name in sorted(names):
        *folders, file = name.split("/")
        place = top
        for folder in folders:
            place = place.setdefault(folder, {})
        place[file] = None
    return top


def component_of(folder):
    return identifier("component of " + folder)


def xml_of(level, path, win64, components):
    """A component for the files of a folder, and the folders in it."""
    lines = []
    files = [name for name, below in level.items() if below is None]
    if files:
        name = component_of(path)
        components.append(name)
        lines.append(f'<Component Id="{name}" Win64="{win64}" Guid="*">')
        # The first file is the component's key path: a damaged tool is repaired.
        files.sort(key=lambda file: (file != VERSIONED[0], file))
        for index, file in enumerate(files):
            key = ' KeyPath="yes"' if index == 0 else ""
            lines.append(f'<File Id="{identifier(path + file)}" Name={quoteattr(file)} '
                         f'Source={quoteattr("$(var.Payload)/files/" + path + file)}{key}/>')
        lines.append("</Component>")
    for folder, below in level.items():
        if below is not None:
            lines.append(f'<Directory Id="{identifier(path + folder)}" Name={quoteattr(folder)}>')
            lines += xml_of(below, path + folder + "/", win64, components)
            lines.append("</Directory>")
    return lines


def query(package, text):
    run("msibuild", package, "-q", text)


def add_table(package, place, name, text):
    path = os.path.join(place, name + ".idt")
    with open(path, "w", encoding="ascii", newline="") as file:
        file.write(text)
    run("msibuild", package, "-i", path)


def complete(package, place, version):
    for action, number in SEQUENCES:
        query(package, f"UPDATE `InstallExecuteSequence` SET `Sequence`={number} "
                       f"WHERE `Action`='{action}'")
    for action, number in (*IMMEDIATE.items(), ("UndoUninstall", ROLLBACK_DLL)):
        query(package, f"UPDATE `CustomAction` SET `Type`={number} WHERE `Action`='{action}'")
    # Properties that reach the half of the installer that runs as the system.
    secure = ";".join(("WIX_DOWNGRADE_DETECTED", "WIX_UPGRADE_DETECTED", *PROPERTIES))
    query(package, f"UPDATE `Property` SET `Value`='{secure}' "
                   "WHERE `Property`='SecureCustomProperties'")
    for name in VERSIONED:
        query(package, f"UPDATE `File` SET `Version`='{version}.0', `Language`='1033' "
                       f"WHERE `File`='{identifier(name)}'")
    add_table(package, place, "Environment", PATH_ROW.format(component=component_of("")))
    for action, number in PATH_ACTIONS:
        query(package, "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) "
                       f"VALUES ('{action}', {number})")


def set_summary(package, place, package_code, epoch):
    """wixl writes a random code and the time of day."""
    moment = time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(epoch))
    rows = run("msiinfo", "export", package, "_SummaryInformation").decode("utf-8")
    lines = []
    for line in rows.replace("\r\n", "\n").rstrip("\n").split("\n"):
        number = line.split("\t")[0]
        value = {"9": package_code, "12": moment, "13": moment}.get(number)
        lines.append(line if value is None else f"{number}\t{value}")
    add_table(package, place, "_SummaryInformation", "".join(line + "\r\n" for line in lines))


def write(path, data, epoch):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(data)
    os.utime(path, (epoch, epoch))


def make(path, arch, version, files, actions, languages, first_page, epoch):
    """Writes the package. `files`: {name in the program's folder: bytes}; `actions`: bytes of
    velmora_setup.dll; `languages`: their codes; `first_page`: of the documentation, among the
    files; `epoch`: seconds, the time of everything in it."""
    win64 = "yes" if arch == "x64" else "no"
    components = []
    digest = hashlib.sha256()
    with tempfile.TemporaryDirectory() as place:
        for name, data in files.items():
            write(os.path.join(place, "files", name), data, epoch)
            digest.update(f"{name} {len(data)} ".encode() + data)
        write(os.path.join(place, "velmora_setup.dll"), actions, epoch)
        digest.update(actions)
        with open(os.path.join(ROOT, *ICON), "rb") as file:
            icon = file.read()
        write(os.path.join(place, ICON[-1]), icon, epoch)
        digest.update(icon)
        with open(os.path.join(ROOT, "installer", "velmora.wxs"), encoding="utf-8") as file:
            source = file.read()
        digest.update(source.encode())
        xml = xml_of(tree(files), "", win64, components)
        source = source.replace("<!-- FILES -->", "\n    ".join(xml))
        source = source.replace("<!-- COMPONENTS -->", "\n  ".join(
            f'<ComponentRef Id="{name}"/>' for name in components))
        wxs = os.path.join(place, "velmora.wxs")
        with open(wxs, "w", encoding="utf-8") as file:
            file.write(source)
        product = code("product", version, arch)
        # Room for the files, for the copies in the system directory and for the old ones.
        room = 2 * sum(len(data) for data in files.values())
        package = os.path.join(place, "out.msi")
        values = {"Arch": arch, "Win64": win64, "Version": version, "ProductCode": product,
                  "ProgramFiles": "ProgramFiles64Folder" if arch == "x64" else "ProgramFilesFolder",
                  "Payload": ".", "Bytes": str(room), "Languages": ",".join(languages),
                  "MenuGuid": code("menu", arch), "FirstPage": first_page.replace("/", "\\")}
        run("wixl", "-a", arch, *(word for name, value in values.items()
                                  for word in ("-D", f"{name}={value}")), "-o", package, wxs, cwd=place)
        complete(package, place, version)
        set_summary(package, place, code("package", version, arch, digest.hexdigest()), epoch)
        with open(package, "rb") as file:
            data = file.read()
    with open(path, "wb") as file:
        file.write(data)
