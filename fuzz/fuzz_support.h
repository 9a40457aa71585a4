// What the fuzz targets share: checks that hold for every input, and the count of live objects.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <pb/pb_obj.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Ends the program when a condition does not hold for the input; libFuzzer then keeps the input.
#define FUZZ_CHECK( condition ) ( ( condition ) ? (void) 0 : fuzz::fail( __FILE__, __LINE__, #condition ) )

/// The entry point that libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

namespace fuzz
{

[[noreturn]] inline void fail( const char *file, int line, const char *condition )
{
    std::fprintf( stderr, "%s:%d: does not hold: %s\n", file, line, condition );
    std::abort();
}

/// Checks at the end of its scope that as many objects are alive as at the start. Stands first in an entry point.
class LiveObjectCheck
{
public:
    LiveObjectCheck() = default;
    LiveObjectCheck( const LiveObjectCheck & ) = delete;
    ~LiveObjectCheck() { FUZZ_CHECK( pbObjLiveObjects() == before_ ); }

private:
    int64_t before_ = pbObjLiveObjects();
};

/// The first byte of the input, taken off it, for a choice of the target; 0 when the input is empty.
inline uint8_t takeByte( const uint8_t *&data, size_t &size )
{
    if( size == 0 )
        return 0;
    size--;
    return *data++;
}

} // namespace fuzz

#endif
