"""The manifest with which winget installs the packages: three YAML files of schema 1.6.0.
https://learn.microsoft.com/windows/package-manager/package/manifest"""

import hashlib
import time

import make_msi

IDENTIFIER = "Velmora.Velmora"
SCHEMA = "1.6.0"


def head(kind, version):
    return (f"# yaml-language-server: $schema=https://aka.ms/winget-manifest.{kind}.{SCHEMA}"
            f".schema.json\nPackageIdentifier: {IDENTIFIER}\nPackageVersion: {version}\n")


def foot(kind):
    return f"ManifestType: {kind}\nManifestVersion: {SCHEMA}\n"


def files(version, epoch, url, packages):
    """{file name: bytes}. `packages`: {architecture: bytes of the package}; `url`: their folder."""
    installers = "".join(
        f"- Architecture: {arch}\n"
        f"  InstallerUrl: {url}/Velmora-{arch}.msi\n"
        f"  InstallerSha256: {hashlib.sha256(data).hexdigest().upper()}\n"
        f"  ProductCode: '{make_msi.code('product', version, arch)}'\n"
        for arch, data in sorted(packages.items()))
    texts = {
        "": head("version", version) + "DefaultLocale: en-US\n" + foot("version"),
        ".installer": head("installer", version) +
                      "InstallerType: wix\nScope: machine\nUpgradeBehavior: install\n"
                      "ElevationRequirement: elevationRequired\n"
                      # Done; the spooler wants a restart.
                      "InstallerSuccessCodes:\n- 3010\n"
                      f"ReleaseDate: {time.strftime('%Y-%m-%d', time.gmtime(epoch))}\n"
                      f"Installers:\n{installers}" + foot("installer"),
        ".locale.en-US": head("defaultLocale", version) +
                         "PackageLocale: en-US\nPublisher: Velmora\nPackageName: Velmora\n"
                         "License: MIT\n"
                         "ShortDescription: IPP port monitor for the Windows print spooler\n" +
                         foot("defaultLocale"),
    }
    return {f"{IDENTIFIER}{name}.yaml": text.encode("ascii") for name, text in texts.items()}
