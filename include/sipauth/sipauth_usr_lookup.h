// Looks a user up in a directory for a server that checks credentials.
#ifndef SIPAUTH_SIPAUTH_USR_LOOKUP_H
#define SIPAUTH_SIPAUTH_USR_LOOKUP_H

#include <pb/pb_signal.h>
#include <sipauth/sipauth_usr_lookup_arguments.h>
#include <tr/tr_anchor.h>
#include <usr/usr_directory.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A lookup.
typedef struct sipauthUsrLookup sipauthUsrLookup;

/// The sort of lookups; static, not counted for the caller.
PB_EXPORT pbSort *sipauthUsrLookupSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthUsrLookup *sipauthUsrLookupRetain( sipauthUsrLookup *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthUsrLookupRelease( sipauthUsrLookup *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthUsrLookupObj( sipauthUsrLookup *obj );
/// OBJ as a lookup; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthUsrLookup *sipauthUsrLookupFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthUsrLookupToString( sipauthUsrLookup *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthUsrLookupCompare( sipauthUsrLookup *objA, sipauthUsrLookup *objB );
/// 1 when sipauthUsrLookupCompare gives 0, else 0.
PB_EXPORT pbBool sipauthUsrLookupEquals( sipauthUsrLookup *objA, sipauthUsrLookup *objB );

/// Starts a lookup; null when the directory does not take it. ANCHOR may be null.
PB_EXPORT sipauthUsrLookup *sipauthUsrLookupTryCreate( usrDirectory *directory, struct sipauthUsrLookupArguments *args,
                                                       trAnchor *anchor );
/// The directory.
PB_EXPORT usrDirectory *sipauthUsrLookupDirectory( sipauthUsrLookup *lookup );
// A function with the name of a type is what is meant here, so a C++ user's compiler need not tell.
#ifdef __cplusplus
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
#endif
/// The arguments.
PB_EXPORT struct sipauthUsrLookupArguments *sipauthUsrLookupArguments( sipauthUsrLookup *lookup );
#ifdef __cplusplus
#pragma GCC diagnostic pop
#endif
/// Completes an anchor with the lookup's stream.
PB_EXPORT void sipauthUsrLookupTraceCompleteAnchor( sipauthUsrLookup *lookup, trAnchor *anchor );
/// 1 once the lookup has ended, else 0.
PB_EXPORT pbBool sipauthUsrLookupEnd( sipauthUsrLookup *lookup );
/// Adds a signalable, signalled when it ends, at once when it has ended.
PB_EXPORT void sipauthUsrLookupEndAddSignalable( sipauthUsrLookup *lookup, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthUsrLookupEndDelSignalable( sipauthUsrLookup *lookup, pbSignalable *signalable );
/// The user that was found; null before the end and when there is none.
PB_EXPORT usrUser *sipauthUsrLookupResult( sipauthUsrLookup *lookup );
/// 1 when there is a result, else 0.
PB_EXPORT pbBool sipauthUsrLookupHasResult( sipauthUsrLookup *lookup );

PB_END_DECLS

#endif
