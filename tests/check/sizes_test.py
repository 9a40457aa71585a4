"""The check of sizes measures functions as a reader would."""

import unittest

import check_support
import sizes


def body(lines):
    return "{\n" + "    work();\n" * (lines - 2) + "}\n"


class Sizes(check_support.PlantedTree):
    def lengths(self, text):
        return [length for _, length in sizes.functions(text)]

    def test_counts_signature_and_braces(self):
        self.assertEqual(self.lengths("int one( int a,\n         int b )\n" + body(5)), [7])

    def test_counts_a_function_on_one_line(self):
        self.assertEqual(self.lengths("int one() { return 1; }\n"), [1])

    def test_looks_into_classes_and_namespaces(self):
        text = "namespace a\n{\n\nclass B\n{\npublic:\n    int c() const\n    {\n        return 1;\n    }\n};\n\n}\n"
        self.assertEqual(self.lengths(text), [4])

    def test_counts_tests(self):
        self.assertEqual(self.lengths("TEST( Vector, IsEmpty )\n" + body(10)), [11])

    def test_does_not_take_blocks_for_functions(self):
        text = "void one()\n{\n    if( a )\n    {\n        b();\n    }\n}\nstatic int table[] =\n{\n    f( 1 ),\n};\n"
        self.assertEqual(self.lengths(text), [7])

    def test_does_not_count_braces_in_comments(self):
        self.assertEqual(self.lengths("void one()\n{\n/*\n}\n*/\n    a();\n}\n"), [7])

    def test_refuses_a_long_function(self):
        self.plant("source/pb/a.cc", "void one()\n" + body(80))
        self.assert_found(sizes.check(self.root)[0], "source/pb/a.cc:1", "81 lines")

    def test_accepts_a_function_at_the_limit(self):
        self.plant("source/pb/a.cc", "void one()\n" + body(79))
        self.assertEqual(sizes.check(self.root)[0], [])

    def test_refuses_a_long_file(self):
        self.plant("tests/a.cc", "int a;\n" * 901)
        self.assert_found(sizes.check(self.root)[0], "tests/a.cc", "901 lines")

    def test_tells_the_quantiles(self):
        self.assertEqual(sizes.quantiles([5, 1, 4, 2, 3]), [2, 3, 5, 5])


if __name__ == "__main__":
    unittest.main()
