// Responses of a server to a request.
#ifndef SIPBN_SIPBN_RESPONSE_H
#define SIPBN_SIPBN_RESPONSE_H

#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// A new response to a request as RFC 3261 section 8.2.6 wants it: the status code's usual reason phrase, the Via
/// lines, From, To, Call-ID and CSeq of the request byte for byte, and for 100 its Timestamp. A tag of 64 random bits
/// is added to a To without one unless the status is 100; a To that cannot be read is copied as it is. No body, so that
/// Content-Length is 0 (section 20.14). REQUEST must be a request, STATUSCODE within 100 to 699.
PB_EXPORT sipsnMessage *sipbnConstructResponse( sipsnMessage *request, int64_t statusCode );

PB_END_DECLS

#endif
