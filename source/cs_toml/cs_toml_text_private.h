// TOML text as this library sees it: the one place that knows the parser.
#ifndef CS_TOML_CS_TOML_TEXT_PRIVATE_H
#define CS_TOML_CS_TOML_TEXT_PRIVATE_H

#include <pb/pb_ref.hh>
#include <pb/pb_store.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace cs_toml
{

/// The keys that lead to a value.
using Path = std::vector<std::string>;

/// A place in a text; both count from 1, columns in code points.
struct Place
{
    int64_t line;
    int64_t column;
};

/// A key and its value.
struct Item
{
    Path path;
    Place key;
    Place begin; ///< of the value; of a table its head
    Place end;   ///< behind it
};

/// Something wrong.
struct Finding
{
    Place place;
    std::string what;
};

/// What a text holds.
struct Text
{
    pb::Ref<pbStore> store;        ///< null for text that is no TOML
    std::vector<Item> items;       ///< in the order of the text, a table before what it holds
    std::vector<Finding> findings; ///< values of types that a store does not have, or why it is no TOML
};

Text parse( std::string_view text );

/// The item of a path, or null.
const Item *find( const Text &text, const Path &path );

/// "table.key", without quotes.
std::string joined( const Path &path );

/// A string as TOML writes it.
std::string quoted( const std::string &text );

/// A key as TOML writes it, quoted where it must be.
std::string key( const std::string &name );

} // namespace cs_toml

#endif
