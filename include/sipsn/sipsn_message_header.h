// A header of a SIP message: a name and its lines, in order. Each line is the value after the colon, unfolded, without
// the white space around it.
#ifndef SIPSN_SIPSN_MESSAGE_HEADER_H
#define SIPSN_SIPSN_MESSAGE_HEADER_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A header; a value, changed by copy on write.
typedef struct sipsnMessageHeader sipsnMessageHeader;

/// The sort of message headers; static, not counted for the caller.
PB_EXPORT pbSort *sipsnMessageHeaderSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderRetain( sipsnMessageHeader *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipsnMessageHeaderRelease( sipsnMessageHeader *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipsnMessageHeaderObj( sipsnMessageHeader *obj );
/// OBJ as a message header; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipsnMessageHeaderToString( sipsnMessageHeader *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipsnMessageHeaderCompare( sipsnMessageHeader *objA, sipsnMessageHeader *objB );
/// 1 when sipsnMessageHeaderCompare gives 0, else 0.
PB_EXPORT pbBool sipsnMessageHeaderEquals( sipsnMessageHeader *objA, sipsnMessageHeader *objB );

/// A header without lines. The name must be a token (RFC 3261 section 25.1); a length of -1 means up to the NUL.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderCreateCstr( const char *name, int64_t length );
/// The same with the name as a string.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderCreate( pbString *name );
/// A new copy.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderCreateFrom( sipsnMessageHeader *source );
/// The name as it was given, or as it stands in the message.
PB_EXPORT pbString *sipsnMessageHeaderName( sipsnMessageHeader *header );
/// The number of lines.
PB_EXPORT int64_t sipsnMessageHeaderLinesLength( sipsnMessageHeader *header );
/// The line at INDEX, one more reference of it.
PB_EXPORT pbString *sipsnMessageHeaderLineAt( sipsnMessageHeader *header, int64_t index );
/// The last line, one more reference of it; null when there is none.
PB_EXPORT pbString *sipsnMessageHeaderLastLine( sipsnMessageHeader *header );
/// Adds a line at the end. CR, LF and NUL, which would break the message apart or smuggle a header into it, cannot
/// stand in a line, not even in a quoted pair (RFC 3261 section 25.1): a space stands for each.
PB_EXPORT void sipsnMessageHeaderAppendLine( sipsnMessageHeader **header, pbString *line );
/// Removes all lines.
PB_EXPORT void sipsnMessageHeaderClearLines( sipsnMessageHeader **header );

PB_END_DECLS

#endif
