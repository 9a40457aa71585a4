// What a trace line of the library says about a failed check.
#ifndef HOST_HOST_REASON_PRIVATE_H
#define HOST_HOST_REASON_PRIVATE_H

#include <host/host_reason.h>

#include <string_view>

/// A text of the library, or the format of a formatted one.
struct host___ReasonText
{
    std::string_view text;
    int64_t reason;
    bool generic; ///< says that something failed which other lines of the same check tell better
};

/// The row of a text, null for a text that tells no failure. It lives for ever.
const host___ReasonText *host___ReasonTextFind( std::string_view text );

#endif
