#!/usr/bin/env python3
"""policy_templates_tests.py ROOT: a disagreement that is put into the templates or the sources is found."""

import pathlib
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import policy_templates  # noqa: E402

ROOT = pathlib.Path(sys.argv.pop())


class PolicyTemplates(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("policy", "shared"):
            shutil.copytree(ROOT / name, self.root / name)
        (self.root / "service").mkdir()
        for name in ("Service.rc", "CMakeLists.txt"):
            shutil.copy(ROOT / "service" / name, self.root / "service" / name)

    def change(self, name, old, new):
        path = self.root / name
        text = path.read_text(encoding="utf-8")
        self.assertIn(old, text)
        path.write_text(text.replace(old, new), encoding="utf-8")

    def found(self):
        return "\n".join(policy_templates.check(self.root))

    def test_the_templates_as_they_are_agree(self):
        self.assertEqual("", self.found())

    def test_the_logger_reads_five_values_under_two_keys(self):
        keys, names, words = policy_templates.read_by_the_logger(ROOT)
        base = "Software\\Policies\\Quil\\Quil TLY Service"
        self.assertEqual({base, base + "\\HotKeyServiceTLY"}, keys)
        self.assertEqual({"MinLogLevel", "MaxLogLevel", "LoggingType", "MaxLogSize", "QueuedWrites"}, names)
        self.assertEqual({"TraceIn", "TraceOut", "Verbose", "Information", "Warning", "Error", "Diag", "Never"}, words)

    def test_a_misspelt_value_name_is_found(self):
        self.change("policy/QuilTLYService.admx", 'valueName="MaxLogSize"', 'valueName="MaxLogsize"')
        self.assertIn("the logger does not read", self.found())

    def test_another_key_is_found(self):
        self.change("policy/QuilTLYService.admx", "Quil TLY Service\\HotKeyServiceTLY", "Quil TLY Service\\HotKey")
        self.assertIn("no policy for Software\\Policies\\Quil\\Quil TLY Service\\HotKeyServiceTLY", self.found())

    def test_a_new_value_of_the_logger_is_found(self):
        self.change("shared/LogListenerFile.cpp", 'L"MaxLogSize"', 'L"MaxLogFiles"')
        self.assertIn("MaxLogFiles", self.found())

    def test_a_level_that_is_not_offered_is_found(self):
        self.change("policy/QuilTLYService.admx", "<string>Diag</string>", "<string>Diagnostics</string>")
        self.assertIn("MaxLogLevel: offers", self.found())

    def test_a_missing_text_is_found(self):
        self.change("policy/en-US/QuilTLYService.adml", 'id="QueuedWrites_Help"', 'id="QueuedWritesHelp"')
        self.assertIn("string QueuedWrites_Help is missing", self.found())


if __name__ == "__main__":
    unittest.main()
