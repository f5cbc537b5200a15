#!/usr/bin/env python3
"""rpc_tables.py PROGRAM: prints the RPC interface that a built program carries as an interface definition again, once
for each transfer syntax, decoded from the tables that the run time reads. Exits 1 when there is none.

Structures: [MS-RPCE] and the headers rpcdcep.h, rpcndr.h and ndr64types.h. Anything that these eight operations do not
need stops the decoder: a table that it does not understand whole is not described."""

import pathlib
import struct
import sys
import uuid

INTERFACE = uuid.UUID("82620ac0-3274-4534-984a-001b0be6fcad")
NDR20 = "8a885d04-1ceb-11c9-9fe8-08002b104860 2.0"
NDR64 = "71710533-beba-4937-8319-b5dbef9ccc36 1.0"


class TableError(Exception):
    pass


class Image:
    """The bytes of a program at their addresses."""

    def __init__(self, data):
        self.data = data
        header = struct.unpack_from("<I", data, 0x3C)[0]
        sections, optional_size = struct.unpack_from("<2xH12xH", data, header + 4)
        self.base = struct.unpack_from("<Q", data, header + 24 + 24)[0]
        self.sections = []
        for i in range(sections):
            size, address, raw_size, raw = struct.unpack_from("<4I", data, header + 24 + optional_size + 40 * i + 8)
            self.sections.append((self.base + address, min(size, raw_size), raw))

    def address(self, offset):
        for address, size, raw in self.sections:
            if raw <= offset < raw + size:
                return address + offset - raw
        raise TableError(f"file offset {offset:#x} is in no section")

    def read(self, layout, address):
        for start, size, raw in self.sections:
            if start <= address < start + size:
                return struct.unpack_from("<" + layout, self.data, raw + address - start)
        raise TableError(f"address {address:#x} is in no section")

    def one(self, layout, address):
        return self.read(layout, address)[0]

    def syntax(self, address):
        raw = struct.pack("<16B", *self.read("16B", address))
        return "{} {}.{}".format(uuid.UUID(bytes_le=raw), *self.read("2H", address + 16))

    def find_interface(self):
        """The address of the RPC_SERVER_INTERFACE or RPC_CLIENT_INTERFACE: its length, 96, then its identifier."""
        wanted = struct.pack("<I", 96) + INTERFACE.bytes_le
        offset = self.data.find(wanted)
        if offset < 0:
            raise TableError("the program has no such interface")
        return self.address(offset)


def flags_of(value, names):
    known = sum(names)
    if value & ~known:
        raise TableError(f"unknown flags {value & ~known:#x}")
    return [name for bit, name in names.items() if value & bit and name]


CONTEXT_FLAGS = {0x80: "", 0x40: "in", 0x20: "out", 0x04: "context_handle_noserialize", 0x01: "may not be null"}


def describe_context(flags):
    return flags_of(flags, CONTEXT_FLAGS), "void*" + ("*" if flags & 0x80 else "")


class Ndr20:
    """The format strings of NDR 2.0."""

    def __init__(self, image, info):
        self.image = image
        self.procedures, self.offsets, self.types = image.read("3Q", info + 32)

    def operation(self, number):
        read, one = self.image.read, self.image.one
        at = self.procedures + one("H", self.offsets + 2 * number)
        handle, old_flags, _, found, stack = read("BBIHH", at)
        if (handle, old_flags, found) != (0, 0x48, number):
            raise TableError(f"operation {number}: not an explicit-handle procedure of that number")
        at += 10
        kind, handle_flags = read("BB", at)
        if kind not in (0x30, 0x32):
            raise TableError(f"unknown handle {kind:#x}")
        parameters = []
        if kind == 0x32:
            parameters.append("[in] handle_t")
            at += 4
            routine_flags = []
        else:
            routine_flags = ["bound by [" + ", ".join(describe_context(handle_flags)[0]) + "]"]
            at += 6
        _, _, flags, count, size, extension = read("HHBBBB", at)
        flags_of(flags, {0x01: "", 0x04: "", 0x40: ""})
        if not flags & 0x40:
            raise TableError("no extension")
        routine_flags += flags_of(extension, {0x01: "robust", 0x02: "client checks correlation"})
        at += 6 + size
        result = "void"
        for i in range(count):
            attributes, offset, kind = read("HHH", at + 6 * i)
            names = flags_of(attributes & 0x1FFF, {0x01: "", 0x02: "", 0x08: "in", 0x10: "out", 0x20: "", 0x40: "",
                                                   0x80: "", 0x100: ""})
            if attributes & 0x20:
                result = self.base_type(kind)
                continue
            if attributes & 0x40:
                text, extra = self.base_type(kind) + ("*" if attributes & 0x100 else ""), []
            else:
                text, extra = self.type(self.types + kind)
            if offset != 8 * len(parameters):
                raise TableError(f"operation {number}: parameter {i} is at {offset}")
            parameters.append("[{}] {}".format(", ".join(dict.fromkeys(names + extra)), text))
        return result, parameters, routine_flags, stack

    @staticmethod
    def base_type(code):
        if code & 0xFF != 0x08:
            raise TableError(f"unknown base type {code:#x}")
        return "long"

    def type(self, at):
        read = self.image.read
        code, flags = read("BB", at)
        if code == 0x30:
            names, text = describe_context(flags)
            return text, names
        if code in (0x11, 0x12):
            text, extra = self.type(at + 2 + self.image.one("h", at + 2))
            return text + "*", (["unique"] if code == 0x12 else []) + extra
        if code == 0x1B:
            _, size, kind, operator, offset, correlation, element, end = read("BHBBhHBB", at + 1)
            if (flags, size, kind, operator, element, end) != (1, 2, 0x28, 0x54, 0x05, 0x5B):
                raise TableError("not an array of wchar_t that a long behind a pointer counts")
            early = "".join(" " + name for name in flags_of(correlation, {0x01: "early"}))
            return "wchar_t", [f"size_is(, *#{offset // 8}){early}"]
        raise TableError(f"unknown type {code:#x}")


