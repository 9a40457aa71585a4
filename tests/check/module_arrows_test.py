"""The check of the module graph finds each kind of wrong include and nothing else."""

import unittest

import check_support
import module_arrows


class ModuleArrows(check_support.PlantedTree):
    def findings(self, file, *includes):
        self.plant(file, "".join(f"#include {include}\n" for include in includes))
        return module_arrows.check(self.root)[0]

    def test_accepts_the_arrows_of_the_graph(self):
        self.assertEqual(self.findings("source/cs/a.cc", '"cs/cs_private.h"', '"pb/pb_type.h"', "<tr/tr_stream.h>",
                                       "<algorithm>", "<sys/types.h>", '"pb/pb_module_private.h"'), [])
        self.assertEqual(self.findings("source/sipauth/base/a.cc", '"iri/iri_skip.h"', "<usr/usr_reference.h>"), [])
        self.assertEqual(self.findings("source/host/a.cc", "<sipauth/sipauth.h>"), [])
        self.assertEqual(self.findings("source/cry/a.cc", "<openssl/evp.h>"), [])
        self.assertEqual(self.findings("apps/sipauth/a.cc", "<sipauth/sipauth.h>", "<CLI/CLI.hpp>", '"output.h"'), [])
        self.assertEqual(self.findings("tests/pb/a.cc", '"pb/pb_private.h"', "<gtest/gtest.h>"), [])

    def test_refuses_an_arrow_upwards(self):
        self.assert_found(self.findings("source/pb/a.cc", "<vector>", "<tr/tr_stream.h>"), "source/pb/a.cc:2",
                          "pb may not use tr")

    def test_refuses_an_arrow_upwards_in_a_public_header(self):
        self.assert_found(self.findings("include/usr/a.h", "<sipauth/sipauth.h>"), "usr may not use sipauth")

    def test_refuses_an_arrow_sideways(self):
        self.assert_found(self.findings("source/rfc/a.cc", "<cry/cry_hash.h>"), "rfc may not use cry")

    def test_refuses_a_private_header_of_another_module(self):
        self.assert_found(self.findings("source/tr/a.cc", '"pb/pb_private.h"'), "pb/pb_private.h is private to pb")

    def test_refuses_a_private_header_of_the_platform_in_a_program(self):
        self.assert_found(self.findings("apps/sipauth/a.cc", '"sipauth/base/sipauth_value_private.h"',
                                        '"tr/tr_private.h"'), "tr/tr_private.h is private")

    def test_refuses_an_internal_header_in_a_public_one(self):
        self.assert_found(self.findings("include/tr/a.h", '"pb/pb_object.h"'), "a public header includes an internal")

    def test_refuses_libcrypto_in_the_library(self):
        self.assert_found(self.findings("source/sipauth/a.cc", "<openssl/evp.h>"), "sipauth may not use libcrypto")

    def test_refuses_a_third_party_library_below_the_programs(self):
        self.assert_found(self.findings("source/cs/a.cc", "<fmt/core.h>"), "third-party")
        self.assert_found(self.findings("source/cs/a.cc", "<toml++/toml.h>"), "cs may not use toml++/toml.h")

    def test_lets_a_driver_use_its_database_and_no_other_module(self):
        self.assertEqual(self.findings("source/usr_sqlite/a.cc", "<sqlite3.h>", '"usr/usr_driver.h"',
                                       '"usr_seal/usr_seal_row.h"'), [])
        self.assertEqual(self.findings("source/usr_postgres/a.cc", "<libpq-fe.h>"), [])
        self.assertEqual(self.findings("source/usr_seal/a.cc", "<openssl/evp.h>"), [])

    def test_refuses_a_database_in_any_other_module(self):
        self.assert_found(self.findings("source/usr/a.cc", "<sqlite3.h>"), "usr may not use sqlite3.h")

    def test_refuses_the_database_of_another_driver(self):
        self.assert_found(self.findings("source/usr_sqlite/a.cc", "<libpq-fe.h>"), "usr_sqlite may not use libpq-fe.h")

    def test_refuses_a_database_in_a_public_header(self):
        self.assert_found(self.findings("include/usr_sqlite/a.h", "<sqlite3.h>"), "usr_sqlite may not use sqlite3.h")

    def test_refuses_a_driver_below_it(self):
        self.assert_found(self.findings("source/usr/a.cc", '"usr_seal/usr_seal_row.h"'), "usr may not use usr_seal")

    def test_accepts_the_third_party_library_of_a_module(self):
        self.assertEqual(self.findings("source/cs_toml/a.cc", "<toml++/toml.h>", "<cs/cs_format.h>",
                                       "<pb/pb_store.h>"), [])

    def test_refuses_the_third_party_library_of_a_module_in_its_public_header(self):
        self.assert_found(self.findings("include/cs_toml/a.h", "<toml++/toml.h>"), "cs_toml may not use toml++/toml.h")

    def test_refuses_any_other_third_party_library_of_such_a_module(self):
        self.assert_found(self.findings("source/cs_toml/a.cc", "<fmt/format.h>"), "third-party")

    def test_refuses_such_a_module_in_the_library_and_the_platform(self):
        self.assert_found(self.findings("source/cs/a.cc", "<cs_toml/cs_toml.h>"), "cs may not use cs_toml")

    def test_refuses_a_path_that_does_not_start_at_a_module(self):
        self.assert_found(self.findings("source/pb/a.cc", '"pb_private.h"'), "by its path from source/")

    def test_refuses_an_unknown_module(self):
        self.assert_found(self.findings("source/extra/a.cc", "<vector>"), "extra is no module")

    def test_counts_what_it_looks_at(self):
        self.findings("source/pb/a.cc", "<vector>", "<tr/tr_stream.h>")
        self.assertEqual(module_arrows.check(self.root)[1], 2)


if __name__ == "__main__":
    unittest.main()
