"""The check of exported symbols sees a leak and a promise without a symbol."""

import subprocess
import unittest

import check_support
import exported_symbols

BASE = "#define PB_EXPORT __attribute__( ( visibility( \"default\" ) ) )\n"


class ExportedSymbols(check_support.PlantedTree):
    def findings(self, header, source):
        self.plant("include/pb/a.h", BASE + header)
        self.plant("source/pb/a.c", '#include "../../include/pb/a.h"\n' + source)
        library = self.root / "libpb.so"
        subprocess.run(["gcc", "-shared", "-fPIC", "-o", library, self.root / "source/pb/a.c"], check=True)
        return exported_symbols.check(self.root, library, ["pb"])[0]

    def test_accepts_what_agrees(self):
        header = ("PB_EXPORT int pbOne( void );\nextern PB_EXPORT int pb___two[2];\n"
                  "PB_EXPORT void pbThree( void ( *handler )( int ) )\n    __attribute__( ( noreturn, cold ) );\n"
                  "// PB_EXPORT int pbOld( void );\n")
        source = ("int pbOne( void ) { return 1; }\nint pb___two[2];\n"
                  "void pbThree( void ( *handler )( int ) ) { handler( 1 ); __builtin_trap(); }\n")
        self.assertEqual(self.findings(header, source), [])

    def test_finds_a_symbol_that_leaked(self):
        self.assert_found(self.findings("PB_EXPORT int pbOne( void );\n",
                                        "int pbOne( void ) { return 1; }\nint helper( void ) { return 1; }\n"),
                          "helper is exported but not declared")

    def test_finds_a_declaration_without_symbol(self):
        self.assert_found(self.findings("PB_EXPORT int pbOne( void );\nPB_EXPORT int pbTwo( void );\n",
                                        "int pbOne( void ) { return 1; }\n"),
                          "include/pb/a.h", "pbTwo is declared but not exported")

    def test_reads_the_names_of_declarations(self):
        for declaration, name in (("const char *pbName( const pbModule *module )", "pbName"),
                                  ("extern PB_EXPORT pbSort pb___sort", "pb___sort"),
                                  ("int pbTable[3][4]", "pbTable"),
                                  ("__attribute__( ( cold ) ) void pbAbort( void ( *f )( void ) )", "pbAbort")):
            self.assertEqual(exported_symbols.declared_name(declaration), name)


if __name__ == "__main__":
    unittest.main()
