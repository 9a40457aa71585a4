// A header of a SIP message: a name and its lines.
#include "sipsn/sipsn_message_header_private.h"

#include "pb/pb_type.h"
#include "sipsn/sipsn_private.h"
#include "sipsn/sipsn_text_private.h"

struct sipsnMessageHeader
{
    pb::Object object;
    pb::Field<pbString> name;
    pb::Field<pbVector> lines;
};

PB_TYPE( sipsnMessageHeader, SIPSN_MESSAGE_HEADER, sipsn, sipsn___MessageHeaderFreeFunc, nullptr );

static void sipsn___MessageHeaderFreeFunc( pbObj *obj )
{
    sipsnMessageHeader *header = sipsnMessageHeaderFrom( obj );
    PB_ASSERT( header );
    pb::poison( header->name, header->lines );
}

pb::Ref<sipsnMessageHeader> sipsn::createHeader( pb::Ref<pbString> name, pb::Ref<pbVector> lines )
{
    auto header = pb::create<sipsnMessageHeader>( sipsnMessageHeaderSort() );
    header->name = std::move( name );
    header->lines = std::move( lines );
    return header;
}

sipsnMessageHeader *sipsnMessageHeaderCreateCstr( const char *name, int64_t length )
{
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    return sipsnMessageHeaderCreate( pb::own( pbStringCreateFromCstr( name, length ) ) );
}

sipsnMessageHeader *sipsnMessageHeaderCreate( pbString *name )
{
    PB_ASSERT( name );
    PB_ASSERT( sipsn::tokenOk( name ) );
    return sipsn::createHeader( pb::share( name ), pb::own( pbVectorCreate() ) ).give();
}

sipsnMessageHeader *sipsnMessageHeaderCreateFrom( sipsnMessageHeader *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

pbString *sipsnMessageHeaderName( sipsnMessageHeader *header )
{
    PB_ASSERT( header );
    return header->name.shareOut();
}

int64_t sipsnMessageHeaderLinesLength( sipsnMessageHeader *header )
{
    PB_ASSERT( header );
    return pbVectorLength( header->lines );
}

pbString *sipsnMessageHeaderLineAt( sipsnMessageHeader *header, int64_t index )
{
    PB_ASSERT( header );
    PB_ASSERT( index >= 0 && index < pbVectorLength( header->lines ) );
    return pbStringFrom( pbVectorObjAt( header->lines, index ) );
}

pbString *sipsnMessageHeaderLastLine( sipsnMessageHeader *header )
{
    PB_ASSERT( header );
    int64_t length = pbVectorLength( header->lines );
    return length ? sipsnMessageHeaderLineAt( header, length - 1 ) : nullptr;
}

void sipsnMessageHeaderAppendLine( sipsnMessageHeader **header, pbString *line )
{
    PB_ASSERT( header );
    PB_ASSERT( *header );
    PB_ASSERT( line );
    pbVectorAppendString( pb::mutate( header )->lines.inout(), sipsn::toLine( line ) );
}

void sipsnMessageHeaderClearLines( sipsnMessageHeader **header )
{
    PB_ASSERT( header );
    PB_ASSERT( *header );
    pbVectorClear( pb::mutate( header )->lines.inout() );
}
