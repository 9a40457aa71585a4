// The nonce ledger: a ring of entries in the order of their issue, and an index of open addressing over it. Both grow
// as they are used; once the ring has its full length each new nonce takes the place of the oldest one. An entry has 40
// bytes, its part of the index 8 to 16 more.
#include <host/host_ledger.h>

#include "host/host_hash_private.h"
#include "host/host_private.h"
#include "pb/pb_type.h"

#include <pb/pb_timestamp.h>

#include <limits>
#include <vector>

namespace
{

using host::Hash;

constexpr int64_t maxCapacity = std::numeric_limits<int32_t>::max();

struct Entry
{
    Hash hash;
    uint8_t address[16];
    int64_t issued : 62; ///< milliseconds
    uint64_t used : 1;
    uint64_t renewed : 1; ///< issued again since its place in the ring was written
};
static_assert( sizeof( Entry ) == 40 );

class Nonces
{
public:
    explicit Nonces( int64_t capacity )
        : capacity_( static_cast<size_t>( capacity ) ), index_( 16 ), key_( host::randomHashKey() )
    {
    }

    size_t length() const { return ring_.size(); }
    size_t capacity() const { return capacity_; }

    /// The entry of a nonce, or null.
    Entry *find( pbString *nonce )
    {
        Hash hash = hashOf( nonce );
        uint32_t slot = index_[place( hash )];
        return slot ? &ring_[slot - 1] : nullptr;
    }

    /// The entry of a nonce with nothing but its hash and `renewed` set; a new one when there is none yet.
    Entry *obtain( pbString *nonce )
    {
        Hash hash = hashOf( nonce );
        if( uint32_t slot = index_[place( hash )] )
        {
            ring_[slot - 1].renewed = 1;
            return &ring_[slot - 1];
        }
        uint32_t slot = ring_.size() < capacity_ ? append() : forgetOldest();
        Entry *entry = &ring_[slot];
        entry->hash = hash;
        entry->renewed = 0;
        index_[place( hash )] = slot + 1;
        return entry;
    }

private:
    // Equal texts have the same form, ASCII or not. A wide text cannot collide by its bytes with an ASCII one: those
    // have no zeros.
    Hash hashOf( pbString *nonce ) const
    {
        auto length = static_cast<size_t>( pbStringLength( nonce ) );
        host::Hasher hasher( key_ );
        if( const char *ascii = pbStringAscii( nonce ) )
            hasher.add( ascii, length );
        else
            hasher.add( pbStringBacking( nonce ), length * sizeof( pbChar ) );
        return hasher.finish();
    }

    size_t home( const Hash &hash ) const { return hash.halves[0] & ( index_.size() - 1 ); }
    size_t after( size_t place ) const { return ( place + 1 ) & ( index_.size() - 1 ); }

    // Where the index has a hash, or the free place where it would be.
    size_t place( const Hash &hash ) const
    {
        size_t place = home( hash );
        while( index_[place] && ring_[index_[place] - 1].hash != hash )
            place = after( place );
        return place;
    }

    // The index is at most half full, so that a search ends soon.
    uint32_t append()
    {
        ring_.emplace_back();
        if( ring_.size() * 2 > index_.size() )
        {
            index_.assign( index_.size() * 2, 0 );
            for( uint32_t slot = 0; slot + 1 < ring_.size(); slot++ )
                index_[place( ring_[slot].hash )] = slot + 1;
        }
        return static_cast<uint32_t>( ring_.size() - 1 );
    }

    // Who was issued again goes to the end of the ring, once, which here means that the end moves on.
    uint32_t forgetOldest()
    {
        while( ring_[oldest_].renewed )
        {
            ring_[oldest_].renewed = 0;
            advance();
        }
        auto slot = static_cast<uint32_t>( oldest_ );
        advance();
        removeFromIndex( place( ring_[slot].hash ) );
        return slot;
    }

    void advance() { oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1; }

