#!/usr/bin/env python3
"""test_packages.py [--build BUILD] [--cycles N]: packs a build twice and tries the packages on a testbed PC.

Needs Wine, the built program and testbed. Ends with 0 when every check held, else prints the first that did not.
"""

import argparse
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
WINE = "/usr/lib/wine/wine64"
BED = "packages"
SERVICE_KEY = r"HKLM\System\CurrentControlSet\Services\HotKeyServiceTLY"
UNINSTALL_KEY = r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall"
PROGRAM_FOLDER = "Program Files/Quil/HotKeyService"
# The Unix exit code is the Windows code modulo 256.
REFUSED = 1603 % 256
# What may be left behind: logs, Windows Installer's own empty containers (but nothing in them), and what Wine notes of
# its display while a program has a window.
FORGIVEN_FILES = re.compile(r"/quilLog/|/testbed/|^/windows/Installer/$")
FORGIVEN_KEYS = re.compile(
    r"\\Software\\(Classes|Microsoft\\Windows\\CurrentVersion)\\Installer"
    r"(\\(UserData|S-1-5-18|Products|Features|UpgradeCodes|Components))*$"
    r"|\\CurrentControlSet\\Control\\(Video|DeviceClasses)(\\|$)"
    r"|\\CurrentControlSet\\Hardware Profiles\\|\\DEVICEMAP\\VIDEO$"
    r"|\\Software\\Wine\\Temporary System Parameters\\")


class Failed(Exception):
    pass


def check(condition, text):
    if not condition:
        raise Failed(text)


def equal(expected, found, text):
    check(expected == found, f"{text}: expected {expected!r}, found {found!r}")


def say(text):
    print(text, flush=True)


class Pc:
    """A testbed PC of its own, from which the laid-out program is taken away again: the packages bring it."""

    def __init__(self):
        subprocess.run([ROOT / "testbed/prefix.sh", "down", BED], check=True)
        shutil.rmtree(ROOT / "build/testbed" / BED, ignore_errors=True)
        subprocess.run([ROOT / "testbed/prefix.sh", "up", BED], check=True, stdout=subprocess.DEVNULL)
        self.prefix = ROOT / "build/testbed" / BED / "prefix"
        self.drive = self.prefix / "drive_c"
        self.environment = {key: value for key, value in os.environ.items() if "DISPLAY" not in key}
        self.environment.update(WINEPREFIX=str(self.prefix), WINEDEBUG="-all", HOME=str(self.prefix.parent / "home"),
                                WINEDLLOVERRIDES="winemenubuilder.exe=d")
        (self.drive / PROGRAM_FOLDER / "HotKeyServiceTLY.exe").unlink()

    def close(self):
        subprocess.run([ROOT / "testbed/prefix.sh", "down", BED], check=True)

    def run(self, *command):
        """Exit code and output of a Windows program."""
        result = subprocess.run([WINE, *map(str, command)], env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=300)
        return result.returncode, result.stdout.decode("utf-8", "replace").replace("\r\n", "\n")

    def msiexec(self, option, package, *properties, expected=0):
        code, _ = self.run("msiexec", option, "Z:" + package.replace("/", "\\"), *properties, "/qn")
        equal(expected, code, f"msiexec {option} {pathlib.Path(package).name}")

    def values(self, key):
        """Names and data of a registry key's values; None when there is no such key."""
        code, text = self.run("reg", "query", key)
        if code != 0:
            return None
        rows = (line.strip().split("    ", 2) for line in text.splitlines() if line.startswith("    "))
        return {row[0]: row[2] if len(row) > 2 else "" for row in rows}

    def products(self):
        """Product code to version of the installed versions of the service."""
        _, text = self.run("reg", "query", UNINSTALL_KEY)
        found = {}
        for line in text.splitlines():
            if line.endswith("}"):
                values = self.values(line)
                if values.get("DisplayName") == "Quil TLY Service":
                    found[line.rsplit("\\", 1)[1]] = values["DisplayVersion"]
        return found

    def state(self):
        _, text = self.run("sc", "query", "HotKeyServiceTLY")
        return next((line.split()[-1] for line in text.splitlines() if "STATE" in line), "missing")

    def await_state(self, wanted):
        deadline = time.monotonic() + 30
        while (found := self.state()) != wanted and time.monotonic() < deadline:
            time.sleep(0.05)
        equal(wanted, found, "state of the service")

    def files(self):
        names = (path.relative_to(self.drive).as_posix() + ("/" if path.is_dir() else "")
                 for path in self.drive.rglob("*"))
        return {name for name in names if not FORGIVEN_FILES.search("/" + name)}

    def keys(self):
        """All registry keys of the machine and the user."""
        found = set()
        for hive in ("HKLM", "HKCU"):
            target = self.drive / "testbed" / f"{hive}.reg"
            self.run("reg", "export", hive, f"C:\\testbed\\{hive}.reg", "/y")
            text = target.read_bytes().decode("utf-16")
            found |= {line[1:-1] for line in text.splitlines() if line.startswith("[")}
            target.unlink()
        return {key for key in found if not FORGIVEN_KEYS.search(key)}


