// The scanners of the authentication grammar (RFC 2616 section 2.2, RFC 2617) over code points. Each returns how many
// code points it accepts at the start of CHS, 0 for none. CHS may be null when LENGTH is 0. Library code that scans
// strings takes the same scanners as templates, from sipauth_scan_private.h.
#ifndef SIPAUTH_BASE_SIPAUTH_SKIP_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_SKIP_PRIVATE_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// The one code point CH.
int64_t sipauth___SkipChar( const pbChar *chs, int64_t length, pbChar ch );
/// Exactly the sequence SKIPCHS.
int64_t sipauth___SkipChars( const pbChar *chs, int64_t length, const pbChar *skipChs, int64_t skipLength );
/// The same after folding 'A' to 'Z' to lower case on both sides.
int64_t sipauth___SkipCharsAsciiCaseFold( const pbChar *chs, int64_t length, const pbChar *skipChs,
                                          int64_t skipLength );
/// A run of digits.
int64_t sipauth___SkipDigits( const pbChar *chs, int64_t length );
/// A run of hexadecimal digits in lower case.
int64_t sipauth___SkipLhex( const pbChar *chs, int64_t length );
/// A run of linear white space: space, tab, and CR LF before a space or tab.
int64_t sipauth___SkipLws( const pbChar *chs, int64_t length );
/// A token.
int64_t sipauth___SkipToken( const pbChar *chs, int64_t length );
/// A run of TEXT without double quotes and backslashes.
int64_t sipauth___SkipQdtext( const pbChar *chs, int64_t length );
/// A backslash and any CHAR.
int64_t sipauth___SkipQuotedPair( const pbChar *chs, int64_t length );
/// A quoted string with both quotes.
int64_t sipauth___SkipQuotedString( const pbChar *chs, int64_t length );
/// A run of characters that are not CTL, and of linear white space.
int64_t sipauth___SkipText( const pbChar *chs, int64_t length );
/// The same up to the code point CH.
int64_t sipauth___SkipTextExcludingChar( const pbChar *chs, int64_t length, pbChar ch );
/// A password of Basic credentials.
int64_t sipauth___SkipPassword( const pbChar *chs, int64_t length );
/// A user id of Basic credentials: a run of TEXT without ':'.
int64_t sipauth___SkipUserid( const pbChar *chs, int64_t length );
/// A run of the base 64 alphabet, '=' included.
int64_t sipauth___SkipBasicCredentials( const pbChar *chs, int64_t length );
/// A target name: a token, with or without "sip/" in any letter case before it.
int64_t sipauth___SkipMsspiTargetName( const pbChar *chs, int64_t length );

PB_END_DECLS

#endif
