#!/usr/bin/env python3
"""winget_manifest.py MSI VERSION EPOCH DOWNLOAD OUT: the three files of a winget manifest for the installer."""

import pathlib
import subprocess
import sys
import time

import common

IDENTIFIER = "Quil.HotKeyService"
SCHEMA = "1.6.0"


def manifest(kind, lines):
    head = f"# yaml-language-server: $schema=https://aka.ms/winget-manifest.{kind}.{SCHEMA}.schema.json"
    return "\n".join([head, "", *lines, f"ManifestType: {kind}", f"ManifestVersion: {SCHEMA}", ""])


def main():
    msi, version, epoch = pathlib.Path(sys.argv[1]), sys.argv[2], int(sys.argv[3])
    download, out = sys.argv[4].rstrip("/"), pathlib.Path(sys.argv[5])
    table = subprocess.run(["msiinfo", "export", msi, "Property"], check=True, stdout=subprocess.PIPE, text=True).stdout
    product_code = next(line.split("\t")[1] for line in table.splitlines() if line.startswith("ProductCode\t"))
    identity = [f"PackageIdentifier: {IDENTIFIER}", f"PackageVersion: {version}"]

    files = {
        f"{IDENTIFIER}.yaml": manifest("version", [*identity, "DefaultLocale: en-US"]),
        f"{IDENTIFIER}.installer.yaml": manifest("installer", [
            *identity,
            "Platform:", "- Windows.Desktop", "MinimumOSVersion: 10.0.0.0", "InstallerType: msi", "Scope: machine",
            "UpgradeBehavior: install", "ElevationRequirement: elevationRequired",
            f"ReleaseDate: {time.strftime('%Y-%m-%d', time.gmtime(epoch))}",
            "Installers:", "- Architecture: x64", f"  InstallerUrl: {download}/{msi.name}",
            f"  InstallerSha256: {common.digest(msi).upper()}", f"  ProductCode: '{product_code}'",
            "  AppsAndFeaturesEntries:", f"  - ProductCode: '{product_code}'",
            f"    UpgradeCode: '{{{common.UPGRADE_CODE}}}'", "    InstallerType: msi"]),
        f"{IDENTIFIER}.locale.en-US.yaml": manifest("defaultLocale", [
            *identity, "PackageLocale: en-US", "Publisher: Quil", "PackageName: Quil TLY Service",
            "License: Proprietary",
            "ShortDescription: The privileged half of the keyboard hotkeys of the maker's business PCs."]),
    }
    out.mkdir(parents=True, exist_ok=True)
    for name, text in files.items():
        (out / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
