// Quotable strings: texts that stand as quoted strings (RFC 2616 section 2.2) on the wire and are held without quotes
// and escapes.
#ifndef SIPAUTH_BASE_SIPAUTH_QUOTABLE_STRING_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_QUOTABLE_STRING_PRIVATE_H

#include "pb/pb_text.h"

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// 1: any text can be quoted.
pbBool sipauth___QuotableStringOk( pbString *quotableString );
/// A new string: the escaped text without quotes around it, as it enters hashes.
pbString *sipauth___QuotableStringEncodeUnq( pbString *quotableString );
/// A new string: the escaped text between double quotes, as it stands in a header.
pbString *sipauth___QuotableStringEncode( pbString *quotableString );
/// A new string: the text of a complete quoted string; null when it does not begin with a double quote or the first
/// double quote that is not escaped is not the last code point. CHS may be null when LENGTH is 0.
pbString *sipauth___QuotableStringTryDecode( const pbChar *chs, int64_t length );

/// Appends what sipauth___QuotableStringEncodeUnq gives, without making a string of it.
void sipauth___QuotableStringAppendUnq( pb::Text *text, pbString *quotableString );
/// Appends what sipauth___QuotableStringEncode gives, without making a string of it.
void sipauth___QuotableStringAppend( pb::Text *text, pbString *quotableString );

PB_END_DECLS

#endif
