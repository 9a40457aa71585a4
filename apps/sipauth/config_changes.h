// What differs between two configurations.
#ifndef SIPAUTH_CONFIG_CHANGES_H
#define SIPAUTH_CONFIG_CHANGES_H

#include "tool.h"

#include <nlohmann/json.hpp>

namespace tool
{

/// A value that differs; null where there is none.
struct Change
{
    std::string key; ///< "object.main.config.defaults"
    Json before;
    Json after;
};

/// What differs between two objects, as deep as it goes, in the order of AFTER; what is gone comes last.
std::vector<Change> changesOf( const Json &before, const Json &after );

/// "key: before -> after", with "none" for what is not there.
std::string describe( const Change &change );

Json toJson( const std::vector<Change> &changes );

/// What stands in the place of a password.
inline constexpr char notShown[] = "(not shown)";

/// Whether a key, or a dotted path to one, is that of a password.
bool isSecret( const std::string &key );

} // namespace tool

#endif
