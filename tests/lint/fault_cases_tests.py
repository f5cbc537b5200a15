#!/usr/bin/env python3
"""fault_cases_tests.py: small tables and lists, each with one breach."""

import unittest

import fault_cases

TABLE = '''
const Faults::Operation kOperations[] = {
    {"Open", &Open, LR"(
untouched ; CloseHandle 1, 2 => done | holds nothing
CreateFileW 1, 1+; worker's ReadFile 3 => {d} | holds handle 1, COM -1
  Error|A::B|SetEvent 5 => failed
)"},
};
'''
IMPORTS = """# A comment.
kernel32.dll
    CloseHandle
    CreateFileW
    ReadFile
    memcpy  # run time
"""
README = """# Faults
## What stays open
| operations | what | why |
| --- | --- | --- |
| `Open`, `Other` | handle, COM | it is the result |
"""
OTHER = TABLE.replace('"Open", &Open', '"Other", &Other')


class FaultCases(unittest.TestCase):
    def found(self, imports=IMPORTS, readme=README, minimum=0, tests=()):
        return list(fault_cases.breaches(imports, [TABLE, OTHER], tests, readme, minimum))

    def test_sound_tables_have_no_breach(self):
        self.assertEqual([], self.found())

    def test_calls_are_those_before_the_arrow(self):
        self.assertEqual([("CloseHandle", "1"), ("CloseHandle", "2"), ("CreateFileW", "1"), ("CreateFileW", "1"),
                          ("ReadFile", "3")], list(fault_cases.calls(TABLE)))

    def test_import_without_a_failing_case_is_noticed(self):
        self.assertEqual(["SetEvent: no operation of the fault sweep calls it"], self.found(IMPORTS + "    SetEvent\n"))

    def test_reason_stands_for_a_case(self):
        self.assertEqual([], self.found(IMPORTS + "    Sleep  # cannot fail: returns nothing\n"))

    def test_remark_without_a_reason_is_noticed(self):
        self.assertEqual(['Sleep: the remark "cannot fail" says nothing about its failing'],
                         self.found(IMPORTS + "    Sleep  # cannot fail\n"))

    def test_named_test_stands_for_a_case(self):
        imports = IMPORTS + "    malloc  # fails in Memory.RunsOut\n"
        self.assertEqual([], self.found(imports, tests=["TEST_F(Memory, RunsOut)\n{"]))
        self.assertEqual(["malloc: there is no test Memory.RunsOut"], self.found(imports))

    def test_unexplained_handle_is_noticed(self):
        readme = README.replace("`Open`, `Other` | handle, COM", "`Open` | handle, COM")
        self.assertEqual(["Other: COM stays open and tests/faults/README.md does not say why",
                          "Other: handle stays open and tests/faults/README.md does not say why"],
                         self.found(readme=readme))

    def test_explanation_of_nothing_is_noticed(self):
        readme = README + "| `Open` | service manager | it is kept |\n"
        self.assertEqual(["Open: tests/faults/README.md explains an open service manager that does not stay"],
                         self.found(readme=readme))

    def test_too_few_calls_are_noticed(self):
        self.assertEqual([], self.found(minimum=8))
        self.assertEqual(["the tables hold 8 calls, fewer than 9"], self.found(minimum=9))


if __name__ == "__main__":
    unittest.main()
