#!/usr/bin/env python3
"""What check_style.py finds, fixes, and leaves alone."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check_style.py"


class Style(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="travik style ")
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def check(self, name, text, *options):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text, encoding="utf-8")
        done = subprocess.run([sys.executable, CHECKER, *options, name], cwd=self.folder, capture_output=True,
                              text=True, check=False)
        return done.returncode, done.stdout, path.read_text(encoding="utf-8")

    def assert_fixed(self, text, fixed, name="a.cpp"):
        code, said, untouched = self.check(name, text)
        self.assertEqual((code, untouched), (1, text), said)
        self.assertEqual(self.check(name, text, "--fix"), (0, "", fixed))

    def assert_left_alone(self, text, name="a.cpp"):
        self.assertEqual(self.check(name, text, "--fix"), (0, "", text))

    def test_a_pointer_in_a_condition_stands_bare(self):
        self.assert_fixed("if (place != nullptr)\n", "if (place)\n")
        self.assert_fixed("while (a->b == nullptr)\n", "while (!a->b)\n")
        self.assert_fixed("return a == nullptr || b() != nullptr && c;\n", "return !a || b() && c;\n")
        self.assert_fixed("x = text == nullptr ? 1 : 2;\n", "x = !text ? 1 : 2;\n")

    def test_a_value_keeps_its_comparison(self):
        self.assert_left_alone("return object != nullptr;\n")
        self.assert_left_alone("bool known = find(name) != nullptr;\n")
        self.assert_left_alone("if (check(object != nullptr))\n")
        self.assert_left_alone("// if (place != nullptr)\n")

    def test_headers_of_our_own_begin_with_pragma_once(self):
        self.assert_fixed("#ifndef A_H\n#define A_H\n\nint a();\n\n#endif // A_H\n", "#pragma once\n\nint a();\n",
                          "a.h")
        self.assert_left_alone("// What it is for.\n#pragma once\n", "a.h")

    def test_headers_that_others_read_have_guards(self):
        self.assert_left_alone("#ifndef A_H\n#define A_H\nint a();\n#endif\n", "include/a.h")
        code, said, _ = self.check("include/a.h", "#pragma once\n")
        self.assertEqual((code, said), (1, "include/a.h: the first directive is not #ifndef\n"))

    def test_a_function_of_the_product_is_short(self):
        def function(lines, row="    call();\n"):
            return "int made()\n{\n" + row * lines + "}\n"
        self.assert_left_alone(function(40), "src/a.cpp")
        self.assert_left_alone(function(100, '    {"a table", 1},\n'), "src/a.cpp")
        self.assert_left_alone("int made()\n{\n    static constexpr int all[] = {1,\n" + 60 * "        2,\n" +
                               "    3};\n}\n", "src/a.cpp")
        self.assert_left_alone("class Long\n{\n" + 60 * "    int a;\n" + "};\n", "src/a.cpp")
        self.assert_left_alone(function(41), "tests/a.cpp")
        code, said, _ = self.check("src/a.cpp", function(41))
        self.assertEqual((code, said), (1, "src/a.cpp:1: a function with 41 lines of logic\n"))


if __name__ == "__main__":
    unittest.main()
