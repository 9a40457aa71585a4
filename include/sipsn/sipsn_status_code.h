// Classes of SIP status codes (RFC 3261 section 7.2).
#ifndef SIPSN_SIPSN_STATUS_CODE_H
#define SIPSN_SIPSN_STATUS_CODE_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// 1 for a status code of 100 to 699, else 0.
PB_EXPORT pbBool sipsnStatusCodeOk( int64_t statusCode );
/// 1 for 100 to 199 (provisional), else 0.
PB_EXPORT pbBool sipsnStatusCodeInformational( int64_t statusCode );
/// 1 for 200 to 299, else 0.
PB_EXPORT pbBool sipsnStatusCodeSuccess( int64_t statusCode );
/// The reason phrase that RFC 3261 section 21 or the extension that registers it gives a status code, static C text;
/// for others the name of its class there, such as "Request Failure". The status code must lie within 100 to 699.
PB_EXPORT const char *sipsnStatusCodeReasonPhrase( int64_t statusCode );

PB_END_DECLS

#endif
