// The scanners of the authentication grammar over any code points: a result lies within the text, what was accepted is
// accepted again by itself, and the scanners of bytes and of code points agree.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_char_private.h"
#include "sipauth/base/sipauth_scan_private.h"
#include "sipauth/base/sipauth_skip_private.h"

#include <algorithm>

namespace
{

using Chars = std::vector<pbChar>;
using fuzz::lengthOf;

// A scanner in its three forms; the templates are null for a scanner that has none.
struct Scanner
{
    int64_t ( *skip )( const pbChar *chs, int64_t length );
    int64_t ( *skipWide )( const pbChar *chs, int64_t length );
    int64_t ( *skipAscii )( const char *chs, int64_t length );
};

template<class Ch>
int64_t skipQuotedString( const Ch *chs, int64_t length )
{
    bool escaped = false;
    int64_t accepted = sipauth::skipQuotedString( chs, length, &escaped );
    FUZZ_CHECK( accepted == 0 || escaped == ( std::find( chs, chs + accepted, Ch{ '\\' } ) != chs + accepted ) );
    return accepted;
}

constexpr Scanner scanners[] = {
    { sipauth___SkipDigits, sipauth::skipDigits<pbChar>, sipauth::skipDigits<char> },
    { sipauth___SkipLhex, sipauth::skipLhex<pbChar>, sipauth::skipLhex<char> },
    { sipauth___SkipLws, sipauth::skipLws<pbChar>, sipauth::skipLws<char> },
    { sipauth___SkipToken, sipauth::skipToken<pbChar>, sipauth::skipToken<char> },
    { sipauth___SkipQdtext, sipauth::skipQdtext<pbChar>, sipauth::skipQdtext<char> },
    { sipauth___SkipQuotedPair, sipauth::skipQuotedPair<pbChar>, sipauth::skipQuotedPair<char> },
    { sipauth___SkipQuotedString, skipQuotedString<pbChar>, skipQuotedString<char> },
    { sipauth___SkipText, sipauth::skipText<pbChar>, sipauth::skipText<char> },
    { sipauth___SkipPassword, sipauth::skipText<pbChar>, sipauth::skipText<char> },
    { sipauth___SkipUserid, sipauth::skipUserid<pbChar>, sipauth::skipUserid<char> },
    { sipauth___SkipBasicCredentials, sipauth::skipBasicCredentials<pbChar>, sipauth::skipBasicCredentials<char> },
    { sipauth___SkipMsspiTargetName, nullptr, nullptr },
};

void checkScanner( const Scanner &scanner, const Chars &chs, const std::string *ascii )
{
    int64_t accepted = scanner.skip( chs.data(), lengthOf( chs ) );
    FUZZ_CHECK( accepted >= 0 && accepted <= lengthOf( chs ) );
    // A copy of its own, so that a look beyond the end is found.
    Chars prefix( chs.begin(), chs.begin() + accepted );
    FUZZ_CHECK( scanner.skip( prefix.data(), accepted ) == accepted );
    if( scanner.skipWide )
        FUZZ_CHECK( scanner.skipWide( chs.data(), lengthOf( chs ) ) == accepted );
    if( scanner.skipAscii && ascii )
        FUZZ_CHECK( scanner.skipAscii( ascii->data(), lengthOf( chs ) ) == accepted );
}

// A run of one class: as long as the class says, one character at a time.
template<class Is>
void checkRun( int64_t ( *skip )( const pbChar *chs, int64_t length ), const Chars &chs, Is is )
{
    auto end = std::find_if_not( chs.begin(), chs.end(), is );
    FUZZ_CHECK( skip( chs.data(), lengthOf( chs ) ) == end - chs.begin() );
}

void checkRuns( const Chars &chs )
{
    checkRun( sipauth___SkipDigits, chs, sipauth___CharIsDigit );
    checkRun( sipauth___SkipLhex, chs, sipauth___CharIsLhex );
    checkRun( sipauth___SkipToken, chs,
              []( pbChar ch ) {
                  return sipauth___CharIsChar( ch ) && !sipauth___CharIsCtl( ch ) && !sipauth___CharIsSeparator( ch );
              } );
    checkRun( sipauth___SkipQdtext, chs,
              []( pbChar ch ) { return sipauth___CharIsText( ch ) && ch != '"' && ch != '\\'; } );
    checkRun( sipauth___SkipUserid, chs, []( pbChar ch ) { return sipauth___CharIsText( ch ) && ch != ':'; } );
}

// Everything but the character, and but linear white space that begins before it.
void checkExcluding( const Chars &chs, pbChar ch )
{
    int64_t accepted = sipauth___SkipTextExcludingChar( chs.data(), lengthOf( chs ), ch );
    FUZZ_CHECK( accepted >= 0 && accepted <= sipauth___SkipText( chs.data(), lengthOf( chs ) ) );
    FUZZ_CHECK( sipauth___SkipTextExcludingChar( chs.data(), accepted, ch ) == accepted );
    bool white = ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n';
    FUZZ_CHECK( white || std::find( chs.begin(), chs.begin() + accepted, ch ) == chs.begin() + accepted );
    FUZZ_CHECK( sipauth___SkipChar( chs.data(), lengthOf( chs ), ch ) == ( !chs.empty() && chs[0] == ch ) );
}

// The first COUNT code points as the sequence that the others begin with, or not.
void checkSequence( const Chars &chs, int64_t count )
{
    count = std::min( count, lengthOf( chs ) );
    Chars sequence( chs.begin(), chs.begin() + count );
    Chars rest( chs.begin() + count, chs.end() );
    bool exact = sipauth___SkipChars( rest.data(), lengthOf( rest ), sequence.data(), count ) == count;
    bool folded = sipauth___SkipCharsAsciiCaseFold( rest.data(), lengthOf( rest ), sequence.data(), count ) == count;
    FUZZ_CHECK( exact ==
                ( count <= lengthOf( rest ) && std::equal( sequence.begin(), sequence.end(), rest.begin() ) ) );
    FUZZ_CHECK( folded || !exact );
    FUZZ_CHECK( sipauth___SkipChars( chs.data(), lengthOf( chs ), sequence.data(), count ) == count );
    for( pbChar &ch : sequence )
        ch = ch >= 'a' && ch <= 'z' ? ch - 'a' + 'A' : ch;
    FUZZ_CHECK( sipauth___SkipCharsAsciiCaseFold( chs.data(), lengthOf( chs ), sequence.data(), count ) == count );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::LiveObjectCheck check;
    Chars chs = fuzz::codePoints( data, size );
    std::string ascii( chs.begin(), chs.end() );
    bool isAscii = std::all_of( chs.begin(), chs.end(), sipauth___CharIsChar );
    for( const Scanner &scanner : scanners )
        checkScanner( scanner, chs, isAscii ? &ascii : nullptr );
    checkRuns( chs );
    pbChar chosen = chs.empty() ? 'a' : chs.back();
    checkExcluding( chs, chosen );
    checkSequence( chs, chosen % 16 );
    return 0;
}
