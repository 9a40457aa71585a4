// Module versions: a major and a minor number, as configurations record them.
#ifndef PB_PB_MODULE_VERSION_H
#define PB_PB_MODULE_VERSION_H

#include <pb/pb_module.h>

PB_BEGIN_DECLS

/// A module version.
typedef struct pbModuleVersion pbModuleVersion;

/// The sort of module versions; static, not counted for the caller.
PB_EXPORT pbSort *pbModuleVersionSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbModuleVersion *pbModuleVersionRetain( pbModuleVersion *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbModuleVersionRelease( pbModuleVersion *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbModuleVersionObj( pbModuleVersion *obj );
/// OBJ as a module version; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbModuleVersion *pbModuleVersionFrom( pbObj *obj );
/// A new string: both numbers with a dot between.
PB_EXPORT pbString *pbModuleVersionToString( pbModuleVersion *obj );
/// Negative, 0 or positive: orders by major, then minor number.
PB_EXPORT int64_t pbModuleVersionCompare( pbModuleVersion *objA, pbModuleVersion *objB );
/// 1 when pbModuleVersionCompare gives 0, else 0.
PB_EXPORT pbBool pbModuleVersionEquals( pbModuleVersion *objA, pbModuleVersion *objB );

/// A version of two numbers, each at least 0.
PB_EXPORT pbModuleVersion *pbModuleVersionCreate( int64_t major, int64_t minor );
/// The version that a text like "3.1" spells (a major number alone has minor 0); null when it spells none. A length
/// of -1 means up to the NUL.
PB_EXPORT pbModuleVersion *pbModuleVersionTryCreateFromCstr( const char *text, int64_t length );
/// The same from a string.
PB_EXPORT pbModuleVersion *pbModuleVersionTryCreateFromString( pbString *text );
/// The major number.
PB_EXPORT int64_t pbModuleVersionMajor( pbModuleVersion *version );
/// The minor number.
PB_EXPORT int64_t pbModuleVersionMinor( pbModuleVersion *version );

PB_END_DECLS

#endif
