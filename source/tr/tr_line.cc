// Lines.
#include "tr/tr_line_private.h"

#include "pb/pb_type.h"
#include "tr/tr_private.h"

#include <pb/pb_timestamp.h>

#include <chrono>

PB_TYPE( trLine, TR_LINE, tr, tr___LineFreeFunc, nullptr );

static void tr___LineFreeFunc( pbObj *obj )
{
    trLine *line = trLineFrom( obj );
    PB_ASSERT( line );
    pb::poison( line->streamName, line->text, line->payload, line->payloadType, line->property );
}

pb::Ref<trLine> tr___LineCreate( int64_t kind )
{
    using namespace std::chrono;
    PB_ASSERT( TR_LINE_KIND_OK( kind ) );
    auto line = pb::create<trLine>( trLineSort() );
    line->kind = kind;
    line->timestamp = pbTimestamp();
    line->time = duration_cast<milliseconds>( system_clock::now().time_since_epoch() ).count();
    return line;
}

int64_t trLineKind( trLine *line )
{
    PB_ASSERT( line );
    return line->kind;
}

static constexpr const char *kindNames[] = { "begin",         "text",    "message", "property",
                                             "configuration", "notable", "anchor",  "end" };
static_assert( std::size( kindNames ) == TR_LINE_KIND_END + 1 );

const char *trLineKindName( int64_t kind )
{
    PB_ASSERT( TR_LINE_KIND_OK( kind ) );
    return kindNames[kind];
}

int64_t trLineTimestamp( trLine *line )
{
    PB_ASSERT( line );
    return line->timestamp;
}

int64_t trLineTime( trLine *line )
{
    PB_ASSERT( line );
    return line->time;
}

int64_t trLineStreamNumber( trLine *line )
{
    PB_ASSERT( line );
    return line->streamNumber;
}

int64_t trLineParentNumber( trLine *line )
{
    PB_ASSERT( line );
    return line->parentNumber;
}

pbString *trLineStreamName( trLine *line )
{
    PB_ASSERT( line );
    return line->streamName.shareOut();
}

pbString *trLineText( trLine *line )
{
    PB_ASSERT( line );
    return line->text.shareOut();
}

pbBool trLineTextEqualsCstr( trLine *line, const char *text, int64_t length )
{
    PB_ASSERT( line );
    PB_ASSERT( text );
    return line->text && pbStringEqualsCstr( line->text, text, length );
}

pbBuffer *trLinePayload( trLine *line )
{
    PB_ASSERT( line );
    return line->payload.shareOut();
}

pbString *trLinePayloadType( trLine *line )
{
    PB_ASSERT( line );
    return line->payloadType.shareOut();
}

pbString *trLineProperty( trLine *line )
{
    PB_ASSERT( line );
    return line->property.shareOut();
}

int64_t trLineChildNumber( trLine *line )
{
    PB_ASSERT( line );
    return line->childNumber;
}

int64_t trLineAnchorKind( trLine *line )
{
    PB_ASSERT( line );
    return line->anchorKind;
}

pbBool trLineNotable( trLine *line )
{
    PB_ASSERT( line );
    return line->notable;
}
