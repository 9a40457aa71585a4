// What came of the transactions of a soak.
#include "outcomes.h"

#include <cstdio>
#include <iterator>

namespace soak
{

namespace
{

constexpr const char *names[] = {
    "accepted",     "challenged",  "refused",  "client failed",  "given up",         "cancelled",
    "acknowledged", "options set", "reloaded", "reload refused", "sessions renewed",
};
static_assert( std::size( names ) == size_t( Outcome::SESSIONS_RENEWED ) + 1 );

constexpr int64_t mostToTell = 20;

} // namespace

void Outcomes::broken( const std::string &rule )
{
    if( broken_++ < mostToTell )
        std::fprintf( stderr, "sipauth-soak: broken: %s\n", rule.c_str() );
}

std::string Outcomes::summary() const
{
    std::string line;
    for( size_t index = 0; index < std::size( names ); index++ )
        line += std::to_string( counts_[index] ) + " " + names[index] + ", ";
    return line + std::to_string( broken_ ) + " rules broken";
}

} // namespace soak
