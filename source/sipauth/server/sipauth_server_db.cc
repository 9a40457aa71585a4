// The database of challenges. Both containers find a record's own entries by its identity, so that each operation costs
// time in the nonces of the challenges that it touches, however many others there are.
#include "sipauth/server/sipauth_server_db_private.h"

#include "pb/pb_dict_values.h"
#include "pb/pb_hold.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"
#include "sipauth/server/sipauth_server_db_record_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

#include <pb/pb_timestamp.h>
#include <sipauth/sipauth_scheme.h>

#include <iterator>

PB_TYPE( sipauth___ServerDb, SIPAUTH___SERVER_DB, sipauth, sipauth___ServerDbFreeFunc, nullptr );

sipauth___ServerDb *sipauth___ServerDbCreate( trAnchor *anchor )
{
    auto db = pb::create<sipauth___ServerDb>( sipauth___ServerDbSort() );
    db->stream = tr::begin( "SIPAUTH___SERVER_DB", anchor );
    db->monitor = pb::own( pbMonitorCreate() );
    db->recordsByAge = pb::own( pbPriorityMapCreate() );
    db->recordsByNonce = pb::own( pbDictCreate() );
    return db.give();
}

static void sipauth___ServerDbFreeFunc( pbObj *obj )
{
    sipauth___ServerDb *db = sipauth___ServerDbFrom( obj );
    PB_ASSERT( db );
    pb::poison( db->stream, db->monitor, db->recordsByAge, db->recordsByNonce );
}

namespace
{

// Enters a record under the nonces of its challenge. A nonce that an older record has leads to this one from now on.
void enter( sipauth___ServerDb *db, sipauth___ServerDbRecord *rec, sipauthServerChallenge *challenge )
{
    // The states, and with them the nonces, live on in the challenge.
    pbString *nonces[16];
    int64_t length = sipauthServerChallengeDigestStatesLength( challenge );
    int64_t count = 0;
    for( int64_t index = 0; index < length; index++ )
    {
        auto state = pb::own( sipauthServerChallengeDigestStateAt( challenge, index ) );
        nonces[count++] = state->nonce;
        if( count < static_cast<int64_t>( std::size( nonces ) ) && index + 1 < length )
            continue;
        pb___DictSetValues( db->recordsByNonce.inout(), nonces, count, pb::toObj( rec ) );
        count = 0;
    }
}

// Takes a record out of both containers. A nonce that a newer record has taken over stays with that one.
void drop( sipauth___ServerDb *db, sipauth___ServerDbRecord *rec )
{
    pbPriorityMapDelValue( db->recordsByAge.inout(), pb::toObj( rec ) );
    pbDictDelValue( db->recordsByNonce.inout(), pb::toObj( rec ) );
}

} // namespace

void sipauth___ServerDbSetChallenge( sipauth___ServerDb *db, sipauthServerChallenge *challenge, trAnchor *anchor )
{
    PB_ASSERT( db );
    PB_ASSERT( challenge );
    pb::Hold hold( db->monitor );
    auto recordAnchor = pb::own( trAnchorCreate( db->stream, sipauth::anchorKindPart ) );
    auto rec = pb::own( sipauth___ServerDbRecordCreate( challenge, recordAnchor ) );
    if( anchor )
        sipauth___ServerDbRecordTraceCompleteAnchor( rec, anchor );
    pbPriorityMapSetValue( db->recordsByAge.inout(), pbTimestamp(), pb::toObj( rec.get() ) );
    enter( db, rec, challenge );
}

sipauthServerChallenge *sipauth___ServerDbChallenge( sipauth___ServerDb *db, sipauthAuthorization *authorization,
                                                     trAnchor *anchor )
{
    PB_ASSERT( db );
    PB_ASSERT( authorization );
    pb::Hold hold( db->monitor );
    if( sipauthAuthorizationScheme( authorization ) != SIPAUTH_SCHEME_DIGEST )
        return nullptr;
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( authorization ) );
    if( !nonce )
        return nullptr;
    auto rec = pb::own( sipauth___ServerDbRecordFrom( pbDictValue( db->recordsByNonce, nonce ) ) );
    if( !rec )
        return nullptr;
    auto result = pb::own( sipauth___ServerDbRecordChallenge( rec ) );
    PB_ASSERT( result );
    if( anchor )
        sipauth___ServerDbRecordTraceCompleteAnchor( rec, anchor );
    drop( db, rec );
    return result.give();
}

int64_t sipauth___ServerDbExpireChallenges( sipauth___ServerDb *db, int64_t olderThan )
{
    PB_ASSERT( db );
    PB_ASSERT( olderThan >= 0 );
    pb::Hold hold( db->monitor );
    int64_t threshold = pbTimestamp() - olderThan;
    while( pbPriorityMapLength( db->recordsByAge ) > 0 )
    {
        int64_t stored = pbPriorityMapPriorityAt( db->recordsByAge, 0 );
        if( stored >= threshold )
            return stored;
        auto rec = pb::own( sipauth___ServerDbRecordFrom( pbPriorityMapValueAt( db->recordsByAge, 0 ) ) );
        drop( db, rec );
    }
    return -1;
}
