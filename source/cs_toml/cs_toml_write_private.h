// Writing the values of stores.
#ifndef CS_TOML_CS_TOML_WRITE_PRIVATE_H
#define CS_TOML_CS_TOML_WRITE_PRIVATE_H

#include <pb/pb_store.h>

#include <string>

namespace cs_toml
{

/// The text, integer or boolean under a key as TOML writes it.
std::string valueText( pbStore *store, pbString *key );

} // namespace cs_toml

#endif
