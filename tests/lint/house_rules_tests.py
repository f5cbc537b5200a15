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

    def test_a_long_file_is_found_and_one_whose_head_says_why_is_not(self):
        self.put("utils/A.cpp", "\n" * 601)
        self.put("tests/B.cpp", "\n" * 600)
        self.put("shared/C.cpp", "// A table.\n// Length: a line for each word.\n" + "\n" * 700)

        found = list(house_rules.check_length(self.root))

        self.assertEqual(["utils/A.cpp: 601 lines; 600 are the most"], found)

    def test_a_long_function_is_found_with_its_first_line(self):
        body = "{\n" + "    a = 1;\n" * 78 + "}\n"
        self.put("utils/A.cpp", "namespace Utils\n{\n\nlong C::F(int a,\n          int b)\n" + body + "\nint g()\n" + body + "}\n")

        found = list(house_rules.check_length(self.root))

        self.assertEqual(["utils/A.cpp:4: C::F has 82 lines; 80 are the most",
                          "utils/A.cpp:87: g has 81 lines; 80 are the most"], found)

    def test_functions_are_told_from_other_braces(self):
        text = """
#define OPEN(x) if (x) {
namespace
{
const int kTable[] = {1, 2}; // a { in a comment
const char* const kText = "} and {"; char brace = '{';
template <typename T> class C : public B
{
  public:
    explicit C(int a) : m_a{a}, m_b{F(1)}
    {
        const auto f = [&](int x) {
            return x;
        };
    }
    bool operator==(const C&) const { return true; }

  private:
    int m_a{0};
};
extern "C" int WINAPI Start(int (*f)(int))
{
    if (f) {
    }
}
TEST_F(Fixture, DoesSomething)
{
}
} // namespace
"""

        found = list(house_rules.functions(text))

        self.assertEqual([("C", 10, 6), ("operator==", 16, 1), ("Start", 21, 5), ("TEST_F", 26, 3)], found)

    def test_a_path_that_is_not_there_is_found(self):
        self.put("docs/a.md", "see docs/a.md and utils/Missing.h\n")
        self.assertEqual(["docs/a.md:1: utils/Missing.h does not exist"], list(house_rules.check_paths(self.root)))


if __name__ == "__main__":
    unittest.main()
