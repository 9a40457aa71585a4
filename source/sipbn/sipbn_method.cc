// Methods of SIP requests.
#include <sipbn/sipbn_method.h>

#include "pb/pb_assert.h"
#include "sipsn/sipsn_bytes.h"

#include <iterator>
#include <string_view>

namespace
{

// By number.
constexpr std::string_view names[] = {
    "INVITE",    "ACK",    "BYE",     "CANCEL", "OPTIONS", "REGISTER", "PRACK",
    "SUBSCRIBE", "NOTIFY", "PUBLISH", "INFO",   "REFER",   "MESSAGE",  "UPDATE",
};
static_assert( std::size( names ) == SIPBN_METHOD_UPDATE + 1 );

} // namespace

int64_t sipbnMethodTryDecodeFromRequest( sipsnMessage *message )
{
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    int64_t length = 0;
    const char *bytes = sipsn___MessageMethodBytes( message, &length );
    std::string_view method( bytes, static_cast<size_t>( length ) );
    for( size_t index = 0; index < std::size( names ); index++ )
    {
        if( names[index] == method )
            return static_cast<int64_t>( index );
    }
    return -1;
}
