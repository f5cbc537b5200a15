#!/usr/bin/env python3
"""bill_of_materials.py STAGE VERSION EPOCH COMMIT OUT: writes OUT.spdx.json and OUT.cdx.json, bills in the forms of
SPDX 2.3 and CycloneDX 1.5.

Both list the shipped files with their hashes, and what of others is linked into the programs: the compiler's and the C
run-time's static libraries, and the header-only libraries of the command-line client.
"""

import hashlib
import json
import pathlib
import subprocess
import sys
import time
import urllib.parse

import common

# Debian package, name, licence, the shipped programs that contain it.
PARTS = [
    ("gcc-mingw-w64-x86-64-posix-runtime", "GCC run-time libraries (libgcc, libstdc++, libssp)",
     "GPL-3.0-or-later WITH GCC-exception-3.1", ["HotKeyServiceTLY.exe", "hotkeyctl.exe"]),
    ("mingw-w64-x86-64-dev", "MinGW-w64 C run-time and winpthreads", "ZPL-2.1 AND MIT",
     ["HotKeyServiceTLY.exe", "hotkeyctl.exe"]),
    ("libcli11-dev", "CLI11", "BSD-3-Clause", ["hotkeyctl.exe"]),
    ("nlohmann-json3-dev", "JSON for Modern C++", "MIT", ["hotkeyctl.exe"]),
]


def installed_version(package):
    query = ["dpkg-query", "-W", "-f=${Version}", package]
    return subprocess.run(query, stdout=subprocess.PIPE, text=True, check=True).stdout


def package_url(package, version):
    return f"pkg:deb/debian/{package}@{urllib.parse.quote(version, safe='')}"


def write(path, document):
    path.write_text(json.dumps(document, indent=2, sort_keys=True) + "\n", encoding="utf-8")


def spdx_id(text):
    return "SPDXRef-" + "".join(c if c.isalnum() else "-" for c in text)


def spdx(stage, version, created, commit, name, parts):
    files = common.files_of(stage)
    # Defined by SPDX: the SHA-1 sums of all files, sorted, run together, summed once more.
    verification = hashlib.sha1("".join(sorted(common.digest(path, "sha1") for path in files)).encode()).hexdigest()
    product = spdx_id("Package-" + common.PRODUCT)
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", product)]
    packages = [{
        "SPDXID": product, "name": common.PRODUCT, "versionInfo": version, "supplier": "Organization: Quil",
        "downloadLocation": "NOASSERTION", "filesAnalyzed": True, "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION", "primaryPackagePurpose": "APPLICATION",
        "packageVerificationCode": {"packageVerificationCodeValue": verification}, "sourceInfo": f"commit {commit}"}]
    entries = []
    for path in files:
        relative = path.relative_to(stage).as_posix()
        entries.append({
            "SPDXID": spdx_id("File-" + relative), "fileName": "./" + relative,
            "checksums": [{"algorithm": "SHA1", "checksumValue": common.digest(path, "sha1")},
                          {"algorithm": "SHA256", "checksumValue": common.digest(path)}],
            "licenseConcluded": "NOASSERTION", "licenseInfoInFiles": ["NOASSERTION"], "copyrightText": "NOASSERTION"})
        relations.append((product, "CONTAINS", spdx_id("File-" + relative)))
    for package, title, licence, part_version, programs in parts:
        packages.append({
            "SPDXID": spdx_id("Package-" + package), "name": title, "versionInfo": part_version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence,
            "licenseDeclared": licence, "copyrightText": "NOASSERTION",
            "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                              "referenceLocator": package_url(package, part_version)}]})
        relations += [(spdx_id("File-" + program), "STATIC_LINK", spdx_id("Package-" + package))
                      for program in programs]
    identity = common.derived_uuid("spdx", version, commit, common.content_id(stage)).lower()
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": name,
        "documentNamespace": "urn:uuid:" + identity,
        "creationInfo": {"created": created, "creators": ["Organization: Quil", "Tool: bill_of_materials.py"]},
        "documentDescribes": [product], "packages": packages, "files": entries,
        "relationships": [{"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b}
                          for a, kind, b in relations]}


def cyclonedx(stage, version, created, commit, parts):
    files = common.files_of(stage)
    product = f"{common.PRODUCT}@{version}"
    components = [{
        "type": "file", "bom-ref": "file:" + path.relative_to(stage).as_posix(),
        "name": path.relative_to(stage).as_posix(),
        "hashes": [{"alg": "SHA-1", "content": common.digest(path, "sha1")},
                   {"alg": "SHA-256", "content": common.digest(path)}]} for path in files]
    components += [{
        "type": "library", "bom-ref": package, "name": title, "version": part_version,
        "licenses": [{"expression": licence}], "purl": package_url(package, part_version)}
        for package, title, licence, part_version, _ in parts]
    dependencies = [{"ref": product, "dependsOn": ["file:" + path.relative_to(stage).as_posix() for path in files]}]
    for path in files:
        needed = [package for package, _, _, _, programs in parts if path.name in programs]
        if needed:
            dependencies.append({"ref": "file:" + path.name, "dependsOn": needed})
    return {
        "bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
        "serialNumber": "urn:uuid:" + common.derived_uuid("cdx", version, commit, common.content_id(stage)).lower(),
        "metadata": {
            "timestamp": created, "supplier": {"name": "Quil"},
            "component": {"type": "application", "bom-ref": product, "name": common.PRODUCT, "version": version,
                          "properties": [{"name": "commit", "value": commit}]}},
        "components": components, "dependencies": dependencies}


def main():
    stage, version, epoch, commit, out = pathlib.Path(sys.argv[1]), *sys.argv[2:6]
    created = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(epoch)))
    parts = [(package, title, licence, installed_version(package), programs)
             for package, title, licence, programs in PARTS]
    name = pathlib.Path(out).name
    write(pathlib.Path(out + ".spdx.json"), spdx(stage, version, created, commit, name, parts))
    write(pathlib.Path(out + ".cdx.json"), cyclonedx(stage, version, created, commit, parts))


if __name__ == "__main__":
    main()
