// The IRI scanner and validator: what the scanner accepts at the start of a text is valid as a whole, whichever of the
// two scanners reads it.
#include "fuzz_support.h"
#include "iri/iri_skip.h"

#include <iri/iri_gens.h>
#include <pb/pb_ref.hh>

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::LiveObjectCheck check;
    auto text = pb::own( pbStringCreateFromUtf8( data, static_cast<int64_t>( size ) ) );
    const pbChar *chs = pbStringBacking( text );
    int64_t length = pbStringLength( text );

    int64_t accepted = iri___SkipIri( chs, length );
    FUZZ_CHECK( accepted >= 0 && accepted <= length );
    FUZZ_CHECK( iri___SkipIri( chs, accepted ) == accepted );
    FUZZ_CHECK( iriGensValidatePart( text, IRI_PART_IRI ) == ( length > 0 && accepted == length ) );
    if( const char *ascii = pbStringAscii( text ) )
        FUZZ_CHECK( iri___SkipIriAscii( ascii, length ) == accepted );
    FUZZ_CHECK( std::none_of( chs, chs + accepted,
                              []( pbChar ch ) {
                                  return ch <= ' ' || ch == '"' || ch == '<' || ch == '>' || ch == '\\' ||
                                         ( ch >= 0x7F && ch < 0xA0 );
                              } ) );
    if( accepted > 0 )
    {
        auto prefix = pb::own( pbStringCreateFromSlice( text, 0, accepted ) );
        FUZZ_CHECK( iriGensValidatePart( prefix, IRI_PART_IRI ) );
    }
    return 0;
}
