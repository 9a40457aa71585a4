// Hosts that break the order of calls on purpose. Each rule has its text; the first one that a call breaks is the text
// with which the process ends.
#include "world.h"

#include <array>

namespace simulation
{

namespace
{

enum class Kind
{
    request, ///< neither CANCEL nor ACK
    cancel,
    ack,
    response
};

/// What a host has written to a co-transaction so far, as the co-transaction notes it.
struct Order
{
    bool hadRequest;
    bool hadRequestInvite;
    bool hadResponse;
    bool hadResponseFinal;
    bool hadCancel;
    bool hadAck;
};

struct Rule
{
    bool kept;
    const char *text;
};

template<size_t count>
const char *firstBroken( const std::array<Rule, count> &rules )
{
    for( const Rule &rule : rules )
        if( !rule.kept )
            return rule.text;
    return nullptr;
}

// The text with which a channel of either side refuses a message of a kind; null when it takes it.
const char *refusal( Kind channel, Kind message, const Order &had )
{
    bool isRequest = message != Kind::response;
    switch( channel )
    {
    case Kind::request:
        return firstBroken( std::array{ Rule{ isRequest, "sipsnMessageIsRequest( message )" },
                                        Rule{ message != Kind::cancel, "method != SIPBN_METHOD_CANCEL" },
                                        Rule{ message != Kind::ack, "method != SIPBN_METHOD_ACK" },
                                        Rule{ !had.hadRequest, "!imp->hadRequest" } } );
    case Kind::response:
        return firstBroken( std::array{ Rule{ !isRequest, "sipsnMessageIsResponse( message )" },
                                        Rule{ !had.hadResponseFinal, "!imp->hadResponseFinal" } } );
    case Kind::cancel:
        return firstBroken( std::array{
            Rule{ isRequest, "sipsnMessageIsRequest( message )" },
            Rule{ message == Kind::cancel, "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL" },
            Rule{ had.hadRequest, "imp->hadRequest" }, Rule{ had.hadResponse, "imp->hadResponse" },
            Rule{ !had.hadResponseFinal, "!imp->hadResponseFinal" }, Rule{ !had.hadCancel, "!imp->hadCancel" } } );
    default:
        return firstBroken( std::array{
            Rule{ isRequest, "sipsnMessageIsRequest( message )" },
            Rule{ message == Kind::ack, "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK" },
            Rule{ had.hadRequest, "imp->hadRequest" }, Rule{ had.hadRequestInvite, "imp->hadRequestInvite" },
            Rule{ had.hadResponse, "imp->hadResponse" }, Rule{ had.hadResponseFinal, "imp->hadResponseFinal" },
            Rule{ !had.hadAck, "!imp->hadAck" } } );
    }
}

pb::Ref<sipsnMessage> messageOf( Kind kind )
{
    constexpr const char *starts[] = { "MESSAGE sip:a@b SIP/2.0", "CANCEL sip:a@b SIP/2.0", "ACK sip:a@b SIP/2.0",
                                       "SIP/2.0 200 OK" };
    constexpr const char *methods[] = { "MESSAGE", "CANCEL", "ACK", "MESSAGE" };
    return decoded( std::string( starts[static_cast<int>( kind )] ) +
                    "\r\nVia: SIP/2.0/UDP host;branch=z9hG4bKrule\r\nFrom: <sip:a@b>;tag=1\r\nTo: <sip:c@d>\r\n"
                    "Call-ID: rule\r\nCSeq: 1 " +
                    methods[static_cast<int>( kind )] + "\r\nContent-Length: 0\r\n\r\n" );
}

void write( sipauthClientCotrans *cotrans, Kind channel, sipsnMessage *message )
{
    constexpr void ( *channels[] )( sipauthClientCotrans *, sipsnMessage * ) = {
        sipauthClientCotransRequestWrite, sipauthClientCotransCancelWrite, sipauthClientCotransAckWrite,
        sipauthClientCotransResponseWrite };
    channels[static_cast<int>( channel )]( cotrans, message );
}

void write( sipauthServerCotrans *cotrans, Kind channel, sipsnMessage *message )
{
    constexpr void ( *channels[] )( sipauthServerCotrans *, sipsnMessage * ) = {
        sipauthServerCotransRequestWrite, sipauthServerCotransCancelWrite, sipauthServerCotransAckWrite,
        sipauthServerCotransResponseWrite };
    channels[static_cast<int>( channel )]( cotrans, message );
}

template<class Imp>
Order orderOf( const Imp *imp )
{
    return { imp->hadRequest != 0,       imp->hadRequestInvite != 0, imp->hadResponse != 0,
             imp->hadResponseFinal != 0, imp->hadCancel != 0,        imp->hadAck != 0 };
}

// Breaks a rule of a transaction's co-transaction, if the draw is one that breaks one.
template<class Transaction>
bool tryToBreak( Random &random, Transaction &transaction, const std::function<void( const std::string & )> &announce )
{
    auto channel = static_cast<Kind>( random.below( 4 ) );
    auto kind = random.chance( 60 ) ? channel : static_cast<Kind>( random.below( 4 ) );
    const char *text = transaction.cotrans ? refusal( channel, kind, orderOf( transaction.inside.get() ) ) : nullptr;
    if( !text )
        return false;
    announce( text );
    write( transaction.cotrans, channel, messageOf( kind ) );
    return true;
}

} // namespace

bool World::breakRule( const std::function<void( const std::string & )> &announce )
{
    for( int attempt = 0; attempt < 100; attempt++ )
    {
        if( random.chance( 50 ) && !clients_.empty() )
        {
            if( tryToBreak( random, *random.any( clients_ ), announce ) )
                return true;
        }
        else if( !servers_.empty() && tryToBreak( random, *random.any( servers_ ), announce ) )
            return true;
    }
    return false;
}

} // namespace simulation
