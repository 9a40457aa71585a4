// The bytes of a message's parts; see the header.
#include "sipsn/sipsn_bytes.h"

#include "sipsn/sipsn_header_name_private.h"
#include "sipsn/sipsn_message_private.h"

const char *sipsn___MessageMethodBytes( sipsnMessage *message, int64_t *length )
{
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    PB_ASSERT( length );
    std::string_view method = message->view( message->method );
    *length = static_cast<int64_t>( method.size() );
    return method.data();
}

const char *sipsn___MessageNextValueBytes( sipsnMessage *message, const char *name, int64_t *index, int64_t *length )
{
    PB_ASSERT( message );
    PB_ASSERT( name );
    PB_ASSERT( index );
    PB_ASSERT( *index >= 0 );
    PB_ASSERT( length );
    sipsn::HeaderName searched( name, -1 );
    for( ; *index < message->linesLength; ++*index )
    {
        const sipsn::HeaderLine &line = message->lines()[*index];
        if( !searched.matches( message->view( line.name ) ) )
            continue;
        std::string_view value = message->view( line.value );
        *length = static_cast<int64_t>( value.size() );
        ++*index;
        return value.data();
    }
    return nullptr;
}