    // Those behind a freed place move up, as far as they may: none stands before the place of its hash.
    void removeFromIndex( size_t freed )
    {
        size_t next = after( freed );
        for( ; index_[next]; next = after( next ) )
        {
            size_t mask = index_.size() - 1;
            size_t wanted = home( ring_[index_[next] - 1].hash );
            if( ( ( next - wanted ) & mask ) < ( ( next - freed ) & mask ) )
                continue;
            index_[freed] = index_[next];
            freed = next;
        }
        index_[freed] = 0;
    }

    size_t capacity_;
    std::vector<Entry> ring_;
    std::vector<uint32_t> index_; ///< the position in the ring and 1; 0 for none
    size_t oldest_ = 0;           ///< once the ring has its full length
    host::HashKey key_;
};

} // namespace

struct hostLedger
{
    pb::Object object;
    Nonces *nonces;
    int64_t expiration;
};

PB_TYPE( hostLedger, HOST_LEDGER, host, host___LedgerFreeFunc, nullptr );

static void host___LedgerFreeFunc( pbObj *obj )
{
    hostLedger *ledger = hostLedgerFrom( obj );
    PB_ASSERT( ledger );
    delete ledger->nonces;
    pb::poisonGlobal( ledger->nonces );
}

hostLedger *hostLedgerCreate( int64_t capacity, int64_t expiration )
{
    PB_ASSERT( capacity >= 1 && capacity <= maxCapacity );
    PB_ASSERT( expiration >= 1 );
    auto ledger = pb::create<hostLedger>( hostLedgerSort() );
    ledger->nonces = new Nonces( capacity );
    ledger->expiration = expiration;
    return ledger.give();
}

void hostLedgerSetExpiration( hostLedger *ledger, int64_t expiration )
{
    PB_ASSERT( ledger );
    PB_ASSERT( expiration >= 1 );
    ledger->expiration = expiration;
}

void hostLedgerIssue( hostLedger *ledger, pbString *nonce, hostPeer *peer )
{
    PB_ASSERT( ledger );
    PB_ASSERT( nonce );
    PB_ASSERT( peer );
    Entry *entry = ledger->nonces->obtain( nonce );
    std::memcpy( entry->address, hostPeerAddress( peer ), sizeof entry->address );
    entry->issued = pbTimestamp();
    entry->used = 0;
}

namespace
{

int64_t stateOf( const hostLedger *ledger, const Entry *entry )
{
    if( !entry )
        return HOST_NONCE_UNKNOWN;
    if( entry->used )
        return HOST_NONCE_USED;
    bool expired = pbTimestamp() - entry->issued >= ledger->expiration;
    return expired ? HOST_NONCE_EXPIRED : HOST_NONCE_OUTSTANDING;
}

} // namespace

int64_t hostLedgerLook( hostLedger *ledger, pbString *nonce )
{
    PB_ASSERT( ledger );
    PB_ASSERT( nonce );
    return stateOf( ledger, ledger->nonces->find( nonce ) );
}

pbBool hostLedgerIssuedTo( hostLedger *ledger, pbString *nonce, hostPeer *peer )
{
    PB_ASSERT( ledger );
    PB_ASSERT( nonce );
    PB_ASSERT( peer );
    const Entry *entry = ledger->nonces->find( nonce );
    return entry && std::memcmp( entry->address, hostPeerAddress( peer ), sizeof entry->address ) == 0;
}

void hostLedgerUse( hostLedger *ledger, pbString *nonce )
{
    PB_ASSERT( ledger );
    PB_ASSERT( nonce );
    Entry *entry = ledger->nonces->find( nonce );
    if( stateOf( ledger, entry ) == HOST_NONCE_OUTSTANDING )
        entry->used = 1;
}

int64_t hostLedgerLength( hostLedger *ledger )
{
    PB_ASSERT( ledger );
    return static_cast<int64_t>( ledger->nonces->length() );
}

int64_t hostLedgerCapacity( hostLedger *ledger )
{
    PB_ASSERT( ledger );
    return static_cast<int64_t>( ledger->nonces->capacity() );
}
