// A simulated world: clients and servers that authenticate each other over a wire that loses, repeats, delays and
// forks, with a directory of moods, while options change and hosts let go of things at any moment. All from one seed.
#ifndef SIMULATION_WORLD_H
#define SIMULATION_WORLD_H

#include "directory.h"
#include "reference.h"
#include "settings.h"
#include "sipauth/client/sipauth_client_cotrans_private.h"
#include "sipauth/server/sipauth_server_cotrans_private.h"
#include "story.h"

#include <pb/pb_alert.h>
#include <pb/pb_ref.hh>
#include <pb/pb_scheduler.h>
#include <pb/pb_signal.h>
#include <sipauth/sipauth.h>

#include <array>
#include <deque>
#include <functional>
#include <memory>

namespace simulation
{

class World;

/// A message of the world from its bytes, and back.
pb::Ref<sipsnMessage> decoded( const std::string &bytes );
std::string encoded( sipsnMessage *message );

/// What happened in worlds, to see that they are not empty of events.
struct Statistics
{
    int64_t worlds = 0;
    int64_t events = 0;
    int64_t requests = 0;
    int64_t passed = 0;
    int64_t verified = 0; ///< passed by a Digest response that was checked
    int64_t challenged = 0;
    int64_t forbidden = 0;
    int64_t clientErrors = 0;
    int64_t answered = 0; ///< requests that went out with credentials
    int64_t inquiries = 0;
    int64_t waits = 0; ///< co-transactions seen waiting for their session's state
    int64_t freedAtWork = 0;

    void add( const Statistics &other );
};

/// What a session's state looked like: the state itself and all that it refers to.
using StateImage = std::array<const void *, 12>;

/// A server's session with what the reference remembers of it.
struct ServerSession
{
    pb::Ref<sipauthSession> session;
    StateImage image{};
    Settings settings;
    bool checks = true;
    bool proxy = false;
    Memory memory;
    bool sawError = false;
};

struct ClientSession
{
    pb::Ref<sipauthSession> session;
    StateImage image{};
    bool proxy = false;
    bool sawError = false;
};

/// The two ends of one relationship.
struct Relation
{
    int number = 0;
    std::string userName;
    std::shared_ptr<ClientSession> client;
    std::shared_ptr<ServerSession> server;
    int64_t sequence = 0;
};

/// What a host keeps for a transaction of either side: its process, which looks at the channels when it is woken.
class Host
{
public:
    Host( World &world, int number );
    virtual ~Host();
    Host( const Host & ) = delete;

    /// Reads what there is to read.
    virtual void look() = 0;
    /// The host lets go of the co-transaction.
    virtual void release() = 0;

    const int number;

protected:
    World &world_;
    pb::Ref<pbProcess> process_;
    pb::Ref<pbAlertable> alertable_;
    pb::Ref<pbSignalable> signalable_;
};

class ClientTransaction : public Host
{
public:
    ClientTransaction( World &world, int number, Relation &relation, sipauthChallenge *challenge, int attempt );
    ~ClientTransaction() override;

    void look() override;
    void release() override;
    void receive( const std::string &bytes );
    void cancel();

    std::string branch;
    std::string method;
    std::string requestBytes; ///< as it left
    std::shared_ptr<ClientSession> session;
    pb::Ref<sipauthClientCotrans> cotrans;      ///< null once the host has let go
    pb::Ref<sipauth___ClientCotransImp> inside; ///< kept to watch it
    Relation &relation;
    const int attempt;
    int64_t alternatives = 0; ///< in the challenge that it answers

    bool invite() const { return method == "INVITE"; }

    // The host's mirror of the call order.
    bool sent = false;
    bool hadProvisional = false;
    bool hadFinal = false;
    bool hadCancel = false;
    bool hadAck = false;
    bool failed = false;
    bool sessionHadFailed; ///< when the transaction began
    int64_t finalStatus = 0;

private:
    void send( pb::Ref<sipsnMessage> message, siptpSendFilter *filter, bool isRequest );
    std::string text( const std::string &ofMethod ) const;
    void acknowledge();
    void tryAgain();

