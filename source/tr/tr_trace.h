// Helpers for code that traces: what a silent stream would throw away is not built in the first place.
//
//     pb::Ref<trStream> stream = tr::begin( "SIPAUTH_STACK", anchor );
//     TR_TEXT_FORMAT( stream, "H(A1): %~s", computeText().give() );   // computed only when somebody records
//     tr::whenRecorded( stream, [&] { trStreamSetConfiguration( stream, pb::own( optionsStore( options, 1 ) ) ); } );
//     tr::fail( stream, "[sipauthStackCreate()] No options." );
#ifndef TR_TR_TRACE_H
#define TR_TR_TRACE_H

#include <pb/pb_ref.hh>
#include <tr/tr_anchor.h>
#include <tr/tr_stream.h>

/// Writes a line of formatted text. The arguments, "%~s" ones included, are evaluated only when somebody records;
/// STREAM is evaluated twice.
#define TR_TEXT_FORMAT( stream, format, ... )                                                                          \
    ( trStreamRecorded( stream ) ? trStreamTextFormatCstr( stream, format, -1 __VA_OPT__(, ) __VA_ARGS__ ) : (void) 0 )

namespace tr
{

/// A new stream, linked under an anchor, which may be null.
inline pb::Ref<trStream> begin( const char *name, trAnchor *optionalAnchor )
{
    pb::Ref<trStream> stream = pb::own( trStreamCreateCstr( name, -1 ) );
    if( optionalAnchor )
        trAnchorComplete( optionalAnchor, stream );
    return stream;
}

/// Writes a line of text.
inline void text( trStream *stream, const char *text )
{
    trStreamTextCstr( stream, text, -1 );
}

/// Marks the stream notable and then writes a line of text: what every failure does.
inline void fail( trStream *stream, const char *text )
{
    trStreamSetNotable( stream );
    trStreamTextCstr( stream, text, -1 );
}

/// Runs WRITE when somebody records the stream: for lines and properties whose values take work to build.
template<class Write>
void whenRecorded( trStream *stream, Write &&write )
{
    if( trStreamRecorded( stream ) )
        write();
}

} // namespace tr

#endif
