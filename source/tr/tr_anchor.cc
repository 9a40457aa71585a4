// Anchors.
#include "pb/pb_type.h"
#include "tr/tr_line_private.h"
#include "tr/tr_private.h"
#include "tr/tr_stream_private.h"

#include <tr/tr_anchor.h>

struct trAnchor
{
    pb::Object object;
    pb::Field<trStream> stream; ///< null: silent, and nothing below is set
    int64_t kind;
    pb::Field<pbString> annotation;
};

PB_TYPE( trAnchor, TR_ANCHOR, tr, tr___AnchorFreeFunc, nullptr );

// The anchor on every stream for which a link would mean nothing.
static constinit trAnchor silentAnchor = { { &tr___sort_TR_ANCHOR, pb::staticReferences }, {}, 0, {} };

static void tr___AnchorFreeFunc( pbObj *obj )
{
    trAnchor *anchor = trAnchorFrom( obj );
    PB_ASSERT( anchor );
    pb::poison( anchor->stream, anchor->annotation );
}

trAnchor *trAnchorCreate( trStream *stream, int64_t kind )
{
    PB_ASSERT( stream );
    if( !stream->recorder && !stream->origin.load( std::memory_order_relaxed ) )
        return &silentAnchor;
    auto anchor = pb::create<trAnchor>( trAnchorSort() );
    anchor->stream = pb::share( stream );
    anchor->kind = kind;
    return anchor.give();
}

trAnchor *trAnchorCreateWithAnnotationCstr( trStream *stream, int64_t kind, const char *annotation, int64_t length )
{
    PB_ASSERT( annotation );
    trAnchor *anchor = trAnchorCreate( stream, kind );
    if( anchor->stream && anchor->stream->recorder )
        anchor->annotation = pb::own( pbStringCreateFromCstr( annotation, length ) );
    return anchor;
}

void trAnchorComplete( trAnchor *anchor, trStream *stream )
{
    PB_ASSERT( anchor );
    PB_ASSERT( stream );
    // A silent stream has no number under which it could be found.
    if( !anchor->stream || !stream->number )
        return;
    int64_t noOrigin = 0;
    if( int64_t origin = anchor->stream->origin.load( std::memory_order_relaxed ) )
        stream->origin.compare_exchange_strong( noOrigin, origin, std::memory_order_relaxed );
    if( !anchor->stream->recorder || !stream->recorder )
        return;
    // The first anchor makes the parent; a stream is no parent of its own.
    int64_t none = 0;
    if( anchor->stream->number != stream->number )
        stream->parentNumber.compare_exchange_strong( none, anchor->stream->number, std::memory_order_relaxed );
    auto line = tr___StreamLine( anchor->stream, TR_LINE_KIND_ANCHOR );
    line->text = anchor->annotation;
    line->childNumber = stream->number;
    line->anchorKind = anchor->kind;
    tr___StreamWrite( anchor->stream, line );
}
