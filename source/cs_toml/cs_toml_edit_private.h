// Changing a text as little as possible.
#ifndef CS_TOML_CS_TOML_EDIT_PRIVATE_H
#define CS_TOML_CS_TOML_EDIT_PRIVATE_H

#include <pb/pb_store.h>

#include <string>

namespace cs_toml
{

/// TEXT, which is TOML, with the values of STORE in place of those that differ, and with the tables and the values that
/// are new. What STORE does not have stays, and a value of another kind (a table for a text) is not changed: so the
/// caller looks whether the result holds what it shall hold.
std::string edit( const std::string &text, pbStore *store );

} // namespace cs_toml

#endif
