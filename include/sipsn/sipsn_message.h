// SIP messages (RFC 3261 section 7): requests and responses as values. A message keeps the bytes that it was decoded
// from and shares them on copy; a change replaces just the lines that it is about, and all others keep their bytes and
// their order. An unchanged message encodes to the very buffer that it came from.
//
// Header names are found in any letter case and in their compact form (RFC 3261 section 7.3.3).
#ifndef SIPSN_SIPSN_MESSAGE_H
#define SIPSN_SIPSN_MESSAGE_H

#include <pb/pb_buffer.h>
#include <pb/pb_module.h>
#include <sipsn/sipsn_limits.h>
#include <sipsn/sipsn_message_header.h>

PB_BEGIN_DECLS

/// A message; a value, changed by copy on write.
typedef struct sipsnMessage sipsnMessage;

/// The sort of SIP messages; static, not counted for the caller.
PB_EXPORT pbSort *sipsnMessageSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipsnMessage *sipsnMessageRetain( sipsnMessage *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipsnMessageRelease( sipsnMessage *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipsnMessageObj( sipsnMessage *obj );
/// OBJ as a SIP message; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipsnMessage *sipsnMessageFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipsnMessageToString( sipsnMessage *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipsnMessageCompare( sipsnMessage *objA, sipsnMessage *objB );
/// 1 when sipsnMessageCompare gives 0, else 0.
PB_EXPORT pbBool sipsnMessageEquals( sipsnMessage *objA, sipsnMessage *objB );

/// The module.
PB_EXPORT const pbModule *sipsnModule( void );

/// The message that a buffer holds, or null. It accepts what real peers send: compact header names, folded lines, line
/// ends of LF alone, no Content-Length (the body then runs to the end), empty lines before the start line, unknown
/// methods and headers. It refuses what RFC 3261 forbids and what exceeds the limits. Of control characters in the
/// header part it refuses NUL and a CR without LF; others stay in the values. LIMITS may be null for the defaults. With
/// REASON not null, *REASON is set to a new string that says what is wrong and at which byte of the buffer, counted
/// from 0 ("header line without a colon, at byte 57"), or to null on success; an earlier reference in it is released.
/// Bytes after a body of Content-Length are dropped (RFC 3261 section 18.3).
PB_EXPORT sipsnMessage *sipsnMessageTryDecode( pbBuffer *buffer, sipsnLimits *limits, pbString **reason );
/// A new request without headers and body. The method must be a token, the IRI not empty and free of white space and
/// controls.
PB_EXPORT sipsnMessage *sipsnMessageCreateRequest( pbString *method, pbString *iri );
/// A new response without headers and body. The status code lies within 100 to 699, the reason phrase is free of CR,
/// LF and NUL.
PB_EXPORT sipsnMessage *sipsnMessageCreateResponse( int64_t statusCode, pbString *reasonPhrase );
/// A new copy that shares everything.
PB_EXPORT sipsnMessage *sipsnMessageCreateFrom( sipsnMessage *source );
/// The message's bytes: for an unchanged one the buffer that it was decoded from (or, where bytes after the body were
/// dropped, a slice of it), otherwise one of its own. Nothing is copied.
PB_EXPORT pbBuffer *sipsnMessageEncode( sipsnMessage *message );

/// 1 for a request, else 0.
PB_EXPORT pbBool sipsnMessageIsRequest( sipsnMessage *message );
/// 1 for a response, else 0.
PB_EXPORT pbBool sipsnMessageIsResponse( sipsnMessage *message );
/// A request's method as it stands on the request line. The message must be a request.
PB_EXPORT pbString *sipsnMessageRequestMethod( sipsnMessage *message );
/// A request's Request-URI as it stands on the request line. The message must be a request.
PB_EXPORT pbString *sipsnMessageRequestIri( sipsnMessage *message );
/// A response's status code. The message must be a response.
PB_EXPORT int64_t sipsnMessageResponseStatusCode( sipsnMessage *message );
/// A response's reason phrase, which may be empty. The message must be a response.
PB_EXPORT pbString *sipsnMessageResponseReasonPhrase( sipsnMessage *message );

/// The number of header lines; a line with its continuation lines counts once.
PB_EXPORT int64_t sipsnMessageLinesLength( sipsnMessage *message );
/// The name of the header line at INDEX in message order, as it stands in the message.
PB_EXPORT pbString *sipsnMessageLineNameAt( sipsnMessage *message, int64_t index );
/// The value of the header line at INDEX in message order, unfolded, without white space around it.
PB_EXPORT pbString *sipsnMessageLineValueAt( sipsnMessage *message, int64_t index );
/// The index of the first header line of a name at INDEX or after it, -1 when there is none. NAME is its long or
/// compact form in any letter case; a length of -1 means up to the NUL. INDEX is at least 0 and at most the number of
/// lines.
PB_EXPORT int64_t sipsnMessageLineFindCstr( sipsnMessage *message, const char *name, int64_t length, int64_t index );
/// The value of the header line at INDEX as its bytes stand in the message, still folded, without white space around it
/// and without NUL at the end; *LENGTH is set to their number. Valid as long as the message lives unchanged.
PB_EXPORT const char *sipsnMessageLineBytesAt( sipsnMessage *message, int64_t index, int64_t *length );
/// The same for the name of the header line, in the form and letter case in which it came.
PB_EXPORT const char *sipsnMessageLineNameBytesAt( sipsnMessage *message, int64_t index, int64_t *length );
/// The header of a name with all its lines in order; null when the message has none. NAME is its long form in any
/// letter case; lines under the compact form count.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderByName( sipsnMessage *message, pbString *name );
/// The same for a name as C text; a length of -1 means up to the NUL.
PB_EXPORT sipsnMessageHeader *sipsnMessageHeaderCstr( sipsnMessage *message, const char *name, int64_t length );
/// Puts a header into the message: its lines take the place of the first line of that name, all others of that name
/// go; without one they come after the last header. A header without lines is kept as a fact of the message (it is
/// found again, with no lines), and contributes nothing to the encoded form. A Content-Length set in this way is the
/// caller's own: it is not compared with the body.
PB_EXPORT void sipsnMessageSetHeader( sipsnMessage **message, sipsnMessageHeader *header );
/// Removes every line of a name; nothing when there is none. A length of -1 means up to the NUL.
PB_EXPORT void sipsnMessageDelHeaderCstr( sipsnMessage **message, const char *name, int64_t length );

/// Gives the header line at INDEX another value. CR, LF and NUL in it become spaces. A Content-Length set in this way
/// is the caller's own: it is not compared with the body.
PB_EXPORT void sipsnMessageSetLineAt( sipsnMessage **message, int64_t index, pbString *value );
/// Puts a header line before the one at INDEX, which may be the number of lines: then it comes last. The name must be a
/// token; a length of -1 means up to the NUL. CR, LF and NUL in the value become spaces.
PB_EXPORT void sipsnMessageInsertLineAt( sipsnMessage **message, int64_t index, const char *name, int64_t length,
                                         pbString *value );
/// Removes the header line at INDEX.
PB_EXPORT void sipsnMessageDelLineAt( sipsnMessage **message, int64_t index );
/// Gives a request another Request-URI, which must not be empty and be free of white space and controls. The message
/// must be a request.
PB_EXPORT void sipsnMessageSetRequestIri( sipsnMessage **message, pbString *iri );

/// The body, one more reference of it; null when there is none (no bytes after the header, or Content-Length: 0).
PB_EXPORT pbBuffer *sipsnMessageBody( sipsnMessage *message );
/// Sets the body, null for none, and the Content-Length header with it.
PB_EXPORT void sipsnMessageSetBody( sipsnMessage **message, pbBuffer *body );

PB_END_DECLS

#endif
