// The proven sessions of a server: those in which a request passed with credentials, found again by what they belong to
// (binding) and where they come from (flow). What is used longest ago goes first when the table is full.
#ifndef HOST_HOST_SERVER_SESSIONS_H
#define HOST_HOST_SERVER_SESSIONS_H

#include "pb/pb_object.h"

#include <host/host_peer.h>
#include <pb/pb_dict.h>
#include <sipauth/sipauth_session.h>

/// A proven session. Its transactions hold it, too; so it may outlive its place in the table.
struct host___Session
{
    pb::Object object;
    pb::Field<sipauthSession> session;
    pb::Field<pbString> binding;
    pb::Field<hostPeer> peer;
    pb::Field<pbString> nonce; ///< of the digest state that the session keeps
    int64_t openTransactions;

    // The table's own.
    pb::Field<host___Session> next; ///< another session of the same binding
    host___Session *newer;
    host___Session *older;
    int64_t used; ///< pbTimestamp
    bool inTable;
};

PB_BEGIN_DECLS

/// The sort of proven sessions; static, not counted for the caller.
pbSort *host___SessionSort( void );
/// Takes one more reference of OBJ and returns OBJ.
host___Session *host___SessionRetain( host___Session *obj );
/// Gives back one reference of OBJ; the last one frees it.
void host___SessionRelease( host___Session *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *host___SessionObj( host___Session *obj );
/// OBJ as a proven session; takes no reference, null passes through, an object of another sort aborts.
host___Session *host___SessionFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *host___SessionToString( host___Session *obj );
/// Negative, 0 or positive: orders by identity.
int64_t host___SessionCompare( host___Session *objA, host___Session *objB );
/// 1 when host___SessionCompare gives 0, else 0.
pbBool host___SessionEquals( host___Session *objA, host___Session *objB );

PB_END_DECLS

namespace host::server
{

/// See the head of the file.
class Sessions
{
public:
    /// At most MAX sessions (at least 1), each until it has not been used for LIFETIME milliseconds.
    Sessions( int64_t max, int64_t lifetime );
    ~Sessions() { dropAll(); }
    Sessions( const Sessions & ) = delete;
    Sessions &operator=( const Sessions & ) = delete;

    /// Other bounds from now on.
    void setBounds( int64_t max, int64_t lifetime );
    /// The session of a binding and flow; null when there is none, or it is too old or has failed, and then it goes.
    pb::Ref<host___Session> find( pbString *binding, hostPeer *peer );
    /// A session that has just been proven, in place of an earlier one of that binding and flow.
    pb::Ref<host___Session> add( pbString *binding, hostPeer *peer, sipauthSession *session, pbString *nonce );
    /// A request passed in a session: its lifetime begins anew. One that has left the table stays out.
    void use( host___Session *session );
    /// Takes a session out; nothing when it is out already.
    void drop( host___Session *session );
    /// Takes all sessions of a binding out.
    void dropBinding( pbString *binding );
    void dropAll();
    int64_t length() const { return length_; }

private:
    pb::Ref<host___Session> first( pbString *binding ) const;
    void dropTooMany();
    void makeRoom( pbString *binding );
    void append( host___Session *session );
    void unlink( host___Session *session );
    void takeFromBinding( host___Session *session );
    bool tooOld( const host___Session *session ) const;

    int64_t max_;
    int64_t lifetime_;
    int64_t length_ = 0;
    pb::Ref<pbDict> byBinding_; ///< the first session of each binding
    host___Session *newest_ = nullptr;
    host___Session *oldest_ = nullptr;
};

} // namespace host::server

#endif
