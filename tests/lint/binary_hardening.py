#!/usr/bin/env python3
"""binary_hardening.py PROGRAM SYMBOLS ALLOWED: checks a program's file; prints each breach, exits 1 on any.
binary_hardening.py --imports PROGRAM: prints its imports in the form of the ALLOWED file.

Checked is what this tool chain gives: the address-space and no-execute flags, relocations, no section that is writable
and executable, the stack protector (by the symbols that stand beside the stripped program), and that the program
imports exactly what ALLOWED lists. A new import is a decision and so is one that is gone. Load configuration,
control-flow guard and shadow stacks are not checked: the MinGW linker does not write them.
"""

import pathlib
import struct
import sys

FLAGS = {0x0020: "HIGH_ENTROPY_VA", 0x0040: "DYNAMIC_BASE", 0x0100: "NX_COMPAT"}
RELOCS_STRIPPED, EXECUTE, WRITE = 0x0001, 0x20000000, 0x80000000
COMPILER_LIBRARIES = ("libstdc++", "libgcc", "libwinpthread", "libssp")


class Program:
    """The headers, sections, imports and symbols of a 64-bit program."""

    def __init__(self, data):
        self.data = data
        header = struct.unpack_from("<I", data, 0x3C)[0]
        if data[header:header + 4] != b"PE\0\0" or struct.unpack_from("<H", data, header + 24)[0] != 0x20B:
            raise ValueError("not a 64-bit program")
        _, sections, _, self.symbols_at, self.symbol_count, size, self.characteristics = struct.unpack_from(
            "<HHIIIHH", data, header + 4)
        optional = header + 24
        self.flags = struct.unpack_from("<H", data, optional + 70)[0]
        self.directories = [struct.unpack_from("<II", data, optional + 112 + 8 * i) for i in range(16)]
        self.sections = []
        for i in range(sections):
            name, virtual_size, address, raw_size, raw, *_, rights = struct.unpack_from(
                "<8sIIIIIIHHI", data, optional + size + 40 * i)
            self.sections.append((name.rstrip(b"\0").decode(), address, virtual_size, raw, raw_size, rights))

    def at(self, address):
        """The place in the file of an address in memory."""
        for _, start, size, raw, raw_size, _ in self.sections:
            if start <= address < start + max(size, raw_size):
                return address - start + raw
        raise ValueError(f"no section holds address {address:#x}")

    def text(self, place):
        return self.data[place:self.data.index(b"\0", place)].decode("ascii")

    def imports(self):
        found = {}
        entry = self.at(self.directories[1][0])
        while True:
            names, _, _, library, slots = struct.unpack_from("<IIIII", self.data, entry)
            if not library:
                return found
            functions = found.setdefault(self.text(self.at(library)).lower(), set())
            place = self.at(names or slots)
            while value := struct.unpack_from("<Q", self.data, place)[0]:
                functions.add(f"#{value & 0xFFFF}" if value >> 63 else self.text(self.at(value) + 2))
                place += 8
            entry += 20

    def symbol(self, wanted):
        """Address of a function by the linker's symbol table; None when it is not there."""
        strings = self.symbols_at + 18 * self.symbol_count
        index = 0
        while index < self.symbol_count:
            place = self.symbols_at + 18 * index
            raw, value, section, _, _, extra = struct.unpack_from("<8sIhHBB", self.data, place)
            zero, offset = struct.unpack_from("<II", raw)
            name = self.text(strings + offset) if zero == 0 else raw.rstrip(b"\0").decode("ascii", "replace")
            if name == wanted and section > 0:
                return self.sections[section - 1][1] + value
            index += 1 + extra
        return None

    def calls_of(self, target):
        """How many near calls of the code go to an address."""
        count = 0
        for _, start, size, raw, raw_size, rights in self.sections:
            if not rights & EXECUTE:
                continue
            code = self.data[raw:raw + min(size, raw_size)]
            place = code.find(b"\xE8")
            while 0 <= place <= len(code) - 5:
                if start + place + 5 + struct.unpack_from("<i", code, place + 1)[0] == target:
                    count += 1
                place = code.find(b"\xE8", place + 1)
        return count


def read_allowed(text):
    """Library names stand at the start of a line, their functions indented below; # opens a comment."""
    allowed, functions = {}, None
    for line in text.splitlines():
        line = line.split("#")[0].rstrip()
        if not line:
            continue
        if line[0].isspace():
            functions.add(line.strip())
        else:
            functions = allowed.setdefault(line.lower(), set())
    return allowed


def check_headers(program):
    for bit, name in FLAGS.items():
        if not program.flags & bit:
            yield f"{name} is not set"
    address, size = program.directories[5]
    if program.characteristics & RELOCS_STRIPPED or not size or not any(s[0] == ".reloc" for s in program.sections):
        yield "there are no relocations: the program cannot be moved in memory"
    for name, _, _, _, _, rights in program.sections:
        if rights & WRITE and rights & EXECUTE:
            yield f"section {name} is writable and executable"


def check_stack_protector(program, symbols):
    target = symbols.symbol("__stack_chk_fail")
    if target is None:
        yield "the stack protector's __stack_chk_fail is not linked in"
    elif program.calls_of(target) == 0:
        yield "no function ends in the stack protector's check"


def check_imports(program, allowed):
    imports = program.imports()
    for library in sorted(imports):
        if library.startswith(COMPILER_LIBRARIES):
            yield f"{library} is a library of the compiler: link it statically"
        for function in sorted(imports[library] - allowed.get(library, set())):
            yield f"{library}: {function} is imported and not allowed"
    for library in sorted(allowed):
        for function in sorted(allowed[library] - imports.get(library, set())):
            yield f"{library}: {function} is allowed and no longer imported"


def breaches(data, symbols, allowed):
    program = Program(data)
    yield from check_headers(program)
    yield from check_stack_protector(program, Program(symbols))
    yield from check_imports(program, allowed)


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "--imports":
        for library, functions in sorted(Program(pathlib.Path(sys.argv[2]).read_bytes()).imports().items()):
            print("\n".join([library, *(f"    {function}" for function in sorted(functions))]))
        return 0
    if len(sys.argv) != 4:
        print(__doc__)
        return 2
    program, symbols, allowed = (pathlib.Path(name).read_bytes() for name in sys.argv[1:])
    found = list(breaches(program, symbols, read_allowed(allowed.decode("utf-8"))))
    for breach in found:
        print(breach)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
