// Decoding of SIP messages (RFC 3261 sections 7 and 25.1): one pass over the header part, which notes where everything
// stands and copies nothing.
//
// What a header value holds is not judged here. Only what would break the framing is refused: NUL, and a CR that is not
// part of a line end. Other control characters stay: RFC 3261 allows them as quoted pairs, and peers send them bare.
#include "sipsn/sipsn_header_name_private.h"
#include "sipsn/sipsn_message_private.h"

#include "pb/pb_text.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace
{

using sipsn::HeaderLine;
using sipsn::Span;

// Offsets in a message have 32 bits, so that nothing longer can be indexed.
constexpr int64_t maxMessageBytes = std::numeric_limits<int32_t>::max();

// What most messages have room in; more lines cost another allocation.
constexpr uint32_t usualLines = 24;

constexpr std::string_view sipVersion = "SIP/2.0";

struct Limits
{
    int64_t messageBytes = 65536;
    int64_t headerLines = 256;
    int64_t headerLineBytes = 8192;
    int64_t bodyBytes = 65536;
};

// The first byte from AT on that is a control character (or END): eight at a time. A byte is below 0x20 when the
// subtraction borrows from its highest bit; only a lower byte that is a hit itself can make that a false one.
const uint8_t *nextControl( const uint8_t *at, const uint8_t *end )
{
    constexpr uint64_t eachByte = 0x0101010101010101u;
    for( ; end - at >= 8; at += 8 )
    {
        uint64_t word = 0;
        std::memcpy( &word, at, sizeof word );
        uint64_t hits = ( word - eachByte * 0x20 ) & ~word & ( eachByte * 0x80 );
        if( !hits )
            continue;
        if constexpr( std::endian::native == std::endian::little )
            return at + std::countr_zero( hits ) / 8;
        break;
    }
    while( at < end && *at >= 0x20 )
        at++;
    return at;
}

class Decoder
{
public:
    Decoder( pbBuffer *buffer, const Limits &limits )
        : limits_( limits ), begin_( pbBufferBacking( buffer ) ), end_( begin_ + pbBufferLength( buffer ) ),
          at_( begin_ )
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
    bool failUnfinished() { return fail( "header part does not end with an empty line", end_ ); }

    uint32_t offset( const uint8_t *where ) const { return static_cast<uint32_t>( where - begin_ ); }
    static std::string_view view( const uint8_t *from, const uint8_t *to )
    {
        return { reinterpret_cast<const char *>( from ), static_cast<size_t>( to - from ) };
    }
    bool atLineBreak() const { return at_ < end_ && ( *at_ == '\n' || ( *at_ == '\r' && at_ + 1 < end_ && at_[1] == '\n' ) ); }
    void skipLineBreak() { at_ += *at_ == '\r' ? 2 : 1; }
    void skipBlanks()
    {
        while( at_ < end_ && ( *at_ == ' ' || *at_ == '\t' ) )
            at_++;
    }
    void skipToken()
    {
        while( at_ < end_ && sipsn::tokenBytes[*at_] )
            at_++;
    }

    bool skipToLineEnd();
    bool startLine();
    bool requestLine( const uint8_t *lineEnd );
    bool statusLine( const uint8_t *lineEnd );
    bool headerLines();
    bool headerName( Span &name );
    bool headerLine();
    bool noteContentLength( const HeaderLine &line );
    bool body();

    const Limits &limits_;
    const uint8_t *begin_;
    const uint8_t *end_;
    const uint8_t *at_;
    pb::Ref<sipsnMessage> message_;
    int64_t contentLength_ = -1;
    const uint8_t *contentLengthAt_ = nullptr;
    const char *failure_ = nullptr;
    const uint8_t *failureAt_ = nullptr;
};

pb::Ref<sipsnMessage> Decoder::decode( pbBuffer *buffer )
{
    if( end_ - begin_ > std::min( limits_.messageBytes, maxMessageBytes ) )
    {
        fail( "message is longer than the limit", begin_ + std::min( limits_.messageBytes, maxMessageBytes ) );
        return nullptr;
    }
    while( atLineBreak() )
        skipLineBreak();
    message_ = sipsn::createMessage( usualLines );
    if( !startLine() || !headerLines() || !body() )
        return nullptr;
    if( at_ == end_ )
        message_->buffer = pb::share( buffer );
    else
        message_->buffer = pb::own( pbBufferCreateFromSlice( buffer, 0, at_ - begin_ ) );
    return std::move( message_ );
}

// Moves to the end of the line.
bool Decoder::skipToLineEnd()
{
    for( ;; at_++ )
    {
        at_ = nextControl( at_, end_ );
        if( atLineBreak() )
            return true;
        if( at_ == end_ )
            return failUnfinished();
        if( *at_ == 0 )
            return fail( "NUL in the header part", at_ );
        if( *at_ == '\r' )
            return fail( "CR without LF in the header part", at_ );
    }
}

bool Decoder::startLine()
{
    if( at_ == end_ )
        return fail( "no start line", at_ );
    const uint8_t *start = at_;
    if( !skipToLineEnd() )
        return false;
    const uint8_t *lineEnd = at_;
    at_ = start;
    bool isResponse = lineEnd - start >= 4 && sipsn::equalsCaseFold( view( start, start + 4 ), "SIP/" );
    if( !( isResponse ? statusLine( lineEnd ) : requestLine( lineEnd ) ) )
        return false;
    at_ = lineEnd;
    skipLineBreak();
    return true;
}

// Request-Line = Method SP Request-URI SP SIP-Version. The Request-URI itself is not judged.
bool Decoder::requestLine( const uint8_t *lineEnd )
{
    const uint8_t *method = at_;
    skipToken();
    if( at_ == method || *at_ != ' ' )
        return fail( "method is not a token followed by one space", at_ );
    message_->method = { offset( method ), offset( at_ ) };
    const uint8_t *iri = ++at_;
    while( at_ < lineEnd && *at_ > ' ' && *at_ != 0x7F )
        at_++;
    if( at_ == iri )
        return fail( "Request-URI is missing", at_ );
    if( at_ == lineEnd || *at_ != ' ' )
        return fail( "Request-URI is not followed by one space", at_ );
    message_->text = { offset( iri ), offset( at_ ) };
    at_++;
    if( !sipsn::equalsCaseFold( view( at_, lineEnd ), sipVersion ) )
        return fail( "SIP version is not SIP/2.0", at_ );
    return true;
}

// Status-Line = SIP-Version SP Status-Code SP Reason-Phrase
bool Decoder::statusLine( const uint8_t *lineEnd )
{
    const uint8_t *version = at_;
    while( at_ < lineEnd && *at_ != ' ' )
        at_++;
    if( !sipsn::equalsCaseFold( view( version, at_ ), sipVersion ) )
        return fail( "SIP version is not SIP/2.0", version );
    if( at_ == lineEnd )
        return fail( "status code is missing", at_ );
    const uint8_t *code = ++at_;
    while( at_ < lineEnd && *at_ >= '0' && *at_ <= '9' )
        at_++;
    if( at_ - code != 3 || *code < '1' || *code > '6' )
        return fail( "status code is not a number from 100 to 699", code );
    if( *at_ != ' ' )
        return fail( "status code is not followed by one space", at_ );
    message_->statusCode = ( code[0] - '0' ) * 100 + ( code[1] - '0' ) * 10 + ( code[2] - '0' );
    message_->text = { offset( at_ + 1 ), offset( lineEnd ) };
    return true;
}

bool Decoder::headerLines()
{
    message_->head.start = offset( at_ );
    if( at_ < end_ && ( *at_ == ' ' || *at_ == '\t' ) )
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

// The name and the colon. White space may stand between them.
bool Decoder::headerName( Span &name )
{
    const uint8_t *start = at_;
    skipToken();
    name = { offset( start ), offset( at_ ) };
    skipBlanks();
    if( at_ == end_ )
        return failUnfinished();
    if( *at_ == 0 )
        return fail( "NUL in the header part", at_ );
    if( *at_ != ':' && *at_ != '\r' && *at_ != '\n' )
        return fail( "header name is not a token", at_ );
    if( *at_ != ':' )
        return fail( "header line without a colon", at_ );
    if( name.start == name.end )
        return fail( "header line without a name", at_ );
    at_++;
    return true;
}

bool Decoder::headerLine()
{
    if( message_->linesLength == limits_.headerLines )
        return fail( "more header lines than the limit", at_ );
    const uint8_t *start = at_;
    HeaderLine line;
    if( !headerName( line.name ) )
        return false;
    uint32_t valueStart = offset( at_ );
    const uint8_t *lineEnd = nullptr;
    do
    {
        if( !skipToLineEnd() )
            return false;
        lineEnd = at_;
        skipLineBreak();
    } while( at_ < end_ && ( *at_ == ' ' || *at_ == '\t' ) );
    if( lineEnd - start > limits_.headerLineBytes )
        return fail( "header line is longer than the limit", start + limits_.headerLineBytes );
    line.value = sipsn::trimmed( begin_, { valueStart, offset( lineEnd ) } );
    sipsn::addLine( message_, line );
    return noteContentLength( line );
}

// Reads the header line when it is a Content-Length.
bool Decoder::noteContentLength( const HeaderLine &line )
{
    std::string_view name = view( begin_ + line.name.start, begin_ + line.name.end );
    if( !( name.size() == 1 && ( name[0] | 0x20 ) == 'l' ) && !sipsn::equalsCaseFold( name, "content-length" ) )
        return true;
    const uint8_t *start = begin_ + line.value.start;
    const uint8_t *end = begin_ + line.value.end;
    if( start == end )
        return fail( "Content-Length is empty", start );
    if( *start == '-' )
        return fail( "Content-Length is negative", start );
    int64_t value = 0;
    for( const uint8_t *digit = start; digit < end; digit++ )
    {
        if( *digit < '0' || *digit > '9' )
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
    if( length > limits_.bodyBytes )
        return fail( "body is longer than the limit", at_ + limits_.bodyBytes );
    at_ += length;
    return true;
}

Limits limitsOf( sipsnLimits *limits )
{
    if( !limits )
        return {};
    return { sipsnLimitsMessageBytes( limits ), sipsnLimitsHeaderLines( limits ), sipsnLimitsHeaderLineBytes( limits ),
             sipsnLimitsBodyBytes( limits ) };
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
    Limits bounds = limitsOf( limits );
    Decoder decoder( buffer, bounds );
    pb::Ref<sipsnMessage> message = decoder.decode( buffer );
    if( reason )
        setReason( reason, decoder );
    return message.give();
}
