// The IRI scanner, for grammars that hold IRIs.
#ifndef IRI_IRI_SKIP_H
#define IRI_IRI_SKIP_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// How many code points at the start of CHS form the longest IRI reference (RFC 3987, absolute or relative, or a SIP,
/// SIPS or TEL form); 0 for none. CHS may be null when LENGTH is 0.
PB_EXPORT int64_t iri___SkipIri( const pbChar *chs, int64_t length );

/// The same over ASCII text.
PB_EXPORT int64_t iri___SkipIriAscii( const char *chs, int64_t length );

PB_END_DECLS

#endif
