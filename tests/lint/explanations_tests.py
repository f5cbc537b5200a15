#!/usr/bin/env python3
"""The check of the explanations on small trees that breach it."""

import pathlib
import tempfile
import unittest

import explanations

TABLE = """constexpr std::string_view kNone = "Nothing.";
constexpr CExplanation kRows[] = {
    {"Open failed. Error: 0x%08X", "The | file.", kNone},
    {"A long "
     "text failed", "It is \\"long\\".", "Cut it."},
};
constexpr CExplanationTopic kTopics[] = {
    {"Files", false, kRows},
};
"""
PAGE = """### Files

| text | cause | what to do |
| --- | --- | --- |
| `Open failed. Error: 0x%08X` | The \\| file. | Nothing. |
| `A long text failed` | It is "long". | Cut it. |

"""


class Explanations(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)
        self.put("client/ExplanationTable.cpp", TABLE)
        self.put("docs/operations.md", "a\n" + explanations.BEGIN + PAGE + explanations.END + "b\n")

    def put(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def found(self):
        return list(explanations.breaches(self.root))

    def test_a_tree_that_is_in_order(self):
        self.put("utils/A.cpp", 'trace.Error(L"Open failed. Error: 0x%08X\\n", e);\n'
                                'trace.Error(L"A long "\n    L"text failed");\nPrintText(L"%s is removed.", n);\n')
        self.assertEqual([], self.found())

    def test_a_record_without_a_row_is_found(self):
        self.put("utils/A.cpp", 'trace.Warning(L"Odd");\n')
        self.assertEqual(['utils/A.cpp: nothing explains "Odd"'], self.found())

    def test_both_texts_of_a_guard_are_looked_up(self):
        self.put("service/A.cpp", 'Guard(L"Start failed", L"Failed to start", [&] {});\n')
        self.assertEqual(['service/A.cpp: nothing explains "Start failed"',
                          'service/A.cpp: nothing explains "Failed to start"'], self.found())

    def test_an_error_event_and_a_printed_failure_are_looked_up(self):
        self.put("service/A.cpp", 'WriteEventLogEntry(EVENTLOG_ERROR_TYPE, L"x failed", e);\nPrintText(L"y failed");\n')
        self.assertEqual(2, len(self.found()))

    def test_a_page_that_is_not_the_table_is_found_and_mended(self):
        self.put("docs/operations.md", "a\n" + explanations.BEGIN + "old\n" + explanations.END + "b\n")
        self.assertEqual(1, len(self.found()))
        explanations.write(self.root)
        self.assertEqual([], self.found())
        text = (self.root / "docs/operations.md").read_text(encoding="utf-8")
        self.assertTrue(text.startswith("a\n") and text.endswith("b\n"))


if __name__ == "__main__":
    unittest.main()
