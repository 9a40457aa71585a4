// What came of the transactions of a soak, and of the rules that none may break.
#ifndef SOAK_OUTCOMES_H
#define SOAK_OUTCOMES_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

namespace soak
{

enum class Outcome
{
    ACCEPTED,
    CHALLENGED,
    REFUSED,
    CLIENT_FAILED,
    GIVEN_UP,
    CANCELLED,
    ACKNOWLEDGED,
    OPTIONS_SET,
    RELOADED,
    RELOAD_REFUSED,
    SESSIONS_RENEWED
};

/// Counts, from any thread.
class Outcomes
{
public:
    void count( Outcome outcome ) { counts_[size_t( outcome )]++; }
    /// A rule was broken: says so on standard error, up to a number of times.
    void broken( const std::string &rule );
    bool allKept() const { return broken_ == 0; }
    int64_t of( Outcome outcome ) const { return counts_[size_t( outcome )]; }
    /// One line with all of them.
    std::string summary() const;

private:
    std::array<std::atomic<int64_t>, size_t( Outcome::SESSIONS_RENEWED ) + 1> counts_ = {};
    std::atomic<int64_t> broken_ = 0;
};

} // namespace soak

#endif
