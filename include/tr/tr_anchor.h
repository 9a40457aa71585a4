// Anchors: places on a stream to which another stream is linked when it completes the anchor.
#ifndef TR_TR_ANCHOR_H
#define TR_TR_ANCHOR_H

#include <tr/tr_stream.h>

PB_BEGIN_DECLS

/// The sort of trace anchors; static, not counted for the caller.
PB_EXPORT pbSort *trAnchorSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT trAnchor *trAnchorRetain( trAnchor *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void trAnchorRelease( trAnchor *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *trAnchorObj( trAnchor *obj );
/// OBJ as a trace anchor; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT trAnchor *trAnchorFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *trAnchorToString( trAnchor *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t trAnchorCompare( trAnchor *objA, trAnchor *objB );
/// 1 when trAnchorCompare gives 0, else 0.
PB_EXPORT pbBool trAnchorEquals( trAnchor *objA, trAnchor *objB );

/// A new anchor on a stream. The kind is the caller's number for the relation.
PB_EXPORT trAnchor *trAnchorCreate( trStream *stream, int64_t kind );
/// The same with a word of explanation; a length of -1 means up to the NUL.
PB_EXPORT trAnchor *trAnchorCreateWithAnnotationCstr( trStream *stream, int64_t kind, const char *annotation,
                                                      int64_t length );
/// Links a stream to the anchor. Each completion writes one line; an anchor may be completed several times.
PB_EXPORT void trAnchorComplete( trAnchor *anchor, trStream *stream );

PB_END_DECLS

#endif
