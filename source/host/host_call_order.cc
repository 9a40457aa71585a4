// The order of calls of a co-transaction, mirrored.
#include "host/host_call_order.h"

#include "host/host_refusal_private.h"

#include <sipbn/sipbn_method.h>
#include <sipsn/sipsn_status_code.h>

#include <string_view>

namespace
{

bool isDigit( char ch )
{
    return ch >= '0' && ch <= '9';
}

bool isBlank( char ch )
{
    return ch == ' ' || ch == '\t';
}

// The method of a CSeq (RFC 3261 section 20.16); empty when it is malformed.
std::string_view methodOfCSeq( std::string_view text )
{
    size_t digits = 0;
    while( digits < text.size() && isDigit( text[digits] ) )
        digits++;
    size_t start = digits;
    while( start < text.size() && isBlank( text[start] ) )
        start++;
    return digits == 0 || start == digits ? std::string_view() : text.substr( start );
}

// Not ASCII alone: no method then.
std::string_view asciiOf( pbString *string )
{
    const char *bytes = pbStringAscii( string );
    return bytes ? std::string_view( bytes, static_cast<size_t>( pbStringLength( string ) ) ) : std::string_view();
}

// The library goes by the request line, a transaction layer by CSeq: what they disagree on, one of them gets wrong. Of
// several CSeq nobody knows which one the others read.
bool cseqAgrees( sipsnMessage *request )
{
    int64_t index = sipsnMessageLineFindCstr( request, "CSeq", -1, 0 );
    if( index < 0 || sipsnMessageLineFindCstr( request, "CSeq", -1, index + 1 ) >= 0 )
        return false;
    auto line = pb::own( sipsnMessageLineValueAt( request, index ) );
    auto method = pb::own( sipsnMessageRequestMethod( request ) );
    std::string_view name = methodOfCSeq( asciiOf( line ) );
    return !name.empty() && name == asciiOf( method );
}

int64_t checkIsRequest( sipsnMessage *message, bool ( *takes )( int64_t method ) )
{
    if( !sipsnMessageIsRequest( message ) )
        return HOST_REFUSAL_KIND;
    if( !takes( sipbnMethodTryDecodeFromRequest( message ) ) )
        return HOST_REFUSAL_METHOD;
    return cseqAgrees( message ) ? HOST_REFUSAL_NONE : HOST_REFUSAL_CSEQ;
}

bool takesRequest( int64_t method )
{
    return method != SIPBN_METHOD_CANCEL && method != SIPBN_METHOD_ACK;
}

bool takesCancel( int64_t method )
{
    return method == SIPBN_METHOD_CANCEL;
}

bool takesAck( int64_t method )
{
    return method == SIPBN_METHOD_ACK;
}

} // namespace

namespace host
{

int64_t CallOrder::checkRequest( sipsnMessage *message ) const
{
    if( int64_t refusal = checkIsRequest( message, takesRequest ) )
        return refusal;
    return hadRequest ? HOST_REFUSAL_SECOND_REQUEST : HOST_REFUSAL_NONE;
}

int64_t CallOrder::checkResponse( sipsnMessage *message ) const
{
    if( !sipsnMessageIsResponse( message ) )
        return HOST_REFUSAL_KIND;
    if( !sipsnStatusCodeOk( sipsnMessageResponseStatusCode( message ) ) )
        return HOST_REFUSAL_STATUS;
    if( !hadRequest )
        return HOST_REFUSAL_BEFORE_REQUEST;
    if( hadResponseFinal )
        return HOST_REFUSAL_SECOND_FINAL;
    if( ended )
        return HOST_REFUSAL_ENDED;
    return read ? HOST_REFUSAL_NONE : HOST_REFUSAL_BEFORE_READ;
}

int64_t CallOrder::checkCancel( sipsnMessage *message ) const
{
    if( int64_t refusal = checkIsRequest( message, takesCancel ) )
        return refusal;
    if( !hadRequest )
        return HOST_REFUSAL_BEFORE_REQUEST;
    if( hadCancel )
        return HOST_REFUSAL_SECOND_CANCEL;
    if( hadResponseFinal )
        return HOST_REFUSAL_AFTER_FINAL;
    return ended ? HOST_REFUSAL_ENDED : HOST_REFUSAL_NONE;
}

int64_t CallOrder::checkAck( sipsnMessage *message ) const
{
    if( int64_t refusal = checkIsRequest( message, takesAck ) )
        return refusal;
    if( !hadRequest )
        return HOST_REFUSAL_BEFORE_REQUEST;
    if( !hadRequestInvite )
        return HOST_REFUSAL_NOT_INVITE;
    if( ended )
        return HOST_REFUSAL_ENDED;
    if( !hadResponseFinal )
        return HOST_REFUSAL_BEFORE_FINAL;
    return hadAck ? HOST_REFUSAL_SECOND_ACK : HOST_REFUSAL_NONE;
}

void CallOrder::noteRequest( sipsnMessage *message )
{
    hadRequest = true;
    hadRequestInvite = sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_INVITE;
}

void CallOrder::noteResponse( sipsnMessage *message )
{
    hadResponse = true;
    hadResponseFinal = !sipsnStatusCodeInformational( sipsnMessageResponseStatusCode( message ) );
}

sipsnMessage *CallOrder::noteCancel( sipsnMessage *message )
{
    hadCancel = true;
    // Before the request has been read there is no response.
    if( hadResponse )
        return message;
    parked = pb::share( message );
    return nullptr;
}

pb::Ref<sipsnMessage> CallOrder::takeParked()
{
    if( !parked || ( !hadResponse && !ended ) )
        return nullptr;
    pb::Ref<sipsnMessage> cancel = parked.take();
    if( !hadResponseFinal && !ended )
        return cancel;
    host___Refuse( HOST_REFUSAL_BEFORE_RESPONSE );
    return nullptr;
}

void CallOrder::noteAnswered()
{
    hadResponse = hadResponseFinal = ended = true;
}

} // namespace host
