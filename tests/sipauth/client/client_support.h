// What the tests of client co-transactions share: a world with a simulated scheduler, a stack and a recorder; messages,
// challenges and credentials; a directory whose answers the test gives.
#ifndef SIPAUTH_CLIENT_CLIENT_SUPPORT_H
#define SIPAUTH_CLIENT_CLIENT_SUPPORT_H

#include "pb/pb_simulation.h"
#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/client/sipauth_client_cotrans_private.h"
#include "sipauth/session/sipauth_session_private.h"
#include "sipauth/started.h"
#include "sipsn/messages.h"
#include "support/abort.h"
#include "support/text.h"
#include "usr/usr_driver.h"

#include <pb/pb_scheduler.h>
#include <sipauth/sipauth_client_cotrans.h>
#include <tr/tr_recorder.h>

#include <deque>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace client
{

using pb::own;
using pb::Ref;
using pb::share;
using support::string;
using Texts = std::vector<std::string>;

// The challenges that the tests answer, best first.
inline constexpr char sha256[] =
    "Digest realm=\"example.org\", nonce=\"n1\", algorithm=SHA256, qop=\"auth\", opaque=\"o\"";
inline constexpr char md5[] = "Digest realm=\"example.org\", nonce=\"n2\", algorithm=MD5, qop=\"auth\"";
inline constexpr char md5WithoutQop[] = "Digest realm=\"example.org\", nonce=\"n3\", algorithm=MD5";
inline constexpr char basic[] = "Basic realm=\"example.org\"";

inline Ref<sipsnMessage> request( const char *method )
{
    return own( sipsnMessageCreateRequest( string( method ), string( "sip:example.org" ) ) );
}

inline Ref<sipsnMessage> response( int64_t statusCode, const char *reasonPhrase )
{
    return own( sipsnMessageCreateResponse( statusCode, string( reasonPhrase ) ) );
}

/// A 401 or, as from a proxy, 407.
inline Ref<sipsnMessage> challengeResponse( bool proxy, std::initializer_list<const char *> challenges )
{
    auto message = proxy ? response( 407, "Proxy Authentication Required" ) : response( 401, "Unauthorized" );
    auto header = messages::header( proxy ? "Proxy-Authenticate" : "WWW-Authenticate", challenges );
    sipsnMessageSetHeader( message.inout(), header );
    return message;
}

inline Ref<sipauthChallenge> challenge( std::initializer_list<const char *> challenges )
{
    auto options = own( sipauthOptionsCreate() );
    return own( sipauthChallengeTryDecodeFromMessage( options, challengeResponse( false, challenges ), 0 ) );
}

/// A challenge as it stands in a line of the trace.
inline std::string encoded( const char *text )
{
    auto options = own( sipauthOptionsCreate() );
    auto authenticate = own( sipauth___AuthenticateTryDecode( options, string( text ) ) );
    return support::textOf( sipauth___AuthenticateEncode( options, authenticate ) );
}

inline Ref<sipauthCredentials> credentials( const char *userName, const char *password )
{
    auto cred = own( sipauthCredentialsCreate() );
    if( userName )
        sipauthCredentialsSetUserName( cred.inout(), string( userName ) );
    if( password )
        sipauthCredentialsSetPassword( cred.inout(), string( password ) );
    return cred;
}

/// Options that allow every challenge above.
inline Ref<sipauthOptions> lenientOptions()
{
    auto options = own( sipauthOptionsCreate() );
    for( int64_t scheme : { SIPAUTH_SCHEME_BASIC, SIPAUTH_SCHEME_DIGEST } )
        sipauthOptionsSetScheme( options.inout(), scheme );
    for( int64_t algorithm : { SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_ALGORITHM_SHA256 } )
        sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
    for( int64_t qop : { SIPAUTH_DIGEST_QOP_NONE, SIPAUTH_DIGEST_QOP_AUTH, SIPAUTH_DIGEST_QOP_AUTH_INT } )
        sipauthOptionsSetDigestQop( options.inout(), qop );
    return options;
}

/// A message that was read, with its send filter.
struct Sent
{
    Ref<sipsnMessage> message;
    Ref<siptpSendFilter> filter;

    /// The message as it leaves.
    Ref<sipsnMessage> leave() const
    {
        auto left = message;
        EXPECT_TRUE( !filter || siptpSendFilterTryExecute( filter, left.inout(), nullptr ) );
        return left;
    }
};

/// The credentials that a message carries, or null.
inline Ref<sipauthAuthorization> authorization( sipsnMessage *message, bool proxy = false )
{
    auto options = own( sipauthOptionsCreate() );
    return own( sipauth___AuthorizationTryDecodeFromMessage( options, message, proxy ) );
}

/// The nonce count with which a message leaves; -2 when it leaves without credentials, -3 when there is none.
inline int64_t nonceCount( const Sent &sent )
{
    if( !sent.message )
        return -3;
    auto found = authorization( sent.leave() );
    return found ? sipauthAuthorizationDigestNonceCount( found ) : -2;
}

/// A co-transaction, driven as a host does it; the world runs what is ready afterwards.
class Transaction
{
public:
    explicit Transaction( pbScheduler *simulation, sipauthSession *session )
        : Transaction( simulation, session, nullptr )
    {
    }
    Transaction( pbScheduler *simulation, sipauthSession *session, sipauthChallenge *challenge )
        : simulation_( simulation ),
          cotrans_( own( challenge ? sipauthClientCotransCreateWithInitialChallenge( session, challenge, nullptr )
                                   : sipauthClientCotransCreate( session, nullptr ) ) )
    {
    }

    sipauthClientCotrans *get() const { return cotrans_; }
    sipauth___ClientCotransImp *imp() const { return cotrans_->imp; }
    int64_t state() const { return imp()->intState; }
    bool error() const { return sipauthClientCotransError( cotrans_ ); }
    bool halted() const { return pbProcessHalted( imp()->isProcess ); }

    void writeRequest( sipsnMessage *message ) { write( sipauthClientCotransRequestWrite, message ); }
    void writeResponse( sipsnMessage *message ) { write( sipauthClientCotransResponseWrite, message ); }
    void writeCancel() { write( sipauthClientCotransCancelWrite, request( "CANCEL" ) ); }
    void writeAck() { write( sipauthClientCotransAckWrite, request( "ACK" ) ); }
    Sent readRequest() const { return read( sipauthClientCotransRequestRead ); }
    Sent readCancel() const { return read( sipauthClientCotransCancelRead ); }
    Sent readAck() const { return read( sipauthClientCotransAckRead ); }
    Ref<sipsnMessage> readResponse() const { return own( sipauthClientCotransResponseRead( cotrans_ ) ); }

    /// Writes a request of a method and reads it back.
    Sent send( const char *method )
    {
        writeRequest( request( method ) );
        return readRequest();
    }

    /// Lets go of the co-transaction without running anything.
    void drop() { cotrans_.clear(); }

private:
    void write( void ( *function )( sipauthClientCotrans *, sipsnMessage * ), sipsnMessage *message )
    {
        function( cotrans_, message );
        while( pb___SimulationStep( simulation_ ) )
            ;
    }
    Sent read( sipsnMessage *( *function )(sipauthClientCotrans *, siptpSendFilter **) ) const
    {
        Sent sent;
        sent.message = own( function( cotrans_, sent.filter.inout() ) );
        return sent;
    }

    pbScheduler *simulation_;
    Ref<sipauthClientCotrans> cotrans_;
};

/// A process that counts its runs, to be woken by signals and alerts.
class Waiter
{
public:
    Waiter()
        : process_( own( pbProcessCreate( []( void *runs ) { ++*static_cast<int *>( runs ); }, &runs_, "Waiter" ) ) ),
          signalable( own( pbSignalableCreateWithProcess( process_ ) ) ),
          alertable( own( pbAlertableCreateWithProcess( process_ ) ) )
    {
    }
    ~Waiter() { pbProcessHalt( process_ ); }
    Waiter( const Waiter & ) = delete;
    Waiter &operator=( const Waiter & ) = delete;

    int runs() const { return runs_; }

private:
    int runs_ = 0;
    Ref<pbProcess> process_;

public:
    const Ref<pbSignalable> signalable;
    const Ref<pbAlertable> alertable;
};

/// A user directory that answers each query as the test told it beforehand, or else when the test says so.
class Directory
{
public:
    Directory()
    {
        current = this;
        usr___DriverRegister( &driver );
        auto config = own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "driver", -1, string( driver.name ) );
        directory_ = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
        EXPECT_TRUE( directory_ );
    }
    ~Directory()
    {
        open_.clear();
        directory_.clear();
        usr___DriverUnregister( &driver );
        current = nullptr;
    }
    Directory( const Directory & ) = delete;
    Directory &operator=( const Directory & ) = delete;

    usrDirectory *get() const { return directory_; }
    Ref<usrUser> user() const { return own( usrUserCreate( directory_, string( "alice" ) ) ); }

    /// The next query without an answer ends at once with these credentials, or without result when they are null.
    void prepare( Ref<sipauthCredentials> answer ) { answers_.push_back( answer ); }
    int open() const { return static_cast<int>( open_.size() ); }
    /// Ends the oldest open query.
    void answer( Ref<sipauthCredentials> answer )
    {
        auto first = open_.front();
        open_.pop_front();
        end( first, answer );
    }

private:
    static void end( usr___Request *request, const Ref<sipauthCredentials> &answer )
    {
        if( answer )
            usr___RequestEnd( request, string( "alice" ), own( sipauthCredentialsStore( answer, 1 ) ) );
        else
            usr___RequestEndWithout( request, "not found" );
    }
    void take( usr___Request *request )
    {
        if( answers_.empty() )
        {
            open_.push_back( own( usr___RequestRetain( request ) ) );
            return;
        }
        auto next = answers_.front();
        answers_.pop_front();
        end( request, next );
    }

    static inline Directory *current = nullptr;
    static const usr___Driver driver;

    Ref<usrDirectory> directory_;
    std::deque<Ref<sipauthCredentials>> answers_;
    std::deque<Ref<usr___Request>> open_;
};

