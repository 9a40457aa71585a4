// Limits on what a decoder of SIP messages takes from outside.
#ifndef SIPSN_SIPSN_LIMITS_H
#define SIPSN_SIPSN_LIMITS_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// Limits; a value, changed by copy on write.
typedef struct sipsnLimits sipsnLimits;

/// The sort of sets of limits; static, not counted for the caller.
PB_EXPORT pbSort *sipsnLimitsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipsnLimits *sipsnLimitsRetain( sipsnLimits *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipsnLimitsRelease( sipsnLimits *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipsnLimitsObj( sipsnLimits *obj );
/// OBJ as a set of limits; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipsnLimits *sipsnLimitsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipsnLimitsToString( sipsnLimits *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipsnLimitsCompare( sipsnLimits *objA, sipsnLimits *objB );
/// 1 when sipsnLimitsCompare gives 0, else 0.
PB_EXPORT pbBool sipsnLimitsEquals( sipsnLimits *objA, sipsnLimits *objB );

/// Limits at their defaults: 65,536 bytes for a message, 256 header lines, 8,192 bytes for one header line (together
/// with its continuation lines), 65,536 bytes for a body.
PB_EXPORT sipsnLimits *sipsnLimitsCreate( void );
/// A new copy.
PB_EXPORT sipsnLimits *sipsnLimitsCreateFrom( sipsnLimits *source );
/// The most bytes of a message, and of what stands around it in the same buffer. Whatever the limit, a message has at
/// most 2,147,483,647 bytes.
PB_EXPORT int64_t sipsnLimitsMessageBytes( sipsnLimits *limits );
/// Sets the most bytes of a message, at least 1.
PB_EXPORT void sipsnLimitsSetMessageBytes( sipsnLimits **limits, int64_t bytes );
/// The most header lines of a message; a line with its continuation lines counts once.
PB_EXPORT int64_t sipsnLimitsHeaderLines( sipsnLimits *limits );
/// Sets the most header lines of a message, at least 1.
PB_EXPORT void sipsnLimitsSetHeaderLines( sipsnLimits **limits, int64_t lines );
/// The most bytes of one header line with its continuation lines, but for the last line end.
PB_EXPORT int64_t sipsnLimitsHeaderLineBytes( sipsnLimits *limits );
/// Sets the most bytes of one header line, at least 1.
PB_EXPORT void sipsnLimitsSetHeaderLineBytes( sipsnLimits **limits, int64_t bytes );
/// The most bytes of a body.
PB_EXPORT int64_t sipsnLimitsBodyBytes( sipsnLimits *limits );
/// Sets the most bytes of a body, at least 0.
PB_EXPORT void sipsnLimitsSetBodyBytes( sipsnLimits **limits, int64_t bytes );

PB_END_DECLS

#endif
