// The authentication headers of an input: header values, header lines or a whole message.
#ifndef SIPAUTH_HEADER_VALUES_H
#define SIPAUTH_HEADER_VALUES_H

#include "explain.h"

namespace tool
{

/// A part of a header value that stands on one line of the input.
struct ValuePart
{
    int64_t offset; ///< of its first character in the unfolded value
    int64_t line;   ///< from 1
    int64_t column; ///< of its first character, from 1
    std::string source;
};

/// A header value and where it stands in the input.
struct Value
{
    std::string header; ///< as written; empty for a bare value
    std::string text;   ///< unfolded
    ValueKind kind;
    std::vector<ValuePart> parts; ///< one for each line that it is folded over

    int64_t line() const { return parts.front().line; }
    /// The part that a character of the value stands in.
    const ValuePart &partAt( int64_t offset ) const;
};

/// All challenges and credentials in the text of FILE. Of a message only its headers are read; one that cannot be
/// decoded is the caller's mistake.
std::vector<Value> readValues( const std::string &text, const std::string &file );

} // namespace tool

#endif