inline const usr___Driver Directory::driver = []
{
    usr___Driver made = {};
    made.name = "client_test";
    made.tryCreate = []( pbStore *, trStream *, pbString ** ) { return pbStringObj( pbStringCreate() ); };
    made.close = []( pbObj * )
    {
        // A user may keep the directory longer than the test does.
        if( current )
            current->open_.clear();
    };
    made.lookup = []( pbObj *, usr___Request *request, pbString *, pbString * )
    { usr___RequestEndWithout( request, "not found" ); };
    made.query = []( pbObj *, usr___Request *request, pbString * ) { current->take( request ); };
    return made;
}();

/// A test in a world of its own: started module, simulated scheduler, recorder, stack.
class World : public Started
{
protected:
    void SetUp() override
    {
        Started::SetUp();
        simulation = own( pb___SimulationCreate( 1, -1 ) );
        pbSchedulerSetCurrent( simulation );
        stack = own( sipauthStackCreate( lenientOptions(), nullptr ) );
        recorder = own( trRecorderCreateMemory() );
        trRecorderSetSecrets( recorder, 1 );
        trSetRecorder( recorder );
    }
    void TearDown() override
    {
        trSetRecorder( nullptr );
        stack.clear();
        run();
        // Lookups and queries that nobody answered end at their deadline.
        pb___SimulationAdvance( simulation, 10000 );
        run();
        pbSchedulerSetCurrent( nullptr );
        simulation.clear();
        Started::TearDown();
    }

