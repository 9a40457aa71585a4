// What travels on the roads: requests, both sides of a transaction, and tests that run on each drive.
#ifndef SCENARIO_ROAD_H
#define SCENARIO_ROAD_H

#include "host.h"
#include "support/text.h"

#include <sipauth/sipauth.h>
#include <usr/usr_administration.h>

#include <gtest/gtest.h>

#include <string>

namespace scenario
{

using support::string;

/// A SIP request as it is on the wire. The branch is that of the sequence number; so a CANCEL and the ACK of a refusal
/// belong to the request of the same number.
std::string requestOf( const std::string &method, int64_t sequence, const std::string &body = "" );
/// The message that bytes are; a test fails, and the result is null, when they are none.
pb::Ref<sipsnMessage> decoded( const std::string &wire );
/// The value of a header's only line, "" without the header.
std::string headerOf( const std::string &wire, const char *name );
/// The status code of a response.
int64_t statusOf( const std::string &wire );

/// The client's side of one transaction.
class ClientTransaction
{
public:
    ClientTransaction( Host &host, sipauthSession *session, sipauthChallenge *challenge = nullptr );

    /// Writes the request.
    void write( const std::string &request );
    /// The request as it leaves, signed; "" when the transaction has failed.
    std::string sent();
    /// Both in one.
    std::string send( const std::string &request );
    /// The CANCEL or the ACK as it leaves.
    std::string sendCancel( const std::string &cancel );
    std::string sendAck( const std::string &ack );
    /// Takes a response in, and sees that it is delivered as it came.
    void receive( const std::string &response );
    /// What a 401 or 407 asked for, or null.
    pb::Ref<sipauthChallenge> challenge() { return own( sipauthClientCotransFinalChallenge( cotrans_ ) ); }

private:
    using Read = sipsnMessage *( sipauthClientCotrans *, siptpSendFilter ** );
    std::string leaving( Read *read );

    Host &host_;
    pb::Ref<sipauthClientCotrans> cotrans_;
};

/// The server's side of one transaction.
class ServerTransaction
{
public:
    ServerTransaction( Host &host, sipauthSession *session );

    /// Writes the request that came in.
    void write( const std::string &request );
    /// The library's response to it; "" when the request was accepted.
    std::string verdict();
    /// The response of the server's own with this status code, as it leaves. The request must have been accepted.
    std::string respond( int64_t statusCode );
    /// Takes a CANCEL or an ACK in, and sees that the server gets it as it came.
    void receiveCancel( const std::string &cancel );
    void receiveAck( const std::string &ack );

private:
    using Write = void( sipauthServerCotrans *, sipsnMessage * );
    using Read = sipsnMessage *( sipauthServerCotrans * );
    void receive( const std::string &wire, Write *take, Read *read );
    std::string leaving();

    Host &host_;
    pb::Ref<sipauthServerCotrans> cotrans_;
    pb::Ref<sipsnMessage> request_;
};

/// A client and a server, each with a session.
struct Parties
{
    pb::Ref<sipauthSession> client;
    pb::Ref<sipauthSession> server;
    pb::Ref<sipauthChallenge> challenge; ///< of the last response
    std::string wire;                    ///< the last request as it left
    int64_t sequence = 0;
};

pb::Ref<sipauthCredentials> credentialsOf( const std::string &userName, const std::string &password );

/// The tests of this program: each runs on each drive.
class Road : public testing::TestWithParam<Drive>
{
protected:
    /// Options of a preset with the realm and the directory of the tests.
    pb::Ref<sipauthOptions> options( int64_t defaults );
    /// The user "alice" with the password "wonderland", in memory.
    static pb::Ref<usrDirectory> aliceOnly();

    /// A client who is "alice" unless told otherwise and a server, in new sessions of a stack.
    Parties parties( sipauthStack *stack, const std::string &password = "wonderland",
                     const std::string &userName = "alice", uint64_t flags = 0 );

    /// One transaction, as an answer to the last challenge if there was one. CHANGED gets the request as it left and
    /// returns what arrives. The status code that the client gets; 0 when the client's side failed.
    int64_t transact( Parties &parties, const std::string &method = "REGISTER", const std::string &body = "",
                      const std::function<std::string( std::string )> &changed = nullptr );

    Started started;
    Host host{ GetParam() };
};

inline const auto everyDrive = testing::Values( Drive::THREADS, Drive::HOSTED, Drive::SIMULATED );

inline std::string driveName( const testing::TestParamInfo<Drive> &info )
{
    return nameOf( info.param );
}

} // namespace scenario

#endif
