// What the fuzz targets of the co-transactions share: a simulated scheduler whose steps the input chooses, a directory
// whose answers it chooses, and messages of which it gives the interesting header line.
#ifndef FUZZ_FUZZ_COTRANS_H
#define FUZZ_FUZZ_COTRANS_H

#include "fuzz_sipauth.h"
#include "pb/pb_simulation.h"
#include "usr/usr_driver.h"

#include <pb/pb_scheduler.h>
#include <sipauth/sipauth.h>
#include <sipsn/sipsn_message.h>

#include <deque>

namespace fuzz
{

/// The input, taken byte by byte; zeros after its end.
class Input
{
public:
    Input( const uint8_t *data, size_t size ) : data_( data ), size_( size ) {}

    bool empty() const { return size_ == 0; }
    uint8_t byte() { return takeByte( data_, size_ ); }
    bool flag() { return byte() & 1; }
    int64_t below( int64_t bound ) { return byte() % bound; }

    /// A text of up to 255 bytes, free of line ends and NUL, so that it is one header value.
    std::string line()
    {
        std::string text;
        for( size_t length = byte(); length > 0 && !empty(); length-- )
        {
            char ch = static_cast<char>( byte() );
            text += ch == '\r' || ch == '\n' || ch == '\0' ? ' ' : ch;
        }
        return text;
    }

private:
    const uint8_t *data_;
    size_t size_;
};

/// The directory's driver: keeps what it is asked until the input says what to answer.
class Directory
{
public:
    static Directory &instance()
    {
        static Directory directory;
        return directory;
    }

    /// A directory object that asks this driver.
    pb::Ref<usrDirectory> create()
    {
        auto config = pb::own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "driver", -1, pb::string( "fuzzed" ) );
        auto directory = pb::own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
        FUZZ_CHECK( directory );
        return directory;
    }

    /// Answers the question that waits longest: found with a password, or nobody.
    void answer( bool found )
    {
        if( open_.empty() )
            return;
        usr___Request *request = open_.front();
        open_.pop_front();
        if( found )
        {
            auto credentials = pb::own( pbStoreCreate() );
            pbStoreSetValueCstr( credentials.inout(), "userName", -1, pb::string( "alice" ) );
            pbStoreSetValueCstr( credentials.inout(), "password", -1, pb::string( "secret" ) );
            usr___RequestEnd( request, pb::string( "alice" ), credentials );
        }
        else
            usr___RequestEndWithout( request, "not found" );
        usr___RequestRelease( request );
    }

    void answerAll()
    {
        while( !open_.empty() )
            answer( false );
    }

    /// Whether questions are answered at once, and how.
    bool atOnce = false;

private:
    Directory()
    {
        static const usr___Driver driver = {
            "fuzzed",
            []( pbStore *, trStream *, pbString ** ) { return pbVectorObj( pbVectorCreate() ); },
            nullptr,
            []( pbObj *, usr___Request *request, pbString *, pbString * ) { instance().ask( request ); },
            []( pbObj *, usr___Request *request, pbString * ) { instance().ask( request ); },
            nullptr,
            nullptr,
            nullptr,
            nullptr,
            nullptr };
        usr___DriverRegister( &driver );
    }

    void ask( usr___Request *request )
    {
        open_.push_back( usr___RequestRetain( request ) );
        if( atOnce )
            answer( true );
    }

    std::deque<usr___Request *> open_;
};

/// A simulated scheduler, current for its life.
class Simulation
{
public:
    explicit Simulation( uint64_t seed ) : scheduler_( pb::own( pb___SimulationCreate( seed, -1 ) ) )
    {
        pbSchedulerSetCurrent( scheduler_ );
    }

    ~Simulation()
    {
        drain();
        pbSchedulerStop( scheduler_ );
        pbSchedulerSetCurrent( nullptr );
    }

    void step() { pb___SimulationStep( scheduler_ ); }
    void advance( int64_t milliseconds ) { pb___SimulationAdvance( scheduler_, milliseconds ); }

    void drain()
    {
        while( pb___SimulationStep( scheduler_ ) )
            ;
    }

private:
    pb::Ref<pbScheduler> scheduler_;
};

/// A message of the transaction. START is its first line, METHOD that of CSeq, HEADERS are lines with their ends.
inline pb::Ref<sipsnMessage> message( const std::string &start, const std::string &method, const std::string &headers )
{
    std::string bytes = start +
                        "\r\nVia: SIP/2.0/UDP host;branch=z9hG4bK1\r\nFrom: <sip:alice@example.org>;tag=1\r\n"
                        "To: <sip:bob@example.org>\r\nCall-ID: fuzz\r\nCSeq: 1 " +
                        method + "\r\n" + headers + "\r\n";
    return pb::own( sipsnMessageTryDecode( pb::buffer( bytes ), nullptr, nullptr ) );
}

/// Options as the input says. The directory may be null.
inline pb::Ref<sipauthOptions> options( Input &input, usrDirectory *directory )
{
    auto options = pb::own( sipauthOptionsCreate() );
    sipauthOptions **opt = options.inout();
    sipauthOptionsSetDefaults( opt, input.below( 4 ) );
    uint8_t bits = input.byte();
    if( bits & 1 )
        sipauthOptionsSetScheme( opt, SIPAUTH_SCHEME_BASIC );
    if( bits & 2 )
        sipauthOptionsSetDigestAlgorithm( opt, SIPAUTH_DIGEST_ALGORITHM_MD5_SESS );
    if( bits & 4 )
        sipauthOptionsSetDigestQop( opt, SIPAUTH_DIGEST_QOP_NONE );
    sipauthOptionsSetServerRechallenge( opt, bits >> 3 & 1 );
    sipauthOptionsSetServerRechallengeInvalidAuthorization( opt, bits >> 4 & 1 );
    sipauthOptionsSetServerAcceptAuthorizationReuse( opt, bits >> 5 & 1 );
    sipauthOptionsSetServerDigestAcceptNonceReuse( opt, bits >> 6 & 1 );
    sipauthOptionsSetServerChallengeExpiration( opt, bits >> 7 ? 50 : 60000 );
    if( input.flag() )
        sipauthOptionsSetServerRealm( opt, pb::string( "example.org" ) );
    if( directory )
        sipauthOptionsSetServerUsrDirectory( opt, directory );
    return options;
}

} // namespace fuzz

#endif
