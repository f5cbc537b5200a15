#!/usr/bin/env python3
"""Each rule finds a breach that was put there, and nothing in a clean tree."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import house_rules  # noqa: E402


class HouseRules(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)

    def put(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def test_an_include_against_the_arrow_is_found(self):
        self.put("utils/A.cpp", '#include "shared/B.h"\n#include "hotkey/C.h"\n')
        self.assertEqual(["utils/A.cpp:2: utils/ must not include hotkey/C.h"], list(house_rules.check_arrows(self.root)))

    def test_the_client_includes_the_generated_header_and_nothing_else_of_the_service(self):
        self.put("client/A.h", '#include <HotKeyRpc.h>\n#include "rpc/RpcEndpoint.h"\n')
        self.assertEqual(["client/A.h:2: client/ must not include rpc/RpcEndpoint.h"],
                         list(house_rules.check_arrows(self.root)))

    def test_a_banned_call_is_found_and_a_comment_is_not(self):
        self.put("shared/A.cpp", '// wprintf(L"x")\n    wprintf(L"x");\n')
        found = list(house_rules.check_calls(self.root))
        self.assertEqual(1, len(found))
        self.assertIn("shared/A.cpp:2", found[0])

    def test_a_trace_name_must_be_the_function(self):
        self.put("utils/A.cpp", 'namespace Utils\n{\n\nlong F(int a)\n{\n    CTraceScope trace{"Utils::G"};\n}\n\n} // namespace Utils\n')
        self.put("utils/B.cpp", 'long Utils::H(int a)\n{\n    CTraceScope trace{"Utils::H"};\n}\n')
        self.assertEqual(['utils/A.cpp:6: trace name "Utils::G" inside Utils::F'], list(house_rules.check_names(self.root)))

    def test_a_repeated_file_name_is_found(self):
        self.put("utils/A.h", "")
        self.put("shared/A.h", "")
        self.assertEqual(1, len(list(house_rules.check_names(self.root))))

    def test_a_path_that_is_not_there_is_found(self):
        self.put("docs/a.md", "see docs/a.md and utils/Missing.h\n")
        self.assertEqual(["docs/a.md:1: utils/Missing.h does not exist"], list(house_rules.check_paths(self.root)))


if __name__ == "__main__":
    unittest.main()
