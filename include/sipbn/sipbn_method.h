// Methods of SIP requests (RFC 3261 and its extensions).
#ifndef SIPBN_SIPBN_METHOD_H
#define SIPBN_SIPBN_METHOD_H

#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// The methods; any other is -1.
enum SIPBN_METHOD
{
    SIPBN_METHOD_INVITE = 0,
    SIPBN_METHOD_ACK = 1,
    SIPBN_METHOD_BYE = 2,
    SIPBN_METHOD_CANCEL = 3,
    SIPBN_METHOD_OPTIONS = 4,
    SIPBN_METHOD_REGISTER = 5,
    SIPBN_METHOD_PRACK = 6,
    SIPBN_METHOD_SUBSCRIBE = 7,
    SIPBN_METHOD_NOTIFY = 8,
    SIPBN_METHOD_PUBLISH = 9,
    SIPBN_METHOD_INFO = 10,
    SIPBN_METHOD_REFER = 11,
    SIPBN_METHOD_MESSAGE = 12,
    SIPBN_METHOD_UPDATE = 13
};

/// The module.
PB_EXPORT const pbModule *sipbnModule( void );
/// The method of a request, a SIPBN_METHOD, told from its request line alone; -1 for one that is not listed. Methods
/// are case-sensitive (RFC 3261 section 7.1). MESSAGE must be a request.
PB_EXPORT int64_t sipbnMethodTryDecodeFromRequest( sipsnMessage *message );

PB_END_DECLS

#endif
