// One thread of a host: drives transactions back to back, the client's and the server's side of each.
#ifndef SOAK_WORKER_H
#define SOAK_WORKER_H

#include "outcomes.h"
#include "sessions.h"

#include <pb/pb_alert.h>
#include <pb/pb_process.h>
#include <pb/pb_signal.h>
#include <sipauth/sipauth.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <thread>

namespace soak
{

class Worker
{
public:
    /// Begins at once. The places must outlive it.
    Worker( uint64_t seed, std::deque<PairPlace> &places, Outcomes &outcomes );
    ~Worker();
    Worker( const Worker & ) = delete;
    Worker &operator=( const Worker & ) = delete;

    /// Asks for the end; the destructor waits for it.
    void stop() { stopped_ = true; }

private:
    static void notice( void *worker );
    void run();
    bool until( const char *what, const std::function<bool()> &holds );
    bool givesUp();

    /// What both sides of one transaction have in hand.
    struct Exchange
    {
        pb::Ref<sipauthClientCotrans> client;
        pb::Ref<sipauthServerCotrans> server;
        pb::Ref<sipsnMessage> accepted;
        pb::Ref<sipsnMessage> response;
    };
    using Read = sipsnMessage *( sipauthClientCotrans *, siptpSendFilter ** );

    void transactions();
    bool transaction( const Pair &pair, pb::Ref<sipauthChallenge> &challenge, bool invite );
    pb::Ref<sipsnMessage> send( Exchange &exchange, const char *method );
    pb::Ref<sipsnMessage> leaving( Exchange &exchange, const char *what, Read *read );
    bool verdict( Exchange &exchange, const Pair &pair, sipsnMessage *request );
    bool serve( Exchange &exchange, bool invite );
    bool respond( Exchange &exchange, int64_t statusCode );
    bool cancel( Exchange &exchange );
    void acknowledge( Exchange &exchange );
    bool deliver( Exchange &exchange );
    void countFinal( sipsnMessage *response );
    void expectNoMore( Exchange &exchange );
    pb::Ref<sipsnMessage> message( const char *method );

    std::deque<PairPlace> &places_;
    Outcomes &outcomes_;
    std::mt19937_64 random_;
    int64_t sequence_ = 0;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    int64_t events_ = 0;
    pb::Ref<pbProcess> process_;
    pb::Ref<pbAlertable> alertable_;
    pb::Ref<pbSignalable> signalable_;
    std::thread thread_;
};

} // namespace soak

#endif
