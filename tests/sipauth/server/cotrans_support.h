// What the tests of server co-transactions share: a world in one thread with a directory that answers as a test wants,
// a client that answers challenges with the library's own functions, and the lines of the trace.
#ifndef SIPAUTH_SERVER_COTRANS_SUPPORT_H
#define SIPAUTH_SERVER_COTRANS_SUPPORT_H

#include "pb/pb_simulation.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"
#include "sipauth/server/sipauth_server_cotrans_private.h"
#include "sipauth/session/sipauth_session_private.h"
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"
#include "usr/usr_driver.h"

#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_server_cotrans.h>
#include <sipbn/sipbn_response.h>
#include <tr/tr_recorder.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cotrans
{

using pb::own;
using support::string;
using support::textOf;

/// A directory whose driver answers at once, or when it is told to.
class Directory
{
public:
    explicit Directory( int64_t maxLookups = 1000 )
    {
        current_ = this;
        usr___DriverRegister( driver() );
        auto config = own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "driver", -1, string( "testing" ) );
        pbStoreSetValueIntCstr( config.inout(), "lookupTimeout", -1, timeout );
        pbStoreSetValueIntCstr( config.inout(), "maxLookups", -1, maxLookups );
        object = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    }
    ~Directory()
    {
        object.clear();
        giveUp();
        usr___DriverUnregister( driver() );
        current_ = nullptr;
    }
    Directory( const Directory & ) = delete;
    Directory &operator=( const Directory & ) = delete;

    /// How long it takes until a question ends without the driver, in milliseconds.
    static constexpr int64_t timeout = 500;

    void add( const std::string &userName, const std::string &password ) { passwords_[userName] = password; }

    /// Answers what waits.
    void answer()
    {
        std::vector<Question> questions;
        std::swap( questions, questions_ );
        for( Question &question : questions )
        {
            end( question.request, question.userName );
            usr___RequestRelease( question.request );
        }
    }

    pb::Ref<usrDirectory> object;
    bool late = false; ///< questions wait for answer()
    std::vector<std::string> asked;

private:
    struct Question
    {
        usr___Request *request;
        std::string userName;
    };

    static const usr___Driver *driver()
    {
        static const usr___Driver record = []
        {
            usr___Driver made = {};
            made.name = "testing";
            made.tryCreate = []( pbStore *, trStream *, pbString ** ) { return pbVectorObj( pbVectorCreate() ); };
            made.close = []( pbObj * ) { current_->giveUp(); };
            made.lookup = []( pbObj *, usr___Request *request, pbString *userName, pbString *realm )
            { current_->ask( request, support::text( userName ), support::text( realm ) ); };
            made.query = []( pbObj *, usr___Request *request, pbString *userId )
            { current_->ask( request, support::text( userId ), "query" ); };
            return made;
        }();
        return &record;
    }

    void ask( usr___Request *request, const std::string &userName, const std::string &realm )
    {
        asked.push_back( userName + " " + realm );
        if( late )
            questions_.push_back( { usr___RequestRetain( request ), userName } );
        else
            end( request, userName );
    }

    void end( usr___Request *request, const std::string &userName )
    {
        auto found = passwords_.find( userName );
        if( found == passwords_.end() )
            return usr___RequestEndWithout( request, "not found" );
        auto credentials = own( sipauthCredentialsCreate() );
        sipauthCredentialsSetUserName( credentials.inout(), string( userName ) );
        sipauthCredentialsSetPassword( credentials.inout(), string( found->second ) );
        usr___RequestEnd( request, string( userName ), own( sipauthCredentialsStore( credentials, 1 ) ) );
    }

    void giveUp()
    {
        for( Question &question : questions_ )
            usr___RequestRelease( question.request );
        questions_.clear();
    }

    static inline Directory *current_ = nullptr;
    std::map<std::string, std::string> passwords_;
    std::vector<Question> questions_;
};

/// A message with what a response copies of it.
inline pb::Ref<sipsnMessage> request( const std::string &method, const std::string &body = "" )
{
    auto message = own( sipsnMessageCreateRequest( string( method ), string( "sip:example.org" ) ) );
    auto set = [&]( const char *name, const std::string &value )
    {
        auto header = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
        sipsnMessageHeaderAppendLine( header.inout(), string( value ) );
        sipsnMessageSetHeader( message.inout(), header );
    };
    set( "Via", "SIP/2.0/UDP 192.0.2.1;branch=z9hG4bK1" );
    set( "From", "<sip:alice@example.org>;tag=1" );
    set( "To", "<sip:alice@example.org>" );
    set( "Call-ID", "1@192.0.2.1" );
    set( "CSeq", "1 " + method );
    if( !body.empty() )
        sipsnMessageSetBody( message.inout(), support::buffer( body ) );
    return message;
}

inline pb::Ref<sipsnMessage> response( int64_t statusCode )
{
    return own( sipsnMessageCreateResponse( statusCode, string( "Reason" ) ) );
}

