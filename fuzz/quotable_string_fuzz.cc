// Quotable strings of any code points: a string comes back from its quoted form, and what decodes comes back from the
// quoted form of its text.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/base/sipauth_skip_private.h"

namespace
{

using pb::own;

pb::Ref<pbString> tryDecode( pbString *quoted )
{
    return own( sipauth___QuotableStringTryDecode( pbStringBacking( quoted ), pbStringLength( quoted ) ) );
}

bool equals( pb::Text *text, pbString *string )
{
    return pbStringEquals( text->toString(), string );
}

void checkEncoding( pbString *string )
{
    FUZZ_CHECK( sipauth___QuotableStringOk( string ) );
    auto quoted = own( sipauth___QuotableStringEncode( string ) );
    auto decoded = tryDecode( quoted );
    FUZZ_CHECK( decoded && pbStringEquals( decoded, string ) );
    // What is written is grammar, too.
    int64_t length = pbStringLength( quoted );
    FUZZ_CHECK( sipauth___SkipQuotedString( pbStringBacking( quoted ), length ) == length );
    auto unquoted = own( sipauth___QuotableStringEncodeUnq( string ) );
    FUZZ_CHECK( pbStringEquals( own( pbStringCreateFromSlice( quoted, 1, length - 2 ) ), unquoted ) );
}

// A text under construction is UTF-8, which the string has to fit.
void checkAppending( pbString *string )
{
    auto fitting = pb::string( pb::text( string ) );
    pb::Text quoted;
    sipauth___QuotableStringAppend( &quoted, fitting );
    FUZZ_CHECK( equals( &quoted, own( sipauth___QuotableStringEncode( fitting ) ) ) );
    pb::Text unquoted;
    sipauth___QuotableStringAppendUnq( &unquoted, fitting );
    FUZZ_CHECK( equals( &unquoted, own( sipauth___QuotableStringEncodeUnq( fitting ) ) ) );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    std::vector<pbChar> chs = fuzz::codePoints( data, size );
    int64_t length = fuzz::lengthOf( chs );
    auto string = own( pbStringCreateFromChars( chs.data(), length ) );
    checkEncoding( string );
    checkAppending( string );

    auto decoded = own( sipauth___QuotableStringTryDecode( chs.data(), length ) );
    if( decoded )
        checkEncoding( decoded );
    // Whatever the grammar takes as a whole decodes.
    bool grammatical = length > 0 && sipauth___SkipQuotedString( chs.data(), length ) == length;
    FUZZ_CHECK( decoded || !grammatical );
    return 0;
}
