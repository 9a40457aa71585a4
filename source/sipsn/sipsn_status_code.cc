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

// RFC 3261 section 21, and the extensions that the IANA registry of response codes lists.
constexpr Phrase phrases[] = {
    { 100, "Trying" },
    { 180, "Ringing" },
    { 181, "Call Is Being Forwarded" },
    { 182, "Queued" },
    { 183, "Session Progress" },
    { 199, "Early Dialog Terminated" },
    { 200, "OK" },
    { 202, "Accepted" },
    { 204, "No Notification" },
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
    { 412, "Conditional Request Failed" },
    { 413, "Request Entity Too Large" },
    { 414, "Request-URI Too Long" },
    { 415, "Unsupported Media Type" },
    { 416, "Unsupported URI Scheme" },
    { 417, "Unknown Resource-Priority" },
    { 420, "Bad Extension" },
    { 421, "Extension Required" },
    { 422, "Session Interval Too Small" },
    { 423, "Interval Too Brief" },
    { 424, "Bad Location Information" },
    { 425, "Bad Alert Message" },
    { 428, "Use Identity Header" },
    { 429, "Provide Referrer Identity" },
    { 430, "Flow Failed" },
    { 433, "Anonymity Disallowed" },
    { 436, "Bad Identity-Info" },
    { 437, "Unsupported Certificate" },
    { 438, "Invalid Identity Header" },
    { 439, "First Hop Lacks Outbound Support" },
    { 440, "Max-Breadth Exceeded" },
    { 469, "Bad Info Package" },
    { 470, "Consent Needed" },
    { 480, "Temporarily Unavailable" },
    { 481, "Call/Transaction Does Not Exist" },
    { 482, "Loop Detected" },
    { 483, "Too Many Hops" },
    { 484, "Address Incomplete" },
    { 485, "Ambiguous" },
    { 486, "Busy Here" },
    { 487, "Request Terminated" },
    { 488, "Not Acceptable Here" },
    { 489, "Bad Event" },
    { 491, "Request Pending" },
    { 493, "Undecipherable" },
    { 494, "Security Agreement Required" },
    { 500, "Server Internal Error" },
    { 501, "Not Implemented" },
    { 502, "Bad Gateway" },
    { 503, "Service Unavailable" },
    { 504, "Server Time-out" },
    { 505, "Version Not Supported" },
    { 513, "Message Too Large" },
    { 555, "Push Notification Service Not Supported" },
    { 580, "Precondition Failure" },
    { 600, "Busy Everywhere" },
    { 603, "Decline" },
    { 604, "Does Not Exist Anywhere" },
    { 606, "Not Acceptable" },
    { 607, "Unwanted" },
    { 608, "Rejected" },
};
static_assert( std::size( phrases ) == 75 );

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
