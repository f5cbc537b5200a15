#!/usr/bin/env python3
"""The bytes of every operation in NDR 2.0 and NDR64, from an encoder that knows nothing of this service (impacket).

WireTests.cpp holds the service to the same bytes of NDR 2.0; of NDR64, which only Windows speaks, these are the record."""

import unittest

from impacket.dcerpc.v5 import dtypes, ndr

CONTEXT = bytes.fromhex("00000000112233445566778899aabbccddeeff01")
REFERENT = 0x00020000


class ContextHandle(ndr.NDRSTRUCT):
    structure = (("Data", "20s=b''"),)

    def getAlignment(self):
        return 4


class Characters(ndr.NDRUniConformantArray):
    item = "<H"


class Text(ndr.NDRPOINTER):
    referent = (("Data", Characters),)


class Empty(ndr.NDRCALL):
    structure = ()


class Context(ndr.NDRCALL):
    structure = (("context", ContextHandle),)


class Number(ndr.NDRCALL):
    structure = (("result", dtypes.LONG),)


class SizedText(ndr.NDRCALL):
    structure = (("size", dtypes.LONG), ("text", Text))


def context(is_ndr64, value=CONTEXT):
    call = Context(isNDR64=is_ndr64)
    call["context"] = value
    return call.getData().hex()


def nothing(is_ndr64):
    return Empty(isNDR64=is_ndr64).getData().hex()


def number(is_ndr64, value):
    call = Number(isNDR64=is_ndr64)
    call["result"] = value
    return call.getData().hex()


def text(is_ndr64, value):
    """A text with its NUL; None for size 0 and no text."""
    call = SizedText(isNDR64=is_ndr64)
    if value is None:
        call["size"] = 0
        call["text"] = dtypes.NULL
    else:
        units = [ord(character) for character in value] + [0]
        call["size"] = len(units)
        call["text"] = units
        call.fields["text"].fields["ReferentID"] = REFERENT
    return call.getData().hex()


# NDR64 aligns a pointer to eight bytes; what stands in the gap is up to the encoder.
GAP = "aaaaaaaa"
GAP_BEFORE_NULL = "bfbfbfbf"

HANDLE = "00000000112233445566778899aabbccddeeff01"
NULL_HANDLE = "0000000000000000000000000000000000000000"


class Requests(unittest.TestCase):
    def test_connect_sends_nothing(self):
        self.assertEqual("", nothing(False))
        self.assertEqual("", nothing(True))

    def test_operations_1_to_7_send_the_handle(self):
        self.assertEqual(HANDLE, context(False))
        self.assertEqual(HANDLE, context(True))


class Responses(unittest.TestCase):
    def test_0_connect_gives_the_handle(self):
        self.assertEqual(HANDLE, context(False))
        self.assertEqual(HANDLE, context(True))

    def test_1_disconnect_gives_it_back_as_null(self):
        self.assertEqual(NULL_HANDLE, context(False, bytes(20)))
        self.assertEqual(NULL_HANDLE, context(True, bytes(20)))

    def test_2_and_3_launches_give_nothing(self):
        self.assertEqual("", nothing(False))
        self.assertEqual("", nothing(True))

    def test_4_system_information_is_size_pointer_count_text(self):
        self.assertEqual("08000000" "00000200" "08000000" "51003c002e005e002e003e004d7a0000",
                         text(False, "Q<.^.>\u7a4d"))
        self.assertEqual("08000000" + GAP + "0000020000000000" "0800000000000000" "51003c002e005e002e003e004d7a0000",
                         text(True, "Q<.^.>\u7a4d"))

    def test_4_empty_system_information_is_its_nul(self):
        self.assertEqual("01000000" "00000200" "01000000" "0000", text(False, ""))
        self.assertEqual("01000000" + GAP + "0000020000000000" "0100000000000000" "0000", text(True, ""))

    def test_5_and_6_presence_is_a_long(self):
        for value, expected in ((1, "01000000"), (0, "00000000")):
            self.assertEqual(expected, number(False, value))
            self.assertEqual(expected, number(True, value))

    def test_7_usb_type_c_information_is_size_pointer_count_text(self):
        self.assertEqual("04000000" "00000200" "04000000" "3600350057000000", text(False, "65W"))
        self.assertEqual("04000000" + GAP + "0000020000000000" "0400000000000000" "3600350057000000",
                         text(True, "65W"))

    def test_7_no_usb_type_c_information_is_size_zero_and_a_null_pointer(self):
        self.assertEqual("00000000" "00000000", text(False, None))
        self.assertEqual("00000000" + GAP_BEFORE_NULL + "0000000000000000", text(True, None))


if __name__ == "__main__":
    unittest.main()
