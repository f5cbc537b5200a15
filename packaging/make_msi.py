#!/usr/bin/env python3
"""make_msi.py STAGE VERSION EPOCH OUT: the installer of the files of STAGE.

wixl turns HotKeyService.wxs into a database. Its tables are then exported, completed with what wixl cannot express,
sorted and built anew, because wixl writes rows and strings in an order that changes from run to run, a random package
code and the time of day.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import time

import common

# Administrators and the system own and change the folder, users read it, and nothing is inherited from the drive's
# root, where every user may create folders.
FOLDER_RIGHTS = "O:BAG:SYD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)"


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE, **options).stdout


class Table:
    """One table of an installer database in the text form that msiinfo exports and msibuild imports."""

    def __init__(self, columns, types, keys, rows=()):
        self.columns, self.types, self.keys, self.rows = columns, types, keys, [list(row) for row in rows]

    @classmethod
    def parse(cls, text):
        columns, types, keys, *rows = text.split("\r\n")
        return cls(columns.split("\t"), types.split("\t"), keys, [row.split("\t") for row in rows if row])

    def set(self, key, column, value):
        """Changes one cell of the row whose first cell is key; a missing row is an error of the caller."""
        row = next(row for row in self.rows if row[0] == key)
        row[self.columns.index(column)] = value

    def text(self):
        rows = ["\t".join(row) for row in self.rows]
        return "\r\n".join(["\t".join(self.columns), "\t".join(self.types), self.keys, *sorted(rows)]) + "\r\n"


def complete(tables, stage):
    """Adds to wixl's tables what it has no words for."""
    # Services are made with an image path and a pre-shutdown time-out of their own: the values go on top of them.
    tables["InstallExecuteSequence"].set("WriteRegistryValues", "Sequence", "5850")
    tables["InstallExecuteSequence"].set("FindSystemDrive", "Sequence", "950")

    # The process outlives its report that it has stopped by up to 1.2 s, while it writes its last log records, and its
    # file is in use as long. Type 34: a command line; 64: its result does not matter; 3072: run by the system, in turn.
    tables["CustomAction"].rows.append(["AwaitProcessEnd", str(34 + 64 + 3072), "System64Folder",
                                        '"[System64Folder]ping.exe" -n 3 127.0.0.1', ""])
    tables["InstallExecuteSequence"].rows.append(["AwaitProcessEnd", "Installed", "1950"])

    upgrade = tables["Upgrade"]
    older = next(row for row in upgrade.rows if row[upgrade.columns.index("ActionProperty")] == "OLDERVERSION")
    older[upgrade.columns.index("Attributes")] = str(0x100 | 0x200)  # both ends of the range belong to it

    # Programs are replaced by version, not by the date of the file on the disk; a versioned file has no hash.
    hashes = tables["MsiFileHash"]
    for key, name in (("Program", "HotKeyServiceTLY.exe"), ("Client", "hotkeyctl.exe")):
        version = common.file_version(stage / name)
        if version:
            tables["File"].set(key, "Version", version)
            tables["File"].set(key, "Language", "1033")
            hashes.rows = [row for row in hashes.rows if row[0] != key]

    tables["MsiLockPermissionsEx"] = Table(
        ["MsiLockPermissionsEx", "LockObject", "Table", "SDDLText", "Condition"], ["s72", "s72", "s32", "s0", "S255"],
        "MsiLockPermissionsEx\tMsiLockPermissionsEx",
        [[name, name, "CreateFolder", FOLDER_RIGHTS, ""] for name in ("BuildFileParentFolder", "BuildFileFolder")])


def summary(package_code, epoch):
    when = time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(epoch))
    rows = [(1, "1252"), (2, "Installation Database"), (3, "Quil TLY Service"), (4, "Quil"), (5, "Installer"),
            (6, "Installs, upgrades and removes the service HotKeyServiceTLY."), (7, "x64;1033"),
            (9, "{" + package_code + "}"), (12, when), (13, when), (14, "500"), (15, "2"), (18, "msitools"), (19, "2")]
    return Table(["PropertyId", "Value"], ["i2", "l255"], "_SummaryInformation\tPropertyId",
                 [(str(number), value) for number, value in rows])


def main():
    stage, version, epoch, out = pathlib.Path(sys.argv[1]), sys.argv[2], int(sys.argv[3]), pathlib.Path(sys.argv[4])
    source = pathlib.Path(__file__).resolve().with_name("HotKeyService.wxs")
    contents = common.content_id(stage)
    product_code = common.derived_uuid("product", version, contents)

    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        # The cabinet keeps the files' times, in the time zone of the packager.
        environment = dict(os.environ, TZ="UTC")
        for path in common.files_of(stage):
            os.utime(path, (epoch, epoch))
        run("wixl", "-a", "x64", "-o", work / "wixl.msi", "-D", f"Version={version}",
            "-D", f"ProductCode={product_code}", "-D", f"UpgradeCode={common.UPGRADE_CODE}", source,
            env=environment, cwd=stage)

        tables = {}
        for name in run("msiinfo", "tables", work / "wixl.msi", text=True).split():
            if not name.startswith("_"):
                exported = run("msiinfo", "export", work / "wixl.msi", name).decode("utf-8")
                tables[name] = Table.parse(exported)
        (work / "files.cab").write_bytes(run("msiinfo", "extract", work / "wixl.msi", "files.cab"))
        complete(tables, stage)

        # The package code must differ whenever the database does.
        package_code = common.derived_uuid("package", contents, *(tables[name].text() for name in sorted(tables)))
        tables["_SummaryInformation"] = summary(package_code, epoch)

        out.unlink(missing_ok=True)
        command = ["msibuild", out]
        for name in sorted(tables):
            (work / f"{name}.idt").write_bytes(tables[name].text().encode("utf-8"))
            command += ["-i", work / f"{name}.idt"]
        run(*command, "-a", "files.cab", work / "files.cab", env=environment)


if __name__ == "__main__":
    main()
