// Stores in TOML files: tables are stores, and strings, integers and booleans are values.
#ifndef SIPAUTH_TOML_STORE_H
#define SIPAUTH_TOML_STORE_H

#include "tool.h"

#include <pb/pb_store.h>

#include <functional>
#include <map>

namespace tool
{

/// A store as a file holds it.
struct TomlStore
{
    pb::Ref<pbStore> store;
    std::map<std::string, int64_t> lines; ///< where each key stands; "table.key" for a nested one
    std::vector<Finding> findings;        ///< values of types that a store does not have
};

/// The store that TOML text holds. Text that is no TOML throws a UsageError which names FILE and the line.
TomlStore readToml( const std::string &text, const std::string &file );

/// What to say behind the value of a key ("table.key" for a nested one), empty for nothing.
using TomlRemark = std::function<std::string( const std::string &key )>;

/// A store as TOML text: values first, then one table for each nested store.
std::string writeToml( pbStore *store, TomlRemark remark );

/// A store as a JSON object.
Json toJson( pbStore *store );

} // namespace tool

#endif
