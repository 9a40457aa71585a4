// User directories.
#ifndef USR_USR_DIRECTORY_H
#define USR_USR_DIRECTORY_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A user directory.
typedef struct usrDirectory usrDirectory;

/// The sort of user directories; static, not counted for the caller.
PB_EXPORT pbSort *usrDirectorySort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrDirectory *usrDirectoryRetain( usrDirectory *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrDirectoryRelease( usrDirectory *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrDirectoryObj( usrDirectory *obj );
/// OBJ as a user directory; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrDirectory *usrDirectoryFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrDirectoryToString( usrDirectory *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrDirectoryCompare( usrDirectory *objA, usrDirectory *objB );
/// 1 when usrDirectoryCompare gives 0, else 0.
PB_EXPORT pbBool usrDirectoryEquals( usrDirectory *objA, usrDirectory *objB );

/// A directory under the name by which configurations know it.
PB_EXPORT usrDirectory *usrDirectoryCreate( pbString *name );
/// The name.
PB_EXPORT pbString *usrDirectoryName( usrDirectory *directory );

PB_END_DECLS

#endif
