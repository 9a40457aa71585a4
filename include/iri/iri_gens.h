// Internationalized Resource Identifiers (RFC 3987): references, absolute or relative, and the SIP, SIPS and TEL forms
// that SIP peers use.
#ifndef IRI_IRI_GENS_H
#define IRI_IRI_GENS_H

#include <pb/pb_module.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A part of an IRI.
typedef int64_t IRI_PART;
/// A whole IRI reference.
#define IRI_PART_IRI 0
#define IRI_PART_OK( part ) ( (uint64_t) ( part ) <= 0 )

/// The module.
PB_EXPORT const pbModule *iriModule( void );
/// 1 when the whole text is a valid part of an IRI of the kind given, else 0. An empty text is not valid. Accepts
/// every text that the scanner of this module accepts as a whole.
PB_EXPORT pbBool iriGensValidatePart( pbString *text, int64_t part );

PB_END_DECLS

#endif