inline std::vector<std::string> headerLines( sipsnMessage *message, const char *name )
{
    std::vector<std::string> lines;
    if( auto header = own( sipsnMessageHeaderCstr( message, name, -1 ) ) )
        for( int64_t index = 0; index < sipsnMessageHeaderLinesLength( header ); index++ )
            lines.push_back( textOf( sipsnMessageHeaderLineAt( header, index ) ) );
    return lines;
}

/// A client of one user, on one side of the difference between 401 and 407.
class Client
{
public:
    explicit Client( const std::string &userName = "alice", const std::string &password = "secret", pbBool proxy = 0 )
        : credentials_( own( sipauthCredentialsCreate() ) ), options_( own( sipauthOptionsCreate() ) ), proxy_( proxy )
    {
        sipauthCredentialsSetUserName( credentials_.inout(), string( userName ) );
        sipauthCredentialsSetPassword( credentials_.inout(), string( password ) );
    }

    /// Takes one of the challenges of a response up.
    void challenged( sipsnMessage *response, int64_t index = 0 )
    {
        auto challenge = own( sipauthChallengeTryDecodeFromMessage( options_, response, proxy_ ) );
        ASSERT_TRUE( challenge );
        auto authenticate = own( sipauthChallengeAuthenticateAt( challenge, index ) );
        state = own( sipauthDigestStateTryCreateFromAuthenticate( options_, authenticate ) );
    }

    /// The credentials for a request.
    pb::Ref<sipauthAuthorization> authorization( sipsnMessage *request )
    {
        return own( sipauthDigestStateTryConstructAuthorization( state, request, credentials_, nullptr ) );
    }

    /// A request with credentials, and from then on the next nonce count.
    pb::Ref<sipsnMessage> authorized( const std::string &method = "REGISTER", const std::string &body = "" )
    {
        auto message = request( method, body );
        put( message, authorization( message ) );
        if( auto next = own( sipauthDigestStateTryCreateNext( state ) ) )
            state = next;
        return message;
    }

    /// A request with Basic credentials.
    pb::Ref<sipsnMessage> basic( const std::string &method = "REGISTER" )
    {
        auto authorization = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
        sipauthAuthorizationSetBasicUserName( authorization.inout(),
                                              own( sipauthCredentialsUserName( credentials_ ) ) );
        sipauthAuthorizationSetBasicPassword( authorization.inout(),
                                              own( sipauthCredentialsPassword( credentials_ ) ) );
        auto message = request( method );
        put( message, authorization );
        return message;
    }

    void put( pb::Ref<sipsnMessage> &message, sipauthAuthorization *authorization )
    {
        sipauth___AuthorizationEncodeToMessage( options_, authorization, message.inout(), proxy_ );
    }

    pb::Ref<sipauthDigestState> state;

private:
    pb::Ref<sipauthCredentials> credentials_;
    pb::Ref<sipauthOptions> options_;
    pbBool proxy_;
};

/// The world of a test. Its options are Digest with MD5 and qop auth until a test changes them; stack and session are
/// made with the first co-transaction, or when a test asks for them.
class Server : public Started
{
protected:
    void SetUp() override
    {
        Started::SetUp();
        scheduler = own( pb___SimulationCreate( 1, -1 ) );
        pbSchedulerSetCurrent( scheduler );
        recorder = own( trRecorderCreateMemory() );
        trSetRecorder( recorder );
        options = own( sipauthOptionsCreate() );
        sipauthOptionsSetServerRealm( options.inout(), string( "example.org" ) );
        offer( { SIPAUTH_DIGEST_ALGORITHM_MD5 }, { SIPAUTH_DIGEST_QOP_AUTH } );
        useDirectory( 1000 );
    }

    void TearDown() override
    {
        last.clear();
        answer.clear();
        session_.clear();
        stack_.clear();
        options.clear();
        pump();
        trSetRecorder( nullptr );
        recorder.clear();
        directory.reset();
        pump();
        pbSchedulerSetCurrent( nullptr );
        scheduler.clear();
        Started::TearDown();
    }

