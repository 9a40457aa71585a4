// The scanners of the authentication grammar over code points.
#include "sipauth/base/sipauth_skip_private.h"

#include "pb/pb_assert.h"
#include "sipauth/base/sipauth_scan_private.h"

#include <algorithm>

using namespace sipauth;

int64_t sipauth___SkipChar( const pbChar *chs, int64_t length, pbChar ch )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipChar( chs, length, ch );
}

int64_t sipauth___SkipChars( const pbChar *chs, int64_t length, const pbChar *skipChs, int64_t skipLength )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    PB_ASSERT( skipLength >= 0 );
    PB_ASSERT( skipLength == 0 || skipChs );
    return skipLength <= length && std::equal( skipChs, skipChs + skipLength, chs ) ? skipLength : 0;
}

int64_t sipauth___SkipCharsAsciiCaseFold( const pbChar *chs, int64_t length, const pbChar *skipChs, int64_t skipLength )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    PB_ASSERT( skipLength >= 0 );
    PB_ASSERT( skipLength == 0 || skipChs );
    auto same = []( pbChar a, pbChar b ) { return foldCase( a ) == foldCase( b ); };
    return skipLength <= length && std::equal( skipChs, skipChs + skipLength, chs, same ) ? skipLength : 0;
}

int64_t sipauth___SkipDigits( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipDigits( chs, length );
}

int64_t sipauth___SkipLhex( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipLhex( chs, length );
}

int64_t sipauth___SkipLws( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipLws( chs, length );
}

int64_t sipauth___SkipToken( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipToken( chs, length );
}

int64_t sipauth___SkipQdtext( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipQdtext( chs, length );
}

int64_t sipauth___SkipQuotedPair( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipQuotedPair( chs, length );
}

int64_t sipauth___SkipQuotedString( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    bool escaped = false;
    return skipQuotedString( chs, length, &escaped );
}

int64_t sipauth___SkipText( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipText( chs, length );
}

int64_t sipauth___SkipTextExcludingChar( const pbChar *chs, int64_t length, pbChar ch )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    PB_ASSERT( PB_CHAR_OK( ch ) );
    return skipTextExcluding( chs, length, ch );
}

int64_t sipauth___SkipPassword( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipText( chs, length );
}

int64_t sipauth___SkipUserid( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipUserid( chs, length );
}

int64_t sipauth___SkipBasicCredentials( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return skipBasicCredentials( chs, length );
}

int64_t sipauth___SkipMsspiTargetName( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    static constexpr pbChar service[] = { 's', 'i', 'p', '/' };
    int64_t prefix = sipauth___SkipCharsAsciiCaseFold( chs, length, service, std::size( service ) );
    int64_t token = skipToken( chs + prefix, length - prefix );
    return token > 0 ? prefix + token : 0;
}
