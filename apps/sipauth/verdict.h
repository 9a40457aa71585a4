// What a check of credentials finds out, and how it is told.
#ifndef SIPAUTH_VERDICT_H
#define SIPAUTH_VERDICT_H

#include "cause.h"

#include <optional>
#include <string>
#include <vector>

namespace tool
{

/// One check of the ordered list.
struct Step
{
    std::string name;
    std::string outcome; ///< "pass", "fail" or "not reached"
    std::string detail;
};

/// Everything that the command finds out.
struct Verdict
{
    std::vector<Step> steps;
    std::string received;
    std::string computed;
    std::vector<std::string> secrets; ///< intermediate values, shown on demand only
    std::optional<Cause> cause;       ///< of a failure
    std::vector<Cause> notes;         ///< what is worth a look and made nothing fail

    bool passed() const;
    /// The step that failed, null when none did.
    const Step *failed() const;
};

void printVerdict( const Verdict &verdict, bool secrets, bool json );

} // namespace tool

#endif
