// Decoding of SIP messages (RFC 3261 sections 7 and 25.1): one pass over the header part, which notes where everything
// stands and copies nothing.
//
// What a header value holds is not judged here. Only what would break the framing is refused: NUL, and a CR that is not
// part of a line end. Other control characters stay: RFC 3261 allows them as quoted pairs, and peers send them bare.
#include "sipsn/sipsn_limits_private.h"
#include "sipsn/sipsn_message_private.h"
#include "sipsn/sipsn_scan_private.h"
#include "sipsn/sipsn_text_private.h"

#include <algorithm>
#include <limits>

namespace
{

using sipsn::Span;

// Offsets in a message have 32 bits, so that nothing longer can be indexed.
constexpr int64_t maxMessageBytes = std::numeric_limits<int32_t>::max();

// What most messages have room in; more lines cost another allocation.
constexpr uint32_t usualLines = 24;

constexpr std::string_view sipVersion = "SIP/2.0";

bool isDigit( uint8_t byte )
{
    return byte >= '0' && byte <= '9';
}

bool isContentLength( std::string_view name )
{
    return name.size() == 1 ? sipsn::lower( name[0] ) == 'l' : sipsn::equalsCaseFold( name, "Content-Length" );
}

class Decoder
{
public:
    Decoder( pbBuffer *buffer, sipsnLimits *limits )
        : limits_( limits ), begin_( pbBufferBacking( buffer ) ), end_( begin_ + pbBufferLength( buffer ) ),
          at_( begin_ ), controls_( begin_, end_ )
    {
    }

    // The message, or null after a failure.
    pb::Ref<sipsnMessage> decode( pbBuffer *buffer );

    const char *failure() const { return failure_; }
    int64_t failureOffset() const { return failureAt_ - begin_; }

private:
    bool fail( const char *what, const uint8_t *where )
    {
        failure_ = what;
        failureAt_ = where;
        return false;
    }

    uint32_t offset( const uint8_t *where ) const { return static_cast<uint32_t>( where - begin_ ); }
    static std::string_view view( const uint8_t *from, const uint8_t *to )
    {
        return { reinterpret_cast<const char *>( from ), static_cast<size_t>( to - from ) };
    }
    bool atLineBreak() const
    {
        return at_ < end_ && ( *at_ == '\n' || ( *at_ == '\r' && at_ + 1 < end_ && at_[1] == '\n' ) );
    }
    void skipLineBreak() { at_ += *at_ == '\r' ? 2 : 1; }
    bool atBlank() const { return at_ < end_ && ( *at_ == ' ' || *at_ == '\t' ); }

    bool length();
    bool skipLine( const uint8_t *&lineEnd );
    bool startLine();
    bool requestLine( const uint8_t *at, const uint8_t *lineEnd );
    bool statusLine( const uint8_t *at, const uint8_t *lineEnd );
    bool headerLines();
    bool headerLine();
    bool failName( const uint8_t *start, const uint8_t *nameEnd, const uint8_t *colon, const uint8_t *lineEnd );
    bool noteContentLength( const uint8_t *at, const uint8_t *valueEnd );
    bool body();

