#!/usr/bin/env python3
"""rpc_tables_tests.py SERVICE CLIENT: what the built programs' tables say, in both transfer syntaxes."""

import pathlib
import sys
import unittest

import rpc_tables

SERVICE = CLIENT = b""

OPERATIONS = """\
0: void ([in] handle_t, [out, context_handle_noserialize] void**); robust
1: void ([in, out, context_handle_noserialize, may not be null] void**); bound by [in, out, context_handle_noserialize], robust
2: void ([in, context_handle_noserialize, may not be null] void*); bound by [in, context_handle_noserialize], robust
3: void ([in, context_handle_noserialize, may not be null] void*); bound by [in, context_handle_noserialize], robust
4: void ([in, context_handle_noserialize, may not be null] void*, [out] long*, [out, unique, size_is(, *#1) early] wchar_t**); \
bound by [in, context_handle_noserialize], robust, client checks correlation
5: long ([in, context_handle_noserialize, may not be null] void*); bound by [in, context_handle_noserialize], robust
6: long ([in, context_handle_noserialize, may not be null] void*); bound by [in, context_handle_noserialize], robust
7: void ([in, context_handle_noserialize, may not be null] void*, [out] long*, [out, unique, size_is(, *#1) early] wchar_t**); \
bound by [in, context_handle_noserialize], robust, client checks correlation
"""


def interface(side):
    return (f"{side} of 82620ac0-3274-4534-984a-001b0be6fcad version 1.0, "
            "offered first: 8a885d04-1ceb-11c9-9fe8-08002b104860 2.0\n"
            f"\n8a885d04-1ceb-11c9-9fe8-08002b104860 2.0\n{OPERATIONS}"
            f"\n71710533-beba-4937-8319-b5dbef9ccc36 1.0\n{OPERATIONS}")


class Tables(unittest.TestCase):
    maxDiff = None

    def test_the_service_serves_the_contract_in_both_syntaxes(self):
        self.assertEqual(interface("server"), rpc_tables.describe(SERVICE))

    def test_the_client_asks_for_the_same(self):
        self.assertEqual(interface("client"), rpc_tables.describe(CLIENT))

    def spoil(self, old, new):
        self.assertEqual(1, SERVICE.count(old), "the bytes to spoil are there once")
        return rpc_tables.describe(SERVICE.replace(old, new))

    def test_a_context_handle_that_may_be_null_in_ndr_2_is_noticed(self):
        # FC_BIND_CONTEXT, flags, padding; then the pointer to the size.
        text = self.spoil(bytes.fromhex("30450000110c085c"), bytes.fromhex("30440000110c085c"))
        self.assertEqual(14, interface("server").count("may not be null"))
        self.assertEqual(8, text.count("may not be null"))

    def test_a_serialised_context_handle_in_ndr64_is_noticed(self):
        text = self.spoil(bytes.fromhex("70450001"), bytes.fromhex("70410001"))
        self.assertEqual(6, text.count("[in, may not be null]"))

    def test_an_unknown_flag_stops_the_decoder(self):
        with self.assertRaisesRegex(rpc_tables.TableError, "unknown flags 0x8"):
            self.spoil(bytes.fromhex("30450000110c085c"), bytes.fromhex("304d0000110c085c"))

    def test_a_program_without_the_interface_is_an_error(self):
        with self.assertRaisesRegex(rpc_tables.TableError, "no such interface"):
            rpc_tables.describe(SERVICE.replace(rpc_tables.INTERFACE.bytes_le, bytes(16)))


if __name__ == "__main__":
    SERVICE, CLIENT = (pathlib.Path(argument).read_bytes() for argument in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
