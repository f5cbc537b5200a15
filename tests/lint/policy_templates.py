#!/usr/bin/env python3
"""policy_templates.py ROOT: the group-policy templates agree with each other and with what the logger reads.

Keys come from shared/LogPolicy.cpp, the product name from service/Service.rc, the program name from the build, value
names and level words from shared/. Prints each disagreement, exits 1 on any.
"""

import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

NAMESPACE = "{http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions}"
# What each value is in the registry: the element that writes it.
WRITTEN_AS = {"MinLogLevel": "enum", "MaxLogLevel": "enum", "LoggingType": "text", "MaxLogSize": "decimal",
              "QueuedWrites": "enabledValue"}


def find(pattern, path):
    found = sorted(set(re.findall(pattern, path.read_text(encoding="utf-8"))))
    if not found:
        raise SystemExit(f"{path}: nothing matches {pattern}")
    return found


def read_by_the_logger(root):
    """(registry keys, value names, level words) of the sources."""
    policy = root / "shared/LogPolicy.cpp"
    base = find(r'L"(Software\\\\Policies\\\\[^"]+?)\\\\"', policy)[0].replace("\\\\", "\\")
    (product,) = find(r'VALUE "ProductName", "([^"\\]+)\\0"', root / "service/Service.rc")
    (program,) = find(r"add_executable\((\w+)", root / "service/CMakeLists.txt")
    names = set()
    for source in sorted((root / "shared").glob("*.cpp")):
        names.update(re.findall(r'(?:Level|Number|Flag|Read)\([^;{]*?L"(\w+)"', source.read_text(encoding="utf-8")))
        names.update(re.findall(r': L"(MinLogLevel)"', source.read_text(encoding="utf-8")))
    words = find(r'\{\w+, L"(\w+)"\}', root / "shared/LogLevel.cpp") + ["Never"]
    return {f"{base}\\{product}", f"{base}\\{product}\\{program}"}, names, set(words)


def check(root):
    admx = ElementTree.parse(root / "policy/QuilTLYService.admx").getroot()
    adml = ElementTree.parse(root / "policy/en-US/QuilTLYService.adml").getroot()
    keys, names, words = read_by_the_logger(root)
    policies = admx.findall(f"{NAMESPACE}policies/{NAMESPACE}policy")

    written = set()
    for policy in policies:
        name = policy.get("name")
        elements = list(policy.findall(f"{NAMESPACE}elements/*")) or [policy]
        for element in elements:
            value = element.get("valueName")
            written.add((policy.get("key"), value))
            kind = element.tag.removeprefix(NAMESPACE)
            if kind == "policy":
                kind = "enabledValue" if policy.find(f"{NAMESPACE}enabledValue/{NAMESPACE}decimal") is not None else kind
            if kind != WRITTEN_AS.get(value):
                yield f"{name}: {value} is written as {kind}"
            if kind == "enum":
                offered = {item.text for item in element.iter(f"{NAMESPACE}string")}
                if offered != words:
                    yield f"{name}: offers {sorted(offered)}, the logger knows {sorted(words)}"
        if policy.get("class") != "Machine":
            yield f"{name}: the logger reads HKEY_LOCAL_MACHINE only"
    wanted = {(key, name) for key in keys for name in names}
    for key, value in sorted(wanted - written):
        yield f"no policy for {key}, {value}"
    for key, value in sorted(written - wanted):
        yield f"the logger does not read {key}, {value}"

    strings = {string.get("id") for string in adml.iter(f"{NAMESPACE}string")}
    presentations = {item.get("id"): {part.get("refId") for part in item} for item in
                     adml.iter(f"{NAMESPACE}presentation")}
    references = [value for element in admx.iter() for value in element.attrib.values()]
    used = {match for value in references for match in re.findall(r"\$\(string\.(\w+)\)", value)}
    shown = {match for value in references for match in re.findall(r"\$\(presentation\.(\w+)\)", value)}
    for kind, left, right in (("string", used, strings), ("presentation", shown, set(presentations))):
        for name in sorted(left - right):
            yield f"{kind} {name} is missing in the language file"
        for name in sorted(right - left):
            yield f"{kind} {name} is not used"
    for policy in policies:
        ids = {element.get("id") for element in policy.findall(f"{NAMESPACE}elements/*")}
        parts = presentations.get(re.sub(r"\$\(presentation\.(\w+)\)", r"\1", policy.get("presentation", "")), set())
        if ids != parts:
            yield f"{policy.get('name')}: its presentation shows {sorted(parts)}, its elements are {sorted(ids)}"

    categories = {category.get("name") for category in admx.iter(f"{NAMESPACE}category")}
    for reference in admx.iter(f"{NAMESPACE}parentCategory"):
        if reference.get("ref") not in categories:
            yield f"category {reference.get('ref')} does not exist"


def main():
    if len(sys.argv) != 2:
        print(__doc__)
        return 2
    disagreements = list(check(pathlib.Path(sys.argv[1])))
    for disagreement in disagreements:
        print(disagreement)
    return 1 if disagreements else 0


if __name__ == "__main__":
    sys.exit(main())
