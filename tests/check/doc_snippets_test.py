"""The check of the documents' examples compiles them, and says where one fails."""

import unittest

import check_support
import doc_snippets


class DocSnippets(check_support.PlantedTree):
    def findings(self, text):
        self.plant("include/pb/a.h", "int pbOne( void );\n")
        self.plant("docs/a.md", text)
        return doc_snippets.check(self.root)[0]

    def test_accepts_examples_that_compile(self):
        self.assertEqual(self.findings("```c\n#include <pb/a.h>\nint b( void ) { return pbOne(); }\n```\n\n"
                                       "```cpp\nauto c = [] { return 1; };\n```\n"), [])

    def test_says_where_an_example_fails(self):
        self.assert_found(self.findings("One.\n\n```c\nint b( void ) { return pbTwo(); }\n```\n"), "docs/a.md:4",
                          "pbTwo")

    def test_reads_c_as_c(self):
        self.assert_found(self.findings("```c\nauto c = [] { return 1; };\n```\n"), "docs/a.md:2")

    def test_leaves_other_blocks_alone(self):
        self.assertEqual(self.findings("```\nnot code\n```\n\n```cpp\nint a;\n```\n"), [])
        self.assertEqual(doc_snippets.check(self.root)[1], 1)


if __name__ == "__main__":
    unittest.main()