    void run()
    {
        while( pb___SimulationStep( simulation ) )
            ;
    }

    /// A session whose client answers with these credentials.
    Ref<sipauthSession> session( Ref<sipauthCredentials> cred = credentials( "alice", "secret" ),
                                 uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT )
    {
        return own( sipauthSessionCreateWithClientCredentials( stack, flags, cred, nullptr ) );
    }
    /// A session whose client side has nothing to answer with.
    Ref<sipauthSession> bareSession( uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT )
    {
        return own( sipauthSessionCreate( stack, flags, nullptr ) );
    }
    Transaction transaction( sipauthSession *sess ) { return Transaction( simulation, sess ); }
    Transaction transaction( sipauthSession *sess, std::initializer_list<const char *> challenges )
    {
        return Transaction( simulation, sess, challenge( challenges ) );
    }
    /// Answers a challenge, so that the session's later requests are authorized at once.
    void authenticate( sipauthSession *sess, const char *with )
    {
        auto first = transaction( sess, { with } );
        EXPECT_TRUE( first.send( "REGISTER" ).message );
        EXPECT_FALSE( first.error() );
        first.writeResponse( response( 200, "OK" ) );
        first.drop();
        run();
        takeTexts();
    }

    /// What the co-transactions wrote since the last call.
    Texts takeTexts()
    {
        auto vec = own( trRecorderTextsCstr( recorder, "SIPAUTH_CLIENT_COTRANS", -1 ) );
        Texts texts;
        for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
            texts.push_back( support::text( pbStringFrom( own( pbVectorObjAt( vec, index ) ) ) ) );
        trRecorderClearLines( recorder );
        return texts;
    }
    /// The lines of a kind that streams of co-transactions wrote since takeTexts was called.
    std::vector<Ref<trLine>> lines( int64_t kind )
    {
        std::vector<Ref<trLine>> result;
        for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        {
            auto line = own( trRecorderLineAt( recorder, index ) );
            if( trLineKind( line ) == kind && support::textOf( trLineStreamName( line ) ) == "SIPAUTH_CLIENT_COTRANS" )
                result.push_back( line );
        }
        return result;
    }
    /// Whether the stream of the last line has the notable mark.
    bool notable()
    {
        bool last = false;
        for( auto &line : lines( TR_LINE_KIND_NOTABLE ) )
            last = trLineNotable( line );
        return last;
    }

    Ref<pbScheduler> simulation;
    Ref<sipauthStack> stack;
    Ref<trRecorder> recorder;
};

// What the functions of the machine call themselves in their lines.
inline const std::string inHalt = "[sipauth___ClientCotransImpHalt()]";
inline const std::string inRequest = "[sipauth___ClientCotransImpStateRequest()]";
inline const std::string inAuthenticate = "[sipauth___ClientCotransImpStateRequestAuthenticate()]";
inline const std::string inUser = "[sipauth___ClientCotransImpStateRequestUser()]";
inline const std::string inCredentials = "[sipauth___ClientCotransImpStateRequestUserCredentials()]";
inline const std::string inSetup = "[sipauth___ClientCotransImpStateRequestSetup()]";
inline const std::string inResponse = "[sipauth___ClientCotransImpStateResponse()]";
inline const std::string inCancel = "[sipauth___ClientCotransImpStateCancel()]";
inline const std::string inAck = "[sipauth___ClientCotransImpStateAck()]";
inline const std::string inError = "[sipauth___ClientCotransImpStateError()]";
inline const std::string inEnd = "[sipauth___ClientCotransImpStateEnd()]";

inline const std::string successful = inSetup + " Authentication successful.";
inline const std::string exhausted = inAuthenticate + " All alternatives exhausted.";

} // namespace client

#endif
