// Records of the database of challenges.
#include "sipauth/server/sipauth_server_db_record_private.h"

#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

struct sipauth___ServerDbRecord
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<sipauthServerChallenge> challenge;
};

PB_TYPE( sipauth___ServerDbRecord, SIPAUTH___SERVER_DB_RECORD, sipauth, sipauth___ServerDbRecordFreeFunc, nullptr );

sipauth___ServerDbRecord *sipauth___ServerDbRecordCreate( sipauthServerChallenge *challenge, trAnchor *anchor )
{
    PB_ASSERT( challenge );
    auto rec = pb::create<sipauth___ServerDbRecord>( sipauth___ServerDbRecordSort() );
    rec->stream = tr::begin( "SIPAUTH___SERVER_DB_RECORD", anchor );
    rec->challenge = pb::share( challenge );
    return rec.give();
}

static void sipauth___ServerDbRecordFreeFunc( pbObj *obj )
{
    sipauth___ServerDbRecord *rec = sipauth___ServerDbRecordFrom( obj );
    PB_ASSERT( rec );
    pb::poison( rec->stream, rec->challenge );
}

sipauthServerChallenge *sipauth___ServerDbRecordChallenge( sipauth___ServerDbRecord *rec )
{
    PB_ASSERT( rec );
    return rec->challenge.shareOut();
}

void sipauth___ServerDbRecordTraceCompleteAnchor( sipauth___ServerDbRecord *rec, trAnchor *anchor )
{
    PB_ASSERT( rec );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, rec->stream );
}
