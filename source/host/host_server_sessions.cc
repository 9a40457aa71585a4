// The proven sessions of a server.
#include "host/host_server_sessions.h"

#include "host/host_private.h"
#include "pb/pb_type.h"

#include <pb/pb_timestamp.h>

PB_TYPE( host___Session, HOST___SESSION, host, host___SessionFreeFunc, nullptr );

static void host___SessionFreeFunc( pbObj *obj )
{
    host___Session *session = host___SessionFrom( obj );
    PB_ASSERT( session );
    PB_ASSERT( !session->inTable );
    pb::poison( session->session, session->binding, session->peer, session->nonce, session->next );
}

namespace host::server
{

namespace
{

// A binding is used from one flow, or from two where a dialog is shared. More are a client that changes its port with
// each request; they must not make a long chain.
constexpr int64_t maxOfBinding = 16;

} // namespace

Sessions::Sessions( int64_t max, int64_t lifetime )
    : max_( max ), lifetime_( lifetime ), byBinding_( pb::own( pbDictCreate() ) )
{
    PB_ASSERT( max >= 1 );
}

void Sessions::setBounds( int64_t max, int64_t lifetime )
{
    PB_ASSERT( max >= 1 );
    max_ = max;
    lifetime_ = lifetime;
    dropTooMany();
}

bool Sessions::tooOld( const host___Session *session ) const
{
    return pbTimestamp() - session->used >= lifetime_;
}

pb::Ref<host___Session> Sessions::first( pbString *binding ) const
{
    return pb::own( host___SessionFrom( pbDictValue( byBinding_, binding ) ) );
}

pb::Ref<host___Session> Sessions::find( pbString *binding, hostPeer *peer )
{
    pb::Ref<host___Session> session = first( binding );
    while( session && !hostPeerEquals( session->peer, peer ) )
        session = pb::share( session->next.get() );
    if( session && ( tooOld( session ) || sipauthSessionError( session->session ) ) )
    {
        drop( session );
        return nullptr;
    }
    return session;
}

pb::Ref<host___Session> Sessions::add( pbString *binding, hostPeer *peer, sipauthSession *session, pbString *nonce )
{
    if( pb::Ref<host___Session> earlier = find( binding, peer ) )
        drop( earlier );
    makeRoom( binding );
    auto added = pb::create<host___Session>( host___SessionSort() );
    added->session = pb::share( session );
    added->binding = pb::share( binding );
    added->peer = pb::share( peer );
    added->nonce = pb::share( nonce );
    added->next = first( binding );
    pbDictSetValue( byBinding_.inout(), binding, host___SessionObj( added ) );
    added->inTable = true;
    added->used = pbTimestamp();
    append( added );
    length_++;
    dropTooMany();
    return added;
}

void Sessions::use( host___Session *session )
{
    if( !session->inTable )
        return;
    session->used = pbTimestamp();
    unlink( session );
    append( session );
}

// In a binding that has as many sessions as it may, the one used longest ago goes.
void Sessions::makeRoom( pbString *binding )
{
    pb::Ref<host___Session> head = first( binding );
    int64_t count = 0;
    host___Session *longestAgo = head;
    for( host___Session *session = head; session; session = session->next )
    {
        count++;
        // Of several used in the same millisecond the last of the chain came first.
        if( session->used <= longestAgo->used )
            longestAgo = session;
    }
    if( count >= maxOfBinding )
        drop( longestAgo );
}

void Sessions::dropTooMany()
{
    while( oldest_ && ( length_ > max_ || tooOld( oldest_ ) ) )
        drop( oldest_ );
}

void Sessions::drop( host___Session *session )
{
    if( !session->inTable )
        return;
    pb::Ref<host___Session> kept = pb::share( session ); // the table may have the last reference
    session->inTable = false;
    length_--;
    unlink( session );
    takeFromBinding( session );
}

void Sessions::takeFromBinding( host___Session *session )
{
    pb::Ref<host___Session> next = session->next.take();
    pb::Ref<host___Session> head = first( session->binding );
    if( head.get() != session )
    {
        host___Session *before = head;
        while( before->next.get() != session )
            before = before->next;
        before->next = next;
    }
    else if( next )
        pbDictSetValue( byBinding_.inout(), session->binding, host___SessionObj( next ) );
    else
        pbDictDelKey( byBinding_.inout(), session->binding );
}

void Sessions::dropBinding( pbString *binding )
{
    while( pb::Ref<host___Session> session = first( binding ) )
        drop( session );
}

void Sessions::dropAll()
{
    while( oldest_ )
        drop( oldest_ );
}

void Sessions::append( host___Session *session )
{
    session->newer = nullptr;
    session->older = newest_;
    ( newest_ ? newest_->newer : oldest_ ) = session;
    newest_ = session;
}

void Sessions::unlink( host___Session *session )
{
    ( session->newer ? session->newer->older : newest_ ) = session->older;
    ( session->older ? session->older->newer : oldest_ ) = session->newer;
}

} // namespace host::server