class Ndr64:
    """The fragments of NDR64."""

    def __init__(self, image, info):
        self.image = image
        self.table = image.one("Q", info + 40)

    def operation(self, number):
        at = self.image.one("Q", self.table + 8 * number)
        flags, stack, _, _, _, _, count, size = self.image.read("IIIIHHHH", at)
        names = flags_of(flags, {0x40: "", 0x01000000: "", 0x20000: "", 0x80000: "", 0x400000: "client checks correlation"}
                         if size else {})
        at += 24
        kind, handle_flags, offset = self.image.read("BBH", at)
        parameters, routine_flags = [], []
        if (kind, offset) == (0x70, 0):
            routine_flags.append("bound by [" + ", ".join(describe_context(handle_flags)[0]) + "]")
        elif (kind, offset) == (0x72, 0):
            parameters.append("[in] handle_t")
        else:
            raise TableError(f"unknown handle {kind:#x}")
        routine_flags += ["robust"] + names  # NDR64 knows no stubs that are not
        at += size
        result = "void"
        for i in range(count):
            kind, attributes, _, offset = self.image.read("QHHI", at + 16 * i)
            names = flags_of(attributes, {0x01: "", 0x02: "", 0x08: "in", 0x10: "out", 0x20: "", 0x40: "", 0x80: "",
                                          0x100: "", 0x8000: ""})
            text, extra = self.type(kind)
            if attributes & 0x20:
                result = text
                continue
            if attributes & 0x40 and attributes & 0x100:
                text += "*"
            if offset != 8 * len(parameters):
                raise TableError(f"operation {number}: parameter {i} is at {offset}")
            parameters.append("[{}] {}".format(", ".join(dict.fromkeys(names + extra)), text))
        return result, parameters, routine_flags, stack

    def type(self, at):
        read = self.image.read
        code, flags = read("BB", at)
        if code == 0x05:
            return "long", []
        if code == 0x11:
            return "wchar_t", []
        if code == 0x70:
            names, text = describe_context(flags)
            return text, names
        if code in (0x20, 0x21):
            text, extra = self.type(self.image.one("Q", at + 8))
            return text + "*", (["unique"] if code == 0x21 else []) + extra
        if code == 0x41:
            size, counted = read("IQ", at + 4)
            memory_size, element = read("I4xQ", at + 16)
            early, expression, operator, cast, _, variable, kind, _, offset = read("IBBBBBBHI", counted)
            if (size, memory_size, expression, operator, cast, variable, kind) != (2, 2, 4, 5, 5, 3, 7):
                raise TableError("not an array that a long behind a pointer counts")
            text, extra = self.type(element)
            return text, extra + [f"size_is(, *#{offset // 8})" + (" early" if early == 1 else "")]
        raise TableError(f"unknown type {code:#x}")


def describe(data):
    """The interface as text."""
    image = Image(data)
    interface = image.find_interface()
    version = "{}.{}".format(*image.read("2H", interface + 20))
    manager, information, flags = image.read("QQI", interface + 72)
    dispatch = image.one("Q", interface + 48)
    side = "server" if dispatch else "client"
    # MIDL_SERVER_INFO has two members more in front than MIDL_STUBLESS_PROXY_INFO.
    default, count, syntaxes = image.read("QQQ", information + (40 if dispatch else 24))
    lines = [f"{side} of {INTERFACE} version {version}, offered first: {image.syntax(interface + 24)}"]
    for i in range(count):
        info = syntaxes + 80 * i
        name = image.syntax(info)
        lines.append("")
        lines.append(name)
        tables = {NDR20: Ndr20, NDR64: Ndr64}.get(name)
        if tables is None:
            raise TableError(f"unknown transfer syntax {name}")
        decoder = tables(image, info)
        for number in range(8):
            result, parameters, routine_flags, _ = decoder.operation(number)
            lines.append(f"{number}: {result} ({', '.join(parameters)}); {', '.join(routine_flags)}")
    return "\n".join(lines) + "\n"


def main():
    if len(sys.argv) != 2:
        print(__doc__)
        return 2
    try:
        print(describe(pathlib.Path(sys.argv[1]).read_bytes()), end="")
    except (OSError, TableError, struct.error) as error:
        print(f"rpc_tables: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
