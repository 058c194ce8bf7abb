#!/usr/bin/env python3
"""What scripts/check finds of what only Visual Studio refuses."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
import check


def compiles(text):
    """Whether the text passes the reading of a source for Windows."""
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "source.cpp")
        source.write_text(text, encoding="utf-8")
        (_, _, command, _), = check.syntax(check.VISUAL_STUDIO, [source])
        command = command.replace("DEPFILE", f"{source}.d")
        return subprocess.run(command, shell=True, stderr=subprocess.DEVNULL,
                              check=False).returncode == 0


class VisualStudioTest(unittest.TestCase):
    def test_names_that_are_macros_of_the_sdk_do_not_compile(self):
        self.assertTrue(compiles("int tiny = 1;\n"))
        self.assertFalse(compiles("int small = 1;\n"))

    def test_gnu_extensions_do_not_compile(self):
        self.assertTrue(compiles("int Three() { return [] { return 3; }(); }\n"))
        self.assertFalse(compiles("int Three() { return ({ 3; }); }\n"))

    def lines_of_untyped_elements(self, text):
        return list(check.untyped_elements(text))

    def test_loop_over_a_list_with_an_element_of_braces_alone_is_found(self):
        self.assertEqual(self.lines_of_untyped_elements(
            "void F() {\n"
            "  for (const Size& size : {Size{1, 2}, {3, 4}}) {}\n"
            "  for (const auto& [a, b] :\n"
            "       {std::pair{f({1}), 2},  // {\n"
            "        {3, 4}}) {}\n"
            "  for (const Size& size : {{1, 2}, Size{3, 4}}) {}\n"
            "}\n"), [2, 3, 6])

    def test_other_lists_are_not_found(self):
        self.assertEqual(self.lines_of_untyped_elements(
            "void F() {\n"
            "  for (const Size& size : {Size{1, 2}, Size{3, 4}}) {}\n"
            "  for (const Points& points : {Points{{1, 2}}, Points{{3, 4}, {5, 6}}}) {}\n"
            "  for (const int x : {1, f({2}, {3}), 4'000}) { G({1}, {2}); }\n"
            "  for (const char* x : {\"a,{\", R\"(,{)\"}) {}\n"
            "  for (const char x : {',', '{', '}'}) {}\n"
            "  for (const Size& size : sizes) { G(Size{1, 2}, {3, 4}); }\n"
            "  for (int i = 0; i < 2; ++i) { std::vector<Size> s{{1, 2}, {3, 4}}; }\n"
            "  // for (const Size& size : {Size{1, 2}, {3, 4}}) {}\n"
            "}\n"), [])


if __name__ == "__main__":
    unittest.main()
