// Options of the base encodings of RFC 4648.
#ifndef RFC_RFC_BASE_OPTIONS_H
#define RFC_RFC_BASE_OPTIONS_H

#include <pb/pb_module.h>
#include <pb/pb_store.h>

PB_BEGIN_DECLS

/// Base-encoding options; a value, changed by copy on write.
typedef struct rfcBaseOptions rfcBaseOptions;

/// The alphabet of a base encoding.
typedef int64_t RFC_BASE_ALPHABET;
/// The encoding's own alphabet (hexadecimal in lower case, "A-Z2-7", "A-Za-z0-9+/").
#define RFC_BASE_ALPHABET_STANDARD 0
/// Hexadecimal in upper case for base 16, "0-9A-V" (base32hex) for base 32, "A-Za-z0-9-_" (base64url) for base 64.
#define RFC_BASE_ALPHABET_ALTERNATE 1
#define RFC_BASE_ALPHABET_OK( alphabet ) ( (uint64_t) ( alphabet ) <= 1 )

/// The sort of base-encoding options; static, not counted for the caller.
PB_EXPORT pbSort *rfcBaseOptionsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT rfcBaseOptions *rfcBaseOptionsRetain( rfcBaseOptions *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void rfcBaseOptionsRelease( rfcBaseOptions *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *rfcBaseOptionsObj( rfcBaseOptions *obj );
/// OBJ as base-encoding options; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT rfcBaseOptions *rfcBaseOptionsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *rfcBaseOptionsToString( rfcBaseOptions *obj );
/// Negative, 0 or positive: orders by identity.
PB_EXPORT int64_t rfcBaseOptionsCompare( rfcBaseOptions *objA, rfcBaseOptions *objB );
/// 1 when rfcBaseOptionsCompare gives 0, else 0.
PB_EXPORT pbBool rfcBaseOptionsEquals( rfcBaseOptions *objA, rfcBaseOptions *objB );

/// The module.
PB_EXPORT const pbModule *rfcModule( void );
/// New options: standard alphabet, padding, no line breaks.
PB_EXPORT rfcBaseOptions *rfcBaseOptionsCreate( void );
/// A new copy.
PB_EXPORT rfcBaseOptions *rfcBaseOptionsCreateFrom( rfcBaseOptions *source );
/// The alphabet.
PB_EXPORT int64_t rfcBaseOptionsAlphabet( rfcBaseOptions *options );
/// Sets the alphabet.
PB_EXPORT void rfcBaseOptionsSetAlphabet( rfcBaseOptions **options, int64_t alphabet );
/// Whether "=" fills the last group up: written, and required when read. Without it none may be read.
PB_EXPORT pbBool rfcBaseOptionsPadding( rfcBaseOptions *options );
/// Sets whether padding is used.
PB_EXPORT void rfcBaseOptionsSetPadding( rfcBaseOptions **options, pbBool padding );
/// The characters of a line, after which CR LF is written (but not after the last line); 0 for no line breaks.
/// A decoder with a line length wants CR LF at these very places and takes it nowhere else.
PB_EXPORT int64_t rfcBaseOptionsLineLength( rfcBaseOptions *options );
/// Sets the line length, at least 0.
PB_EXPORT void rfcBaseOptionsSetLineLength( rfcBaseOptions **options, int64_t lineLength );
/// A new store with the keys "alphabet" ("RFC_BASE_ALPHABET_STANDARD" or "RFC_BASE_ALPHABET_ALTERNATE"), "padding"
/// (boolean) and "lineLength" (integer): those that differ from the defaults, or all when FULL is not 0.
PB_EXPORT pbStore *rfcBaseOptionsStore( rfcBaseOptions *options, pbBool full );
/// New options from a store; what is missing or malformed keeps its default.
PB_EXPORT rfcBaseOptions *rfcBaseOptionsRestore( pbStore *store );

PB_END_DECLS

#endif
