// The story of a world.
#include "story.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace simulation
{

void Story::fold( std::string_view bytes )
{
    for( char byte : bytes )
        hash_ = ( hash_ ^ static_cast<uint8_t>( byte ) ) * 0x100000001B3u;
}

void Story::tell( int64_t time, const char *format, ... )
{
    char line[512];
    int length = std::snprintf( line, sizeof line, "%8lld  ", static_cast<long long>( time ) );
    va_list arguments;
    va_start( arguments, format );
    length += std::vsnprintf( line + length, sizeof line - static_cast<size_t>( length ), format, arguments );
    va_end( arguments );
    if( length >= static_cast<int>( sizeof line ) )
        length = sizeof line - 1;
    fold( { line, static_cast<size_t>( length ) } );
    events_++;
    if( print_ )
        std::puts( line );
}

void Story::show( std::string_view bytes )
{
    fold( bytes );
    if( !print_ )
        return;
    bool lineStart = true;
    for( char byte : bytes )
    {
        if( byte == '\r' )
            continue;
        if( lineStart )
            std::fputs( "              ", stdout );
        std::putchar( byte );
        lineStart = byte == '\n';
    }
}

static uint64_t seedAtWork = 0;

void setSeed( uint64_t seed )
{
    seedAtWork = seed;
}

void broken( const char *format, ... )
{
    char text[512];
    va_list arguments;
    va_start( arguments, format );
    std::vsnprintf( text, sizeof text, format, arguments );
    va_end( arguments );
    std::fflush( stdout );
    std::fprintf( stderr, "sipauth-sim: seed %llu: %s\n", static_cast<unsigned long long>( seedAtWork ), text );
    std::_Exit( 1 );
}

} // namespace simulation
