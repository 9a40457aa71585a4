// The recorder that keeps its lines in memory.
#include "tr/tr_recorder_private.h"

#include "tr/tr_line_private.h"

static void tr___RecorderKeepInMemory( trRecorder *recorder, trLine *line )
{
    std::lock_guard lock( recorder->mutex );
    pbVectorAppendObj( recorder->lines.inout(), trLineObj( line ) );
}

trRecorder *trRecorderCreateMemory()
{
    return tr___RecorderCreate( tr___RecorderKeepInMemory ).give();
}

pbVector *trRecorderLinesVector( trRecorder *recorder )
{
    PB_ASSERT( recorder );
    std::lock_guard lock( recorder->mutex );
    return recorder->lines.shareOut();
}

int64_t trRecorderLinesLength( trRecorder *recorder )
{
    return pbVectorLength( pb::own( trRecorderLinesVector( recorder ) ) );
}

trLine *trRecorderLineAt( trRecorder *recorder, int64_t index )
{
    return trLineFrom( pbVectorObjAt( pb::own( trRecorderLinesVector( recorder ) ), index ) );
}

void trRecorderClearLines( trRecorder *recorder )
{
    PB_ASSERT( recorder );
    std::lock_guard lock( recorder->mutex );
    pbVectorClear( recorder->lines.inout() );
}

int64_t trRecorderCountTextCstr( trRecorder *recorder, const char *text, int64_t length )
{
    PB_ASSERT( text );
    auto lines = pb::own( trRecorderLinesVector( recorder ) );
    int64_t count = 0;
    for( int64_t index = 0; index < pbVectorLength( lines ); index++ )
    {
        auto line = pb::own( trLineFrom( pbVectorObjAt( lines, index ) ) );
        count += trLineTextEqualsCstr( line, text, length );
    }
    return count;
}

pbVector *trRecorderTextsCstr( trRecorder *recorder, const char *streamName, int64_t length )
{
    PB_ASSERT( streamName );
    auto lines = pb::own( trRecorderLinesVector( recorder ) );
    auto texts = pb::own( pbVectorCreate() );
    for( int64_t index = 0; index < pbVectorLength( lines ); index++ )
    {
        auto line = pb::own( trLineFrom( pbVectorObjAt( lines, index ) ) );
        bool told = line->kind == TR_LINE_KIND_TEXT || line->kind == TR_LINE_KIND_MESSAGE;
        if( told && pbStringEqualsCstr( line->streamName, streamName, length ) )
            pbVectorAppendString( texts.inout(), line->text );
    }
    return texts.give();
}
