// Send filters: run on a message at the moment it leaves, and may change it.
#ifndef SIPTP_SIPTP_SEND_FILTER_H
#define SIPTP_SIPTP_SEND_FILTER_H

#include <pb/pb_vector.h>
#include <sipsn/sipsn_message.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A send filter; immutable.
typedef struct siptpSendFilter siptpSendFilter;

/// The sort of send filters; static, not counted for the caller.
PB_EXPORT pbSort *siptpSendFilterSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT siptpSendFilter *siptpSendFilterRetain( siptpSendFilter *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void siptpSendFilterRelease( siptpSendFilter *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *siptpSendFilterObj( siptpSendFilter *obj );
/// OBJ as a send filter; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT siptpSendFilter *siptpSendFilterFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *siptpSendFilterToString( siptpSendFilter *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t siptpSendFilterCompare( siptpSendFilter *objA, siptpSendFilter *objB );
/// 1 when siptpSendFilterCompare gives 0, else 0.
PB_EXPORT pbBool siptpSendFilterEquals( siptpSendFilter *objA, siptpSendFilter *objB );

/// The module.
PB_EXPORT const pbModule *siptpModule( void );
/// A new send filter. TRYEXECUTE( CLOSURE, MESSAGE, ANCHOR ) is called with the message that leaves, which it may
/// replace through the reference, and an anchor or null; it returns 1 when it changed the message, else 0. It may be
/// called from any thread, several times, also at once. The filter keeps a reference of CLOSURE,
/// which may be null.
PB_EXPORT siptpSendFilter *siptpSendFilterCreate( pbBool ( *tryExecute )( pbObj *closure, sipsnMessage **message,
                                                                          trAnchor *anchor ),
                                                  pbObj *closure );
/// Runs the filter on a message: 1 when it changed the message, else 0. ANCHOR may be null.
PB_EXPORT pbBool siptpSendFilterTryExecute( siptpSendFilter *filter, sipsnMessage **message, trAnchor *anchor );
/// Runs the filters of a vector in their order, each on what the one before left. Returns how many changed the message.
/// An element that is no send filter aborts. ANCHOR may be null.
PB_EXPORT int64_t siptpSendFiltersExecute( pbVector *filters, sipsnMessage **message, trAnchor *anchor );

PB_END_DECLS

#endif
