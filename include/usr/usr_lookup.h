// Lookups: find a user of a directory by what a request tells.
#ifndef USR_USR_LOOKUP_H
#define USR_USR_LOOKUP_H

#include <pb/pb_signal.h>
#include <pb/pb_store.h>
#include <tr/tr_anchor.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A lookup.
typedef struct usrLookup usrLookup;

/// The sort of lookups; static, not counted for the caller.
PB_EXPORT pbSort *usrLookupSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrLookup *usrLookupRetain( usrLookup *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrLookupRelease( usrLookup *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrLookupObj( usrLookup *obj );
/// OBJ as a lookup; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrLookup *usrLookupFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrLookupToString( usrLookup *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrLookupCompare( usrLookup *objA, usrLookup *objB );
/// 1 when usrLookupCompare gives 0, else 0.
PB_EXPORT pbBool usrLookupEquals( usrLookup *objA, usrLookup *objB );

/// Starts a lookup. KIND says what the arguments are, a length of -1 means up to the NUL: directories know "sipauth",
/// with the arguments "userName" and "realm" (optional). FLAGS is 0. Null when the directory does not know the kind,
/// the user name is missing or too many lookups are open; the lookup's stream, linked to ANCHOR, says which. ANCHOR may
/// be null. A lookup that its owner gives up ends all the same. The directory lives at least as long as the lookup.
PB_EXPORT usrLookup *usrLookupTryCreateCstr( usrDirectory *directory, const char *kind, int64_t kindLength,
                                             pbStore *arguments, int64_t flags, trAnchor *anchor );
/// 1 once the lookup has ended, else 0.
PB_EXPORT pbBool usrLookupEnd( usrLookup *lookup );
/// Adds a signalable, signalled when it ends, at once when it has ended.
PB_EXPORT void usrLookupEndAddSignalable( usrLookup *lookup, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void usrLookupEndDelSignalable( usrLookup *lookup, pbSignalable *signalable );
/// The user that was found, each time the same; null before the end and when there is none.
PB_EXPORT usrUser *usrLookupResult( usrLookup *lookup );
/// 1 when there is a result, else 0.
PB_EXPORT pbBool usrLookupHasResult( usrLookup *lookup );

PB_END_DECLS

#endif
