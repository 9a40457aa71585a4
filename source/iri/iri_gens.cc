// The IRI validator. It asks the scanner, so that no text that a decoder scanned can fail a later check.
#include "iri/iri_skip.h"
#include "pb/pb_assert.h"

#include <iri/iri_gens.h>

pbBool iriGensValidatePart( pbString *text, int64_t part )
{
    PB_ASSERT( text );
    PB_ASSERT( IRI_PART_OK( part ) );
    int64_t length = pbStringLength( text );
    if( length == 0 )
        return 0;
    const char *ascii = pbStringAscii( text );
    int64_t accepted = ascii ? iri___SkipIriAscii( ascii, length ) : iri___SkipIri( pbStringBacking( text ), length );
    return accepted == length;
}