    /// A new directory in place of an earlier one, with the user alice, in the options.
    void useDirectory( int64_t maxLookups )
    {
        sipauthOptionsDelServerUsrDirectory( options.inout() );
        directory.reset();
        directory.emplace( maxLookups );
        directory->add( "alice", "secret" );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory->object );
    }

    void offer( std::vector<int64_t> algorithms, std::vector<int64_t> qops )
    {
        sipauthOptionsClearDigestAlgorithms( options.inout() );
        for( int64_t algorithm : algorithms )
            sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
        sipauthOptionsClearDigestQops( options.inout() );
        for( int64_t qop : qops )
            sipauthOptionsSetDigestQop( options.inout(), qop );
    }

    void allowBasic() { sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC ); }
    void passWithoutRechallenge() { sipauthOptionsSetServerRechallenge( options.inout(), 0 ); }

    sipauthStack *stack()
    {
        if( !stack_ )
            stack_ = own( sipauthStackCreate( options, nullptr ) );
        return stack_;
    }

    sipauthSession *session()
    {
        if( !session_ )
            session_ = own( sipauthSessionCreate( stack(), flags, nullptr ) );
        return session_;
    }

    /// From now on there is another session, with the options as they are now; the stack stays.
    void otherSession()
    {
        sipauthStackSetOptions( stack(), options );
        session_.clear();
    }

    void pump()
    {
        while( pb___SimulationStep( scheduler ) )
        {
        }
    }

    pb::Ref<sipauthServerCotrans> make() { return own( sipauthServerCotransCreate( session(), nullptr ) ); }

    /// What has become of a request: "passed", the status code of the answer, or "nothing" yet.
    std::string outcome( sipauthServerCotrans *cotrans )
    {
        pump();
        if( own( sipauthServerCotransRequestRead( cotrans ) ) )
            return "passed";
        answer = own( sipauthServerCotransResponseRead( cotrans, nullptr ) );
        return answer ? std::to_string( sipsnMessageResponseStatusCode( answer ) ) : "nothing";
    }

    /// Serves a request with a new co-transaction, which becomes the last one; the trace then is that of this one.
    std::string serve( sipsnMessage *request )
    {
        last.clear();
        pump();
        trRecorderClearLines( recorder );
        last = make();
        sipauthServerCotransRequestWrite( last, request );
        return outcome( last );
    }

    /// Serves a request without credentials, and has a client take its challenge up.
    void challenge( Client &client, int64_t index = 0 )
    {
        serve( request( "REGISTER" ) );
        ASSERT_TRUE( answer );
        client.challenged( answer, index );
    }

    /// The lines that co-transactions have written, without what they have in common.
    std::vector<std::string> trace()
    {
        auto vec = own( trRecorderTextsCstr( recorder, "SIPAUTH_SERVER_COTRANS", -1 ) );
        std::vector<std::string> lines;
        for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
        {
            std::string line = support::text( pbStringFrom( own( pbVectorObjAt( vec, index ) ) ) );
            std::string common = "[sipauth___ServerCotransImp";
            EXPECT_EQ( line.substr( 0, common.size() ), common );
            lines.push_back( line.substr( common.size() ) );
        }
        return lines;
    }

    /// Whether the stream of the last co-transaction carries the notable mark.
    bool notable()
    {
        bool result = false;
        for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        {
            auto line = own( trRecorderLineAt( recorder, index ) );
            if( textOf( trLineStreamName( line ) ) == "SIPAUTH_SERVER_COTRANS" )
                result = trLineNotable( line );
        }
        return result;
    }

    /// The session's state, as it is while nobody holds it.
    pb::Ref<sipauth___SessionState> state()
    {
        auto state = own( sipauth___SessionTryAcquireState( session() ) );
        EXPECT_TRUE( state ) << "a co-transaction holds the session's state";
        if( state )
            sipauth___SessionReleaseAndUpdateState( session(), state );
        return state;
    }

    static sipauth___ServerCotransImp *imp( sipauthServerCotrans *cotrans ) { return cotrans->imp; }

    static bool ended( sipauthServerCotrans *cotrans ) { return pbProcessHalted( cotrans->imp->isProcess ); }

    std::optional<Directory> directory;
    pb::Ref<pbScheduler> scheduler;
    pb::Ref<trRecorder> recorder;
    pb::Ref<sipauthOptions> options;
    uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER;
    pb::Ref<sipauthServerCotrans> last;
    pb::Ref<sipsnMessage> answer;

private:
    pb::Ref<sipauthStack> stack_;
    pb::Ref<sipauthSession> session_;
};

/// The lines that the steps write, without what they have in common.
namespace lines
{

inline constexpr char incoming[] = "StateRequest()] Incoming REGISTER";
inline constexpr char noCredentials[] = "StateCheckNull()] sipauthAuthorizationTryDecodeFromMessage(): null";
inline constexpr char checkUser[] = "StateCheckUser()]";
inline constexpr char checkUserCredentials[] = "StateCheckUserCredentials()]";
inline constexpr char noStoredChallenge[] = "StateCheckDigest()] sipauth___StackServerChallenge(): null";
inline constexpr char wrongDigest[] = "StateCheckDigest()] sipauthDigestStateCheckAuthorization(): false";
inline constexpr char failure[] = "StateCheckError()] Authentication failure.";
inline constexpr char forbidden[] = "StateCheckError()] Outgoing response (403 Forbidden)";
inline constexpr char challenged[] = "StateChallengeDone()] Outgoing response (401 Unauthorized)";
inline constexpr char end[] = "StateEnd()]";

} // namespace lines

} // namespace cotrans

#endif
