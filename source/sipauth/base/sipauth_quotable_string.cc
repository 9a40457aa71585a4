// Quotable strings.
#include "sipauth/base/sipauth_quotable_string_private.h"

#include "pb/pb_assert.h"
#include "sipauth/base/sipauth_escape_private.h"

using namespace sipauth;

pbBool sipauth___QuotableStringOk( pbString *quotableString )
{
    PB_ASSERT( quotableString );
    return 1;
}

namespace
{

// The escaped form of a string that is not ASCII. Code points are kept as they are, even those that UTF-8 cannot hold.
pb::Ref<pbString> escapeChars( pbString *string )
{
    int64_t length = pbStringLength( string );
    std::vector<pbChar> escaped( static_cast<size_t>( 2 * length ) );
    pbChar *end = escape( pbStringBacking( string ), length, escaped.data() );
    return pb::own( pbStringCreateFromChars( escaped.data(), end - escaped.data() ) );
}

} // namespace

pbString *sipauth___QuotableStringEncodeUnq( pbString *quotableString )
{
    PB_ASSERT( quotableString );
    if( !pbStringAscii( quotableString ) )
        return escapeChars( quotableString ).give();
    pb::Text text;
    sipauth___QuotableStringAppendUnq( &text, quotableString );
    return text.toString().give();
}

pbString *sipauth___QuotableStringEncode( pbString *quotableString )
{
    PB_ASSERT( quotableString );
    auto quoted = pb::own( pbStringCreateFromCstr( "\"", 1 ) );
    pbStringAppend( quoted.inout(), pb::own( sipauth___QuotableStringEncodeUnq( quotableString ) ) );
    pbStringAppendChar( quoted.inout(), '"' );
    return quoted.give();
}

pbString *sipauth___QuotableStringTryDecode( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( chs || length == 0 );
    return tryUnquote( chs, length ).give();
}

void sipauth___QuotableStringAppendUnq( pb::Text *text, pbString *quotableString )
{
    PB_ASSERT( text );
    PB_ASSERT( quotableString );
    const char *ascii = pbStringAscii( quotableString );
    if( !ascii )
        return text->append( escapeChars( quotableString ) );
    int64_t length = pbStringLength( quotableString );
    char *room = text->room( 2 * length );
    text->wrote( escape( ascii, length, room ) - room );
}

void sipauth___QuotableStringAppend( pb::Text *text, pbString *quotableString )
{
    text->append( "\"" );
    sipauth___QuotableStringAppendUnq( text, quotableString );
    text->append( "\"" );
}
