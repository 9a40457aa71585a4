// Strings: immutable sequences of Unicode code points, changed only by copy-on-write functions that take the address
// of the caller's reference. Text enters and leaves as UTF-8; what is not valid UTF-8 becomes U+FFFD.
//
// Where a function takes C text and a length, a length of -1 means that the text ends at its NUL.
#ifndef PB_PB_STRING_H
#define PB_PB_STRING_H

#include <pb/pb_obj.h>
#include <stdarg.h>

PB_BEGIN_DECLS

/// The sort of strings; static, not counted for the caller.
PB_EXPORT pbSort *pbStringSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbString *pbStringRetain( pbString *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbStringRelease( pbString *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbStringObj( pbString *obj );
/// OBJ as a string; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbString *pbStringFrom( pbObj *obj );
/// A new string: an equal string.
PB_EXPORT pbString *pbStringToString( pbString *obj );
/// Negative, 0 or positive: orders by code point, a prefix first.
PB_EXPORT int64_t pbStringCompare( pbString *objA, pbString *objB );
/// 1 when pbStringCompare gives 0, else 0.
PB_EXPORT pbBool pbStringEquals( pbString *objA, pbString *objB );

/// The empty string.
PB_EXPORT pbString *pbStringCreate( void );
/// A new string of LENGTH bytes of UTF-8 text.
PB_EXPORT pbString *pbStringCreateFromCstr( const char *text, int64_t length );
/// A new string of LENGTH bytes of UTF-8; NUL bytes are text like any other. BYTES may be null when LENGTH is 0.
PB_EXPORT pbString *pbStringCreateFromUtf8( const uint8_t *bytes, int64_t length );
/// A new string of LENGTH code points, each at most 0x10FFFF. CHS may be null when LENGTH is 0.
PB_EXPORT pbString *pbStringCreateFromChars( const pbChar *chs, int64_t length );
/// A new string of COUNT code points of SOURCE from OFFSET on; both must lie within it.
PB_EXPORT pbString *pbStringCreateFromSlice( pbString *source, int64_t offset, int64_t count );

/// A new string from a format and its arguments. Directives:
///   %s    an object (pbObj * of any sort, strings included) as text; the caller keeps its reference
///   %~s   the same, and the caller's reference is taken over
///   %i    an int64_t in decimal
///   %WWi, %0WWi, %!RRi, %0WW!RRi   an int64_t padded to width WW with blanks or zeros, in radix RR (2 to 36, digits
///         in lower case); a negative number has its sign first and the width includes it
///   %lc   plain C text (const char *), UTF-8, up to its NUL
///   %%    a percent sign
/// Any other directive aborts. So "%08!16i" gives a nonce count as RFC 7616 writes it.
PB_EXPORT pbString *pbStringCreateFromFormatCstr( const char *format, int64_t formatLength, ... );
/// The same with the arguments in a list.
PB_EXPORT pbString *pbStringCreateFromFormatCstrArgList( const char *format, int64_t formatLength, va_list args );

/// The number of code points.
PB_EXPORT int64_t pbStringLength( pbString *string );
/// The code points, valid as long as the string lives unchanged. The array of a string of ASCII characters is made
/// at the first call and kept; any thread.
PB_EXPORT const pbChar *pbStringBacking( pbString *string );
/// The characters of a string that holds nothing but ASCII, one byte each, without NUL at the end; null for any other
/// string. Valid as long as the string lives unchanged.
PB_EXPORT const char *pbStringAscii( pbString *string );
/// The code point at INDEX, which must lie within the string.
PB_EXPORT pbChar pbStringCharAt( pbString *string, int64_t index );
/// The text as UTF-8: a new block of memory that the caller frees with pbMemFree; its length in bytes goes to
/// *LENGTH. A surrogate code point becomes U+FFFD. The block has one more byte, a NUL.
PB_EXPORT uint8_t *pbStringConvertToUtf8( pbString *string, int64_t *length );
/// Frees a block that a function of this module handed out; null is ignored.
PB_EXPORT void pbMemFree( void *block );

/// 1 when the string equals C text, else 0.
PB_EXPORT pbBool pbStringEqualsCstr( pbString *string, const char *text, int64_t length );
/// 1 when the strings are equal after folding 'A' to 'Z' to lower case, else 0.
PB_EXPORT pbBool pbStringEqualsCaseFold( pbString *stringA, pbString *stringB );
/// 1 when the string equals C text after folding 'A' to 'Z' to lower case on both sides, else 0.
PB_EXPORT pbBool pbStringEqualsCaseFoldCstr( pbString *string, const char *text, int64_t length );
/// As pbStringEquals, in a time that does not depend on where strings of equal length differ: for secrets.
PB_EXPORT pbBool pbStringEqualsConstantTime( pbString *stringA, pbString *stringB );

/// Reads an unsigned number at the start of the string: digits of RADIX (2 to 36), letters in both cases, leading
/// zeros allowed, no sign, prefix or blank. Gives 1, the value and the number of code points read; 0 when there is
/// no digit or the value does not fit 63 bits.
PB_EXPORT pbBool pbStringScanInt( pbString *string, int64_t radix, int64_t *value, int64_t *scanned );

/// Appends another string (which may be the same).
PB_EXPORT void pbStringAppend( pbString **string, pbString *suffix );
/// Appends one code point.
PB_EXPORT void pbStringAppendChar( pbString **string, pbChar ch );
/// Appends UTF-8 text.
PB_EXPORT void pbStringAppendCstr( pbString **string, const char *text, int64_t length );
/// Appends formatted text, directives as for pbStringCreateFromFormatCstr.
PB_EXPORT void pbStringAppendFormatCstr( pbString **string, const char *format, int64_t formatLength, ... );
/// Appends an item, with the delimiter before it when the string was not empty.
PB_EXPORT void pbStringDelimitedAppendCstrDelimiter( pbString **string, pbString *item, const char *delimiter,
                                                     int64_t delimiterLength );
/// The same with a delimiter of one code point.
PB_EXPORT void pbStringDelimitedAppendCharDelimiter( pbString **string, pbString *item, pbChar delimiter );

PB_END_DECLS

#endif
