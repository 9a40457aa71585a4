// Why a header value does not parse, and at which character.
#ifndef SIPAUTH_EXPLAIN_H
#define SIPAUTH_EXPLAIN_H

#include "tool.h"

namespace tool
{

/// What a header value is about.
enum class ValueKind
{
    challenge,   ///< WWW-Authenticate, Proxy-Authenticate
    credentials, ///< Authorization, Proxy-Authorization
};

/// Where a value stops making sense.
struct Explanation
{
    int64_t at = 0;     ///< the offset of the character, from 0
    std::string reason; ///< empty when nothing is wrong
    std::string name{}; ///< the parameter whose value is refused, in lower case; empty for any other fault
};

/// A parameter as it stands in a value.
struct Parameter
{
    std::string name;
    std::string value; ///< without quotes and escapes
    int64_t at;        ///< where the value begins
};

/// Looks at the value part by part, as the library's decoder does, and tells the first thing that it refuses.
Explanation explain( pbString *value, ValueKind kind );

/// The scheme of a value in lower case.
std::string schemeOf( pbString *value );

/// The parameters of a value, as far as they can be read.
std::vector<Parameter> parametersOf( pbString *value );

/// The value of the last parameter of that name, in any letter case; OTHERWISE when there is none.
std::string parameterOr( pbString *value, const std::string &name, const std::string &otherwise );

} // namespace tool

#endif