    sipsnLimits *limits_;
    const uint8_t *begin_;
    const uint8_t *end_;
    const uint8_t *at_;
    sipsn::ControlScanner controls_;
    pb::Ref<sipsnMessage> message_;
    int64_t contentLength_ = -1;
    const uint8_t *contentLengthAt_ = nullptr;
    const char *failure_ = nullptr;
    const uint8_t *failureAt_ = nullptr;
};

pb::Ref<sipsnMessage> Decoder::decode( pbBuffer *buffer )
{
    message_ = sipsn::createMessage( usualLines );
    if( !length() || !startLine() || !headerLines() || !body() )
        return nullptr;
    if( at_ == end_ )
        message_->buffer = pb::share( buffer );
    else
        message_->buffer = pb::own( pbBufferCreateFromSlice( buffer, 0, at_ - begin_ ) );
    return std::move( message_ );
}

bool Decoder::length()
{
    int64_t limit = std::min( limits_->messageBytes, maxMessageBytes );
    return end_ - begin_ <= limit || fail( "message is longer than the limit", begin_ + limit );
}

// Moves behind the line; LINEEND is where its line end stands.
[[gnu::always_inline]] inline bool Decoder::skipLine( const uint8_t *&lineEnd )
{
    for( ;; at_++ )
    {
        at_ = controls_.next( at_ );
        if( atLineBreak() )
        {
            lineEnd = at_;
            skipLineBreak();
            return true;
        }
        if( at_ == end_ )
            return fail( "header part does not end with an empty line", at_ );
        if( *at_ == 0 )
            return fail( "NUL in the header part", at_ );
        if( *at_ == '\r' )
            return fail( "CR without LF in the header part", at_ );
    }
}

// The start line, after empty lines, which are skipped (RFC 3261 section 7.5).
bool Decoder::startLine()
{
    while( atLineBreak() )
        skipLineBreak();
    if( at_ == end_ )
        return fail( "no start line", at_ );
    const uint8_t *start = at_;
    const uint8_t *lineEnd = nullptr;
    if( !skipLine( lineEnd ) )
        return false;
    bool isResponse = lineEnd - start >= 4 && sipsn::equalsCaseFold( view( start, start + 4 ), "SIP/" );
    return isResponse ? statusLine( start, lineEnd ) : requestLine( start, lineEnd );
}

// Request-Line = Method SP Request-URI SP SIP-Version. The Request-URI itself is not judged.
bool Decoder::requestLine( const uint8_t *at, const uint8_t *lineEnd )
{
    const uint8_t *methodEnd = sipsn::tokenEnd( at, lineEnd );
    if( methodEnd == at || methodEnd == lineEnd || *methodEnd != ' ' )
        return fail( "method is not a token followed by one space", methodEnd );
    message_->method = { offset( at ), offset( methodEnd ) };
    const uint8_t *iri = methodEnd + 1;
    for( at = iri; at<lineEnd && * at> ' ' && *at != 0x7F; )
        at++;
    if( at == iri )
        return fail( "Request-URI is missing", at );
    if( at == lineEnd || *at != ' ' )
        return fail( "Request-URI is not followed by one space", at );
    message_->text = { offset( iri ), offset( at ) };
    if( !sipsn::equalsCaseFold( view( at + 1, lineEnd ), sipVersion ) )
        return fail( "SIP version is not SIP/2.0", at + 1 );
    return true;
}

// Status-Line = SIP-Version SP Status-Code SP Reason-Phrase
bool Decoder::statusLine( const uint8_t *at, const uint8_t *lineEnd )
{
    const uint8_t *versionEnd = std::find( at, lineEnd, ' ' );
    if( !sipsn::equalsCaseFold( view( at, versionEnd ), sipVersion ) )
        return fail( "SIP version is not SIP/2.0", at );
    if( versionEnd == lineEnd )
        return fail( "status code is missing", lineEnd );
    const uint8_t *code = versionEnd + 1;
    const uint8_t *codeEnd = std::find_if_not( code, lineEnd, isDigit );
    if( codeEnd - code != 3 || *code < '1' || *code > '6' )
        return fail( "status code is not a number from 100 to 699", code );
    if( codeEnd == lineEnd || *codeEnd != ' ' )
        return fail( "status code is not followed by one space", codeEnd );
    message_->statusCode = ( code[0] - '0' ) * 100 + ( code[1] - '0' ) * 10 + ( code[2] - '0' );
    message_->text = { offset( codeEnd + 1 ), offset( lineEnd ) };
    return true;
}

bool Decoder::headerLines()
{
    message_->head.start = offset( at_ );
    if( atBlank() )
        return fail( "continuation line before the first header", at_ );
    while( !atLineBreak() )
    {
        if( !headerLine() )
            return false;
    }
    message_->head.end = offset( at_ );
    skipLineBreak();
    message_->bodyStart = offset( at_ );
    return true;
}

// A header line with its continuation lines. Its end is looked for first: then the processor can begin with the next
// line while it still works on the name of this one.
bool Decoder::headerLine()
{
    if( message_->linesLength == limits_->headerLines )
        return fail( "more header lines than the limit", at_ );
    const uint8_t *start = at_;
    const uint8_t *firstEnd = nullptr;
    if( !skipLine( firstEnd ) )
        return false;
    const uint8_t *lineEnd = firstEnd;
    while( atBlank() )
    {
        if( !skipLine( lineEnd ) )
            return false;
    }
    if( lineEnd - start > limits_->headerLineBytes )
        return fail( "header line is longer than the limit", start + limits_->headerLineBytes );
    const uint8_t *nameEnd = sipsn::tokenEnd( start, firstEnd );
    const uint8_t *colon = nameEnd;
    while( colon < firstEnd && ( *colon == ' ' || *colon == '\t' ) )
        colon++;
    if( nameEnd == start || colon == firstEnd || *colon != ':' )
        return failName( start, nameEnd, colon, firstEnd );
    Span value = sipsn::trimmed( begin_, { offset( colon + 1 ), offset( lineEnd ) } );
    sipsn::addLine( message_, { offset( start ), offset( nameEnd ) }, value );
    return !isContentLength( view( start, nameEnd ) ) || noteContentLength( begin_ + value.start, begin_ + value.end );
}

// Says what is wrong with a header name where the colon should stand at COLON, after white space.
bool Decoder::failName( const uint8_t *start, const uint8_t *nameEnd, const uint8_t *colon, const uint8_t *lineEnd )
{
    if( colon == lineEnd )
        return fail( "header line without a colon", colon );
    if( nameEnd == start && *colon == ':' )
        return fail( "header line without a name", start );
    return fail( "header name is not a token", colon );
}

// Reads the value of a Content-Length.
bool Decoder::noteContentLength( const uint8_t *start, const uint8_t *end )
{
    if( start == end )
        return fail( "Content-Length is empty", start );
    if( *start == '-' )
        return fail( "Content-Length is negative", start );
    int64_t value = 0;
    for( const uint8_t *digit = start; digit < end; digit++ )
    {
        if( !isDigit( *digit ) )
            return fail( "Content-Length is not a number", digit );
        // Whatever exceeds a message is overlong, so that it need not be told apart further.
        value = std::min( value * 10 + ( *digit - '0' ), maxMessageBytes + 1 );
    }
    if( contentLength_ >= 0 && value != contentLength_ )
        return fail( "Content-Length contradicts an earlier one", start );
    contentLength_ = value;
    contentLengthAt_ = start;
    return true;
}

// The body: what Content-Length counts, else all the rest. What follows it does not belong to the message
// (RFC 3261 section 18.3).
bool Decoder::body()
{
    int64_t length = contentLength_ >= 0 ? contentLength_ : end_ - at_;
    if( length > end_ - at_ )
        return fail( "Content-Length exceeds the bytes of the body", contentLengthAt_ );
    if( length > limits_->bodyBytes )
        return fail( "body is longer than the limit", at_ + limits_->bodyBytes );
    at_ += length;
    return true;
}

void setReason( pbString **reason, const Decoder &decoder )
{
    pb::Ref<pbString> old = pb::own( *reason );
    *reason = nullptr;
    if( decoder.failure() )
        *reason = pbStringCreateFromFormatCstr( "%lc, at byte %i", -1, decoder.failure(), decoder.failureOffset() );
}

} // namespace

sipsnMessage *sipsnMessageTryDecode( pbBuffer *buffer, sipsnLimits *limits, pbString **reason )
{
    PB_ASSERT( buffer );
    auto defaults = pb::own( sipsnLimitsCreate() );
    Decoder decoder( buffer, limits ? limits : defaults.get() );
    pb::Ref<sipsnMessage> message = decoder.decode( buffer );
    if( reason )
        setReason( reason, decoder );
    return message.give();
}
