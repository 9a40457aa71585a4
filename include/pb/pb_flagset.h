// Flag sets at run time: names of the bits of a bit set, both ways. A flag set is filled once at start-up and only
// read after that.
#ifndef PB_PB_FLAGSET_H
#define PB_PB_FLAGSET_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A flag set object.
typedef struct pbFlagset pbFlagset;

/// The sort of flag sets; static, not counted for the caller.
PB_EXPORT pbSort *pbFlagsetSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbFlagset *pbFlagsetRetain( pbFlagset *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbFlagsetRelease( pbFlagset *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbFlagsetObj( pbFlagset *obj );
/// OBJ as a flag set; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbFlagset *pbFlagsetFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbFlagsetToString( pbFlagset *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbFlagsetCompare( pbFlagset *objA, pbFlagset *objB );
/// 1 when pbFlagsetCompare gives 0, else 0.
PB_EXPORT pbBool pbFlagsetEquals( pbFlagset *objA, pbFlagset *objB );

/// A flag set without names.
PB_EXPORT pbFlagset *pbFlagsetCreate( void );
/// Gives a bit (or group of bits, at least one) its name; -1 as length means up to the NUL. The name must be new.
PB_EXPORT void pbFlagsetSetFlagCstr( pbFlagset *flagset, const char *name, int64_t length, uint64_t flag );
/// 1 when a flag of that name is registered, else 0.
PB_EXPORT pbBool pbFlagsetHasFlagCstr( pbFlagset *flagset, const char *name, int64_t length );
/// The bits that a text names: names separated by '|', ',', or white space, in any mix; unknown names count as
/// nothing.
PB_EXPORT uint64_t pbFlagsetParse( pbFlagset *flagset, pbString *text );
/// A new string with the names of the set flags in order of registration, joined by "|" (a group counts as set when all
/// its bits are); bits without name are left out; empty when none is set.
PB_EXPORT pbString *pbFlagsetGenerate( pbFlagset *flagset, uint64_t flags );

PB_END_DECLS

#endif
