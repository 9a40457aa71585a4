// The base encodings: which alphabet and group size belong to which, padding, and line breaks. The work on the
// characters is in rfc_base_code_private.h. A text has one decoding and bytes have one encoding under given options.
#include "pb/pb_assert.h"
#include "pb/pb_text.h"
#include "rfc/rfc_base_code_private.h"
#include "rfc/rfc_base_options_private.h"

#include <rfc/rfc_base.h>

#include <cstring>

namespace rfc
{
namespace
{

constexpr Alphabet hexLower = makeAlphabet( "0123456789abcdef" );
constexpr Alphabet hexUpper = makeAlphabet( "0123456789ABCDEF" );
constexpr Alphabet base32 = makeAlphabet( "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567" );
constexpr Alphabet base32hex = makeAlphabet( "0123456789ABCDEFGHIJKLMNOPQRSTUV" );
constexpr Alphabet base64 = makeAlphabet( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/" );
constexpr Alphabet base64url = makeAlphabet( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_" );

/// What is known about a base encoding.
struct Base
{
    std::array<const Alphabet *, 2> alphabets; ///< by RFC_BASE_ALPHABET
    int64_t groupChars;                        ///< the fewest characters that carry whole bytes: what padding fills up
    int64_t ( *charsFor )( int64_t bytes );
    int64_t ( *bytesFor )( int64_t chars );
    void ( *encode )( const Alphabet &alphabet, const uint8_t *bytes, int64_t count, char *chars );
    bool ( *decode )( const Alphabet &alphabet, const char *chars, int64_t count, uint8_t *bytes );

    const Alphabet &alphabet( const rfcBaseOptions *options ) const
    {
        return *alphabets[static_cast<size_t>( options->alphabet )];
    }
};

template<int bits>
constexpr Base makeBase( const Alphabet &standard, const Alphabet &alternate, int64_t groupChars )
{
    return { { &standard, &alternate }, groupChars, charsFor<bits>, bytesFor<bits>, encode<bits>, decode<bits> };
}

// By RFC_BASE.
constexpr std::array bases = {
    makeBase<4>( hexLower, hexUpper, 2 ),
    makeBase<5>( base32, base32hex, 8 ),
    makeBase<6>( base64url, base64url, 4 ),
    makeBase<6>( base64, base64url, 4 ),
};
static_assert( bases.size() == RFC_BASE_64 + 1 );

// The same text with CR LF after every LINE_LENGTH characters but the last.
pb::Ref<pbString> breakLines( const pb::Text &text, int64_t lineLength )
{
    pb::Text broken;
    int64_t pos = 0;
    for( ; text.length() - pos > lineLength; pos += lineLength )
    {
        broken.append( text.bytes() + pos, lineLength );
        broken.append( "\r\n" );
    }
    broken.append( text.bytes() + pos, text.length() - pos );
    return broken.toString();
}

// The text without the line breaks that breakLines makes; false when one is missing. Breaks elsewhere stay in, and the
// alphabet refuses them.
bool joinLines( const char *chs, int64_t length, int64_t lineLength, pb::Text &joined )
{
    while( length > lineLength )
    {
        joined.append( chs, lineLength );
        chs += lineLength;
        length -= lineLength;
        if( length <= 2 || chs[0] != '\r' || chs[1] != '\n' )
            return false;
        chs += 2;
        length -= 2;
    }
    joined.append( chs, length );
    return true;
}

// How many characters of a padded text are data, -1 when padding is missing. More "=" than a group can have is left in,
// and the alphabet refuses it.
int64_t withoutPadding( const char *chs, int64_t length, int64_t groupChars )
{
    if( length % groupChars != 0 )
        return -1;
    int64_t data = length;
    while( data > 0 && length - data < groupChars - 1 && chs[data - 1] == '=' )
        data--;
    return data;
}

pb::Ref<pbBuffer> decodeText( const char *chs, int64_t length, const Base &base, const rfcBaseOptions *options )
{
    int64_t data = options->padding ? withoutPadding( chs, length, base.groupChars ) : length;
    if( data < 0 )
        return nullptr;
    int64_t count = base.bytesFor( data );
    pb::Text bytes;
    if( !base.decode( base.alphabet( options ), chs, data, reinterpret_cast<uint8_t *>( bytes.room( count ) ) ) )
        return nullptr;
    return pb::own( pbBufferCreateFromBytes( bytes.bytes(), count ) );
}

} // namespace
} // namespace rfc

pbString *rfcBaseEncodeToString( pbBuffer *buffer, int64_t base )
{
    return rfcBaseEncodeToStringWithOptions( buffer, base, pb::own( rfcBaseOptionsCreate() ) );
}

pbString *rfcBaseEncodeToStringWithOptions( pbBuffer *buffer, int64_t base, rfcBaseOptions *options )
{
    PB_ASSERT( buffer );
    PB_ASSERT( RFC_BASE_OK( base ) );
    PB_ASSERT( options );
    const rfc::Base &encoding = rfc::bases[static_cast<size_t>( base )];
    int64_t count = pbBufferLength( buffer );
    int64_t data = encoding.charsFor( count );
    int64_t spare = data % encoding.groupChars;
    int64_t padding = spare > 0 && options->padding ? encoding.groupChars - spare : 0;

    pb::Text text;
    char *chs = text.room( data + padding );
    encoding.encode( encoding.alphabet( options ), pbBufferBacking( buffer ), count, chs );
    std::memset( chs + data, '=', static_cast<size_t>( padding ) );
    text.wrote( data + padding );

    int64_t lineLength = options->lineLength;
    return ( lineLength > 0 ? rfc::breakLines( text, lineLength ) : text.toString() ).give();
}

pbBuffer *rfcBaseTryDecodeString( pbString *text, int64_t base )
{
    return rfcBaseTryDecodeStringWithOptions( text, base, pb::own( rfcBaseOptionsCreate() ) );
}

pbBuffer *rfcBaseTryDecodeStringWithOptions( pbString *text, int64_t base, rfcBaseOptions *options )
{
    PB_ASSERT( text );
    PB_ASSERT( RFC_BASE_OK( base ) );
    PB_ASSERT( options );
    const rfc::Base &encoding = rfc::bases[static_cast<size_t>( base )];
    const char *chs = pbStringAscii( text );
    int64_t length = pbStringLength( text );
    int64_t lineLength = options->lineLength;
    if( !chs )
        return nullptr;
    if( lineLength == 0 )
        return rfc::decodeText( chs, length, encoding, options ).give();
    pb::Text joined;
    if( !rfc::joinLines( chs, length, lineLength, joined ) )
        return nullptr;
    return rfc::decodeText( joined.bytes(), joined.length(), encoding, options ).give();
}
