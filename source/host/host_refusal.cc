// Why guards refuse: the names of the reasons, and how often each was given.
#include "host/host_refusal_private.h"

#include "pb/pb_assert.h"

#include <atomic>
#include <iterator>

namespace
{

// By number.
constexpr const char *names[] = { "none",           "kind",          "method",     "cseq",         "second-request",
                                  "before-request", "before-read",   "status",     "second-final", "before-response",
                                  "after-final",    "second-cancel", "not-invite", "before-final", "second-ack",
                                  "ended" };
static_assert( std::size( names ) == HOST_REFUSAL_COUNT );

constinit std::atomic<int64_t> counts[HOST_REFUSAL_COUNT] = {};

bool ok( int64_t refusal )
{
    return refusal >= HOST_REFUSAL_NONE && refusal < HOST_REFUSAL_COUNT;
}

} // namespace

const char *hostRefusalName( int64_t refusal )
{
    PB_ASSERT( ok( refusal ) );
    return names[refusal];
}

int64_t hostRefusalCount( int64_t refusal )
{
    PB_ASSERT( ok( refusal ) );
    return counts[refusal].load( std::memory_order_relaxed );
}

int64_t host___Refuse( int64_t refusal )
{
    PB_ASSERT( ok( refusal ) );
    PB_ASSERT( refusal != HOST_REFUSAL_NONE );
    counts[refusal].fetch_add( 1, std::memory_order_relaxed );
    return refusal;
}