def pack(build, out, zone):
    environment = dict(os.environ, TZ=zone)
    subprocess.run([ROOT / "packaging/package.sh", build, out], check=True, env=environment, stdout=subprocess.DEVNULL)


def tree(folder):
    return {path.relative_to(folder).as_posix(): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def test_packages_of_one_build_are_the_same_bytes(build, work):
    pack(build, work / "first", "Asia/Tokyo")
    pack(build, work / "second", "America/New_York")
    first, second = tree(work / "first"), tree(work / "second")
    equal(sorted(first), sorted(second), "packages of the two packagings")
    for name in first:
        check(first[name] == second[name], f"two packagings of one build differ in {name}")
    sums = dict(reversed(line.split("  ")) for line in first["SHA256SUMS"].decode().splitlines())
    equal({name: sha256(data) for name, data in first.items() if name != "SHA256SUMS"}, sums, "check sums")
    return first


def test_packages_hold_the_tested_bytes(build, work, packages):
    name = next(name for name in packages if name.endswith("-x64.zip"))
    with zipfile.ZipFile(work / "first" / name) as archive:
        shipped = {entry.split("/", 1)[1]: archive.read(entry) for entry in archive.namelist()}
    for program in ("HotKeyServiceTLY.exe", "hotkeyctl.exe"):
        check(shipped[program] == (build / "bin" / program).read_bytes(), f"the zip's {program} is not the tested one")

    stem = name[:-len(".zip")]
    subprocess.run(["msiextract", "-C", work / "extracted", work / "first" / f"{stem}.msi"], check=True,
                   stdout=subprocess.DEVNULL)
    installed = {key.split("HotKeyService/", 1)[1]: data for key, data in tree(work / "extracted").items()}
    check(installed == shipped, "zip and installer hold different files")

    sums = {key: sha256(data) for key, data in shipped.items()}
    spdx = json.loads(packages[f"{stem}.spdx.json"])
    listed = {entry["fileName"][2:]: {c["algorithm"]: c["checksumValue"] for c in entry["checksums"]}["SHA256"]
              for entry in spdx["files"]}
    equal(sums, listed, "files of the SPDX bill")
    cyclonedx = json.loads(packages[f"{stem}.cdx.json"])
    listed = {part["name"]: {h["alg"]: h["content"] for h in part["hashes"]}["SHA-256"]
              for part in cyclonedx["components"] if part["type"] == "file"}
    equal(sums, listed, "files of the CycloneDX bill")
    manifest = packages["winget/Quil.HotKeyService.installer.yaml"].decode()
    check(sha256(packages[f"{stem}.msi"]).upper() in manifest, "the winget manifest names another installer")
    return work / "first" / f"{stem}.msi", shipped


def later_versions(work, shipped, version):
    """Installers of the next version, and of this version with one other file."""
    def installer(name, files, number):
        stage = work / f"stage-{name}"
        for key, data in files.items():
            (stage / key).parent.mkdir(parents=True, exist_ok=True)
            (stage / key).write_bytes(data)
        subprocess.run([ROOT / "packaging/make_msi.py", stage, number, "1700000000", work / f"{name}.msi"], check=True)
        return str(work / f"{name}.msi")

    major, minor, patch, _ = version.split(".")
    rebuilt = dict(shipped)
    rebuilt["policy/QuilTLYService.admx"] += b"\n"
    return installer("next", shipped, f"{major}.{minor}.{int(patch) + 1}.0"), installer("rebuilt", rebuilt, version)


def check_installed(pc, shipped, version):
    pc.await_state("RUNNING")
    equal([version], list(pc.products().values()), "installed versions")
    for name, data in shipped.items():
        check((pc.drive / PROGRAM_FOLDER / name).read_bytes() == data, f"the installed {name} is not the shipped one")
    check((pc.drive / "Quil/support").is_dir(), "there is no folder for the build file")


def test_registration_is_the_one_of_the_program(pc, build, package):
    program = pc.drive / PROGRAM_FOLDER / "HotKeyServiceTLY.exe"
    shutil.copy(build / "bin/HotKeyServiceTLY.exe", program)
    windows_path = "C:\\" + PROGRAM_FOLDER.replace("/", "\\") + "\\HotKeyServiceTLY.exe"
    pc.run(windows_path, "-install")
    own = pc.values(SERVICE_KEY)
    pc.run(windows_path, "-remove")
    program.unlink()
    equal({"DisplayName": "Quil TLY Service", "Description": "Quil Tessaly Service", "ImagePath": f'"{windows_path}"',
           "ObjectName": "LocalSystem", "ErrorControl": "0x1", "Start": "0x2", "Type": "0x110"},
          {key: value for key, value in own.items() if key != "PreshutdownTimeout"}, "registration by -install")

    pc.msiexec("/i", package)
    equal({**own, "PreshutdownTimeout": hex(60000)}, pc.values(SERVICE_KEY), "registration by the installer")


def test_life_of_an_installation(pc, package, shipped, version, following, rebuilt):
    check_installed(pc, shipped, version)

    (pc.drive / PROGRAM_FOLDER / "policy/QuilTLYService.admx").unlink()
    pc.run("sc", "stop", "HotKeyServiceTLY")
    # What "msiexec /fa" does; Wine's does nothing.
    pc.msiexec("/i", package, "REINSTALL=ALL", "REINSTALLMODE=amus")
    check_installed(pc, shipped, version)
    say("repaired")

    changed = dict(shipped)
    changed["policy/QuilTLYService.admx"] += b"\n"
    pc.msiexec("/i", rebuilt)
    check_installed(pc, changed, version)
    say("replaced by a rebuilt package of the same version")

    pc.msiexec("/i", following)
    newer = next(iter(pc.products().values()))
    check(newer != version, "the next version did not replace this one")
    check_installed(pc, shipped, newer)
    equal(hex(60000), pc.values(SERVICE_KEY)["PreshutdownTimeout"], "pre-shutdown time-out after the upgrade")
    say(f"upgraded to {newer}")

    pc.msiexec("/i", package, expected=REFUSED)
    check_installed(pc, shipped, newer)
    say("an older version is refused")

    pc.msiexec("/x", following)


def check_gone(pc, files, keys):
    equal("missing", pc.state(), "state of the service")
    equal(set(), pc.files() - files, "files left behind")
    equal(set(), pc.keys() - keys, "registry keys left behind")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/mingw")
    parser.add_argument("--cycles", type=int, default=20)
    options = parser.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        packages = test_packages_of_one_build_are_the_same_bytes(options.build, work)
        say("two packagings give the same bytes")
        installer, shipped = test_packages_hold_the_tested_bytes(options.build, work, packages)
        say("zip, installer and bills hold the tested bytes")
        version = installer.name.split("-")[1]
        package = str(installer)
        following, rebuilt = later_versions(work, shipped, version)

        pc = Pc()
        try:
            files, keys = pc.files(), pc.keys()
            test_registration_is_the_one_of_the_program(pc, options.build, package)
            say("the installer registers the service as the program does")
            test_life_of_an_installation(pc, package, shipped, version, following, rebuilt)
            check_gone(pc, files, keys)
            say("removed, nothing left but logs")
            for _ in range(options.cycles):
                pc.msiexec("/i", package)
                pc.await_state("RUNNING")
                pc.msiexec("/x", package)
                equal("missing", pc.state(), "state of the service")
            check_gone(pc, files, keys)
            say(f"{options.cycles} times installed and removed, nothing left but logs")
        finally:
            pc.close()


if __name__ == "__main__":
    try:
        main()
    except Failed as failure:
        raise SystemExit(f"test_packages.py: {failure}") from None
