"""The check of the headers refuses one that does not stand alone in either language."""

import unittest

import check_support
import headers_compile

GUARDED = "#ifndef A_H\n#define A_H\n{}\n#endif\n"


class HeadersCompile(check_support.PlantedTree):
    def findings(self, name, text):
        self.plant(f"include/pb/{name}", text)
        return headers_compile.check(self.root, ["gcc"])[0]

    def test_accepts_a_header_that_stands_alone(self):
        self.assertEqual(self.findings("a.h", GUARDED.format("int pbOne( void );")), [])

    def test_refuses_a_header_that_needs_another(self):
        findings = self.findings("a.h", GUARDED.format("int64_t pbOne( void );"))
        self.assertEqual(len(findings), 2, findings)

    def test_refuses_what_is_no_c(self):
        self.assert_found(self.findings("a.h", GUARDED.format("inline bool pbOne() { return true; }")), "alone as c11")

    def test_refuses_what_is_no_cxx(self):
        self.assert_found(self.findings("a.h", GUARDED.format("void pbOne( int class );")), "alone as c++20")

    def test_refuses_a_header_without_guard(self):
        self.assertNotEqual(self.findings("a.h", "struct pbOne { int two; };\n"), [])

    def test_compiles_a_wrapper_as_cxx_alone(self):
        self.assertEqual(self.findings("a.hh", GUARDED.format("template<class T> class Ref {};")), [])
        self.assertEqual(headers_compile.check(self.root, ["gcc"])[1], 1)


if __name__ == "__main__":
    unittest.main()