    pb::Ref<sipsnMessage> request_; ///< as the host wrote it
    bool triedAgain_ = false;
    int64_t sequence_ = 0;
    std::string body_;
};

class ServerTransaction : public Host
{
public:
    ServerTransaction( World &world, int number, Relation &relation, int client, const std::string &bytes );
    ~ServerTransaction() override;

    void look() override;
    void release() override;
    /// A repeated request, a CANCEL or an ACK of the same branch.
    void receive( const std::string &bytes );
    /// The application answers; only a transaction that has something to answer does.
    bool respond();
    /// Compares what the library decided in the run just over with the reference.
    void judge();

    const std::string branch;
    const int relation;
    const int client; ///< the transaction that it answers
    std::shared_ptr<ServerSession> session;
    pb::Ref<sipauthServerCotrans> cotrans;
    pb::Ref<sipauth___ServerCotransImp> inside;
    int64_t inquiry = -1; ///< the last one that it made

    bool accepted = false; ///< the request has been read
    bool hadProvisional = false;
    bool hadFinal = false; ///< a final response was read for sending
    bool wroteFinal = false;
    bool hadCancel = false;
    bool hadAck = false;

private:
    void judgeMessage( const Message &message, Verdict verdict );
    void noteChallenge( const Message &response );
    std::optional<Verdict> visibleVerdict() const;

    pb::Ref<sipsnMessage> request_;
    std::optional<Message> cancel_;
    std::optional<Message> ack_;
    bool judgedRequest_ = false;
    bool judgedCancel_ = false;
    bool judgedAck_ = false;
    std::string lastResponse_;
};

/// A message on its way.
struct Flight
{
    int64_t due;
    bool toServer;
    int to;   ///< relation for a request, client transaction for a response
    int from; ///< client transaction of a request
    std::string bytes;
};

class World
{
public:
    World( uint64_t seed, bool print );
    ~World();
    World( const World & ) = delete;

    /// Lives through the whole story.
    void run();
    /// Lives for so many steps and no more, for a host that is about to break a rule.
    void live( int steps );
    /// Breaks a rule of the call order on purpose, having announced the text with which the process has to end. False
    /// when there was no rule to break. Returns true only when the library let it pass.
    bool breakRule( const std::function<void( const std::string & )> &announce );

    // For the transactions.
    int64_t now() const;
    void fly( Flight flight );
    /// A copy of a request reaches another server, too.
    void fork( const std::string &bytes, int client );
    /// The shortest expiration of challenges that may be in force.
    int64_t shortestExpiration() const;
    void open( Relation &relation, sipauthChallenge *challenge, int attempt );
    Relation &relation( int number ) { return *relations_[static_cast<size_t>( number )]; }

    Random random;
    Story story;
    Statistics statistics;
    std::unique_ptr<Directory> directory;
    SentChallenges sent;
    std::set<std::string> noncesSeen;
    std::set<std::pair<std::string, int64_t>> pairsAccepted;

private:
    friend class Watch;

    void addRelation( int number );
    void newServerSession( Relation &relation );
    void newClientSession( Relation &relation );
    void act();
    void step();
    bool deliver();
    void passTime();
    void changeOptions();
    void releaseSomething();
    void replay();
    void settle();
    void end();

    const uint64_t seed_;
    int64_t liveBefore_;
    pb::Ref<pbScheduler> scheduler_;
    Settings serverSettings_;
    Settings clientSettings_;
    pb::Ref<sipauthStack> serverStack_;
    pb::Ref<sipauthStack> clientStack_;
    std::vector<int64_t> expirations_; ///< that may be in force: the last one, and those the stack has not left yet
    int64_t longestExpiration_ = 0;    ///< of all
    std::vector<std::unique_ptr<Relation>> relations_;
    std::vector<std::unique_ptr<ClientTransaction>> clients_;
    std::vector<std::unique_ptr<ServerTransaction>> servers_;
    std::vector<Flight> flights_;
    std::vector<std::string> wiretap_; ///< requests with credentials that were seen on the wire
    int64_t quota_;                    ///< transactions still to be opened
    bool calm_ = false;                ///< the wire loses nothing any more, nothing new begins
};

} // namespace simulation

#endif
