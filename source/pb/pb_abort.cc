// The end of the process after a broken precondition.
#include "pb/pb_assert.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

void pb___Abort( const char *context, const char *path, int64_t line, const char *expression )
{
    const char *name = std::strrchr( path, '/' );
    const char *dot = std::strrchr( name ? name : path, '.' );
    int pathLength = static_cast<int>( dot ? static_cast<size_t>( dot - path ) : std::strlen( path ) );
    std::fprintf( stderr, "%.*s:%lld: abort: %s%s%s\n", pathLength, path, static_cast<long long>( line ),
                  context ? context : "", context ? ": " : "", expression );
    std::fflush( stderr );
    std::abort();
}
