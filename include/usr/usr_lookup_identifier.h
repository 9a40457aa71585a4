// Lookups of a user by a reference from a configuration.
#ifndef USR_USR_LOOKUP_IDENTIFIER_H
#define USR_USR_LOOKUP_IDENTIFIER_H

#include <pb/pb_signal.h>
#include <tr/tr_anchor.h>
#include <usr/usr_reference.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A lookup by reference.
typedef struct usrLookupIdentifier usrLookupIdentifier;

/// The sort of lookups by reference; static, not counted for the caller.
PB_EXPORT pbSort *usrLookupIdentifierSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrLookupIdentifier *usrLookupIdentifierRetain( usrLookupIdentifier *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrLookupIdentifierRelease( usrLookupIdentifier *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrLookupIdentifierObj( usrLookupIdentifier *obj );
/// OBJ as a lookup by reference; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrLookupIdentifier *usrLookupIdentifierFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrLookupIdentifierToString( usrLookupIdentifier *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrLookupIdentifierCompare( usrLookupIdentifier *objA, usrLookupIdentifier *objB );
/// 1 when usrLookupIdentifierCompare gives 0, else 0.
PB_EXPORT pbBool usrLookupIdentifierEquals( usrLookupIdentifier *objA, usrLookupIdentifier *objB );

/// A lookup of the user that a reference names. It has ended when this returns: the reference becomes a handle of the
/// user, without asking the directory. Null when the configuration has no directory of that name, or the reference no
/// user id. ANCHOR may be null.
PB_EXPORT usrLookupIdentifier *usrLookupIdentifierTryCreateWithReference( usrReference *reference, trAnchor *anchor );
/// 1 once the lookup has ended, else 0.
PB_EXPORT pbBool usrLookupIdentifierEnd( usrLookupIdentifier *lookup );
/// Adds a signalable, signalled when it ends, at once when it has ended.
PB_EXPORT void usrLookupIdentifierEndAddSignalable( usrLookupIdentifier *lookup, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void usrLookupIdentifierEndDelSignalable( usrLookupIdentifier *lookup, pbSignalable *signalable );
/// The user; null before the end and when there is none.
PB_EXPORT usrUser *usrLookupIdentifierResult( usrLookupIdentifier *lookup );
/// 1 when there is a result, else 0.
PB_EXPORT pbBool usrLookupIdentifierHasResult( usrLookupIdentifier *lookup );

PB_END_DECLS

#endif
