"""The check of texts finds each kind of blemish."""

import unittest

import check_support
import texts

GOOD = "// What it is.\nint a;\n"


class Texts(check_support.PlantedTree):
    def findings(self, file, text):
        self.plant(file, text)
        return texts.check(self.root)[0]

    def test_accepts_a_clean_file(self):
        self.assertEqual(self.findings("source/pb/a.cc", GOOD), [])

    def test_finds_white_space_at_an_end(self):
        self.assert_found(self.findings("source/pb/a.cc", GOOD + "int b; \n"), "a.cc:3", "white space")

    def test_finds_a_foreign_line_end(self):
        self.assert_found(self.findings("docs/a.md", "one\r\ntwo\n"), "a.md:1", "CR LF")

    def test_finds_a_tab(self):
        self.assert_found(self.findings("source/pb/a.cc", GOOD + "\tint b;\n"), "a tab")

    def test_finds_a_line_without_end(self):
        self.assert_found(self.findings("docs/a.md", "one"), "does not end")

    def test_finds_an_empty_last_line(self):
        self.assert_found(self.findings("docs/a.md", "one\n\n"), "empty line")

    def test_leaves_recorded_data_alone(self):
        self.plant("docs/a.md", "one\n")
        self.assertEqual(self.findings("tests/data/a.txt", "one \r\n\n"), [])

    def test_finds_a_file_without_opening_comment(self):
        self.assert_found(self.findings("source/pb/a.cc", "int a;\n"), "open with a comment")
        self.assert_found(self.findings("source/pb/a.cc", GOOD) + self.findings("scripts/a", "#!/bin/bash\necho\n"),
                          "scripts/a", "open with a comment")

    def test_finds_an_undocumented_function(self):
        text = "// What it is.\n/// One.\nPB_EXPORT int pbOne( void );\nPB_EXPORT int pbTwo( void );\n"
        self.assert_found(self.findings("include/pb/a.h", text), "a.h:4", "without its comment")

    def test_finds_a_struct_body_in_a_public_header(self):
        self.assert_found(self.findings("include/pb/a.h", GOOD + "struct pbA\n{\n    int a;\n};\n"), "struct body")
        self.assertEqual(self.findings("include/pb/a.h", GOOD + "typedef struct pbA pbA;\n"), [])

    def test_finds_an_internal_name_in_a_public_header(self):
        self.assert_found(self.findings("include/pb/a.h", GOOD + "int pb___A( void );\n"), "internal name")

    def test_finds_prose_that_does_not_stand_alone(self):
        for words in ("TODO: more", "FIXME", "in /home/alice/tree"):
            self.assert_found(self.findings("source/pb/a.cc", f"// What it is: {words}.\n"), "a.cc:1")

    def test_accepts_prose_that_cites(self):
        self.assertEqual(self.findings("source/pb/a.cc", "// RFC 7616 section 3.4, part of it; http://a/home/b\n"), [])


if __name__ == "__main__":
    unittest.main()
