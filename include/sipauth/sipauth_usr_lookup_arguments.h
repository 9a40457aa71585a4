// What a user is looked up by: the user name and, when known, the realm. A value, changed by copy on write.
#ifndef SIPAUTH_SIPAUTH_USR_LOOKUP_ARGUMENTS_H
#define SIPAUTH_SIPAUTH_USR_LOOKUP_ARGUMENTS_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// Arguments of a lookup. The type is named by its tag alone, since a function that returns it has the same name.
struct sipauthUsrLookupArguments;

/// The sort of lookup arguments; static, not counted for the caller.
PB_EXPORT pbSort *sipauthUsrLookupArgumentsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT struct sipauthUsrLookupArguments *sipauthUsrLookupArgumentsRetain( struct sipauthUsrLookupArguments *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthUsrLookupArgumentsRelease( struct sipauthUsrLookupArguments *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthUsrLookupArgumentsObj( struct sipauthUsrLookupArguments *obj );
/// OBJ as arguments; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT struct sipauthUsrLookupArguments *sipauthUsrLookupArgumentsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthUsrLookupArgumentsToString( struct sipauthUsrLookupArguments *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthUsrLookupArgumentsCompare( struct sipauthUsrLookupArguments *objA,
                                                    struct sipauthUsrLookupArguments *objB );
/// 1 when sipauthUsrLookupArgumentsCompare gives 0, else 0.
PB_EXPORT pbBool sipauthUsrLookupArgumentsEquals( struct sipauthUsrLookupArguments *objA,
                                                  struct sipauthUsrLookupArguments *objB );

/// New arguments without a realm.
PB_EXPORT struct sipauthUsrLookupArguments *sipauthUsrLookupArgumentsCreate( pbString *userName );
/// A new copy.
PB_EXPORT struct sipauthUsrLookupArguments *
sipauthUsrLookupArgumentsCreateFrom( struct sipauthUsrLookupArguments *source );
/// The user name.
PB_EXPORT pbString *sipauthUsrLookupArgumentsUserName( struct sipauthUsrLookupArguments *args );
/// Sets the user name.
PB_EXPORT void sipauthUsrLookupArgumentsSetUserName( struct sipauthUsrLookupArguments **args, pbString *userName );
/// The realm, or null.
PB_EXPORT pbString *sipauthUsrLookupArgumentsRealm( struct sipauthUsrLookupArguments *args );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthUsrLookupArgumentsHasRealm( struct sipauthUsrLookupArguments *args );
/// Sets the realm.
PB_EXPORT void sipauthUsrLookupArgumentsSetRealm( struct sipauthUsrLookupArguments **args, pbString *realm );
/// Takes the realm away.
PB_EXPORT void sipauthUsrLookupArgumentsDelRealm( struct sipauthUsrLookupArguments **args );
/// A new store with "userName" and, when there is one, "realm".
PB_EXPORT pbStore *sipauthUsrLookupArgumentsStore( struct sipauthUsrLookupArguments *args );
/// The arguments that a store holds; null without "userName".
PB_EXPORT struct sipauthUsrLookupArguments *sipauthUsrLookupArgumentsTryRestore( pbStore *store );

PB_END_DECLS

#endif
