// Classes and reason phrases of SIP status codes (RFC 3261 sections 7.2 and 21).
#include <sipsn/sipsn_status_code.h>

#include "pb/pb_assert.h"

#include <algorithm>
#include <iterator>

namespace
{

struct Phrase
{
    int64_t statusCode;
    const char *text;
};

constexpr Phrase phrases[] = {
    { 100, "Trying" },
    { 180, "Ringing" },
    { 181, "Call Is Being Forwarded" },
    { 182, "Queued" },
    { 183, "Session Progress" },
    { 200, "OK" },
    { 300, "Multiple Choices" },
    { 301, "Moved Permanently" },
    { 302, "Moved Temporarily" },
    { 305, "Use Proxy" },
    { 380, "Alternative Service" },
    { 400, "Bad Request" },
    { 401, "Unauthorized" },
    { 402, "Payment Required" },
    { 403, "Forbidden" },
    { 404, "Not Found" },
    { 405, "Method Not Allowed" },
    { 406, "Not Acceptable" },
    { 407, "Proxy Authentication Required" },
    { 408, "Request Timeout" },
    { 410, "Gone" },
    { 413, "Request Entity Too Large" },
    { 414, "Request-URI Too Long" },
    { 415, "Unsupported Media Type" },
    { 416, "Unsupported URI Scheme" },
    { 420, "Bad Extension" },
    { 421, "Extension Required" },
    { 423, "Interval Too Brief" },
    { 480, "Temporarily Unavailable" },
    { 481, "Call/Transaction Does Not Exist" },
    { 482, "Loop Detected" },
    { 483, "Too Many Hops" },
    { 484, "Address Incomplete" },
    { 485, "Ambiguous" },
    { 486, "Busy Here" },
    { 487, "Request Terminated" },
    { 488, "Not Acceptable Here" },
    { 491, "Request Pending" },
    { 493, "Undecipherable" },
    { 500, "Server Internal Error" },
    { 501, "Not Implemented" },
    { 502, "Bad Gateway" },
    { 503, "Service Unavailable" },
    { 504, "Server Time-out" },
    { 505, "Version Not Supported" },
    { 513, "Message Too Large" },
    { 600, "Busy Everywhere" },
    { 603, "Decline" },
    { 604, "Does Not Exist Anywhere" },
    { 606, "Not Acceptable" },
};
static_assert( std::size( phrases ) == 50 );

constexpr bool before( const Phrase &a, const Phrase &b )
{
    return a.statusCode < b.statusCode;
}
static_assert( std::is_sorted( std::begin( phrases ), std::end( phrases ), before ) );

// The names of the classes 1xx to 6xx.
constexpr const char *classPhrases[] = { "Provisional",     "Successful",     "Redirection",
                                         "Request Failure", "Server Failure", "Global Failure" };
static_assert( std::size( classPhrases ) == 6 );

} // namespace

pbBool sipsnStatusCodeOk( int64_t statusCode )
{
    return statusCode >= 100 && statusCode <= 699;
}

pbBool sipsnStatusCodeInformational( int64_t statusCode )
{
    return statusCode >= 100 && statusCode <= 199;
}

pbBool sipsnStatusCodeSuccess( int64_t statusCode )
{
    return statusCode >= 200 && statusCode <= 299;
}

const char *sipsnStatusCodeReasonPhrase( int64_t statusCode )
{
    PB_ASSERT( sipsnStatusCodeOk( statusCode ) );
    const Phrase *found =
        std::lower_bound( std::begin( phrases ), std::end( phrases ), Phrase{ statusCode, "" }, before );
    if( found != std::end( phrases ) && found->statusCode == statusCode )
        return found->text;
    return classPhrases[statusCode / 100 - 1];
}
