#!/usr/bin/env python3
"""binary_hardening_tests.py PROGRAM SYMBOLS: spoils copies of a sound program one property at a time.

Each spoilt property must be noticed, and nothing else."""

import pathlib
import struct
import sys
import unittest

import binary_hardening

DATA = SYMBOLS = b""


class Hardening(unittest.TestCase):
    def setUp(self):
        self.allowed = binary_hardening.Program(DATA).imports()
        self.spoilt = bytearray(DATA)
        self.symbols = SYMBOLS
        self.optional = struct.unpack_from("<I", DATA, 0x3C)[0] + 24

    def found(self):
        return list(binary_hardening.breaches(bytes(self.spoilt), self.symbols, self.allowed))

    def clear_flag(self, bit):
        flags = struct.unpack_from("<H", self.spoilt, self.optional + 70)[0]
        struct.pack_into("<H", self.spoilt, self.optional + 70, flags & ~bit)

    def test_sound_program_has_no_breach(self):
        self.assertEqual([], self.found())

    def test_missing_high_entropy_flag_is_noticed(self):
        self.clear_flag(0x0020)
        self.assertEqual(["HIGH_ENTROPY_VA is not set"], self.found())

    def test_missing_dynamic_base_flag_is_noticed(self):
        self.clear_flag(0x0040)
        self.assertEqual(["DYNAMIC_BASE is not set"], self.found())

    def test_missing_no_execute_flag_is_noticed(self):
        self.clear_flag(0x0100)
        self.assertEqual(["NX_COMPAT is not set"], self.found())

    def test_missing_relocations_are_noticed(self):
        struct.pack_into("<II", self.spoilt, self.optional + 112 + 8 * 5, 0, 0)
        self.assertEqual(["there are no relocations: the program cannot be moved in memory"], self.found())

    def test_writable_code_is_noticed(self):
        size = struct.unpack_from("<H", self.spoilt, self.optional - 4)[0]
        rights = self.optional + size + 36
        struct.pack_into("<I", self.spoilt, rights, struct.unpack_from("<I", self.spoilt, rights)[0] | 0xA0000000)
        self.assertEqual(["section .text is writable and executable"], self.found())

    def test_missing_stack_protector_is_noticed(self):
        self.symbols = SYMBOLS.replace(b"__stack_chk_fail\0", b"__other_function\0")
        self.assertIn("the stack protector's __stack_chk_fail is not linked in", self.found())

    def test_new_import_is_noticed(self):
        self.allowed["kernel32.dll"].discard("GetLastError")
        self.assertEqual(["kernel32.dll: GetLastError is imported and not allowed"], self.found())

    def test_import_that_is_gone_is_noticed(self):
        self.allowed["kernel32.dll"].add("WinExec")
        self.assertEqual(["kernel32.dll: WinExec is allowed and no longer imported"], self.found())

    def test_compiler_library_is_noticed(self):
        self.spoilt = bytearray(bytes(self.spoilt).replace(b"KERNEL32.dll\0", b"libgcc_s.dll\0"))
        self.assertIn("libgcc_s.dll is a library of the compiler: link it statically", self.found())

    def test_allowed_file_takes_comments_and_libraries_in_any_case(self):
        allowed = binary_hardening.read_allowed("# head\nKERNEL32.dll\n    Sleep  # waits\n\nole32.dll\n    OleRun\n")
        self.assertEqual({"kernel32.dll": {"Sleep"}, "ole32.dll": {"OleRun"}}, allowed)


if __name__ == "__main__":
    SYMBOLS = pathlib.Path(sys.argv.pop()).read_bytes()
    DATA = pathlib.Path(sys.argv.pop()).read_bytes()
    unittest.main()
