// Integer helpers.
#include <pb/pb_int.h>

#include <limits>

namespace
{

constexpr int64_t lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t highest = std::numeric_limits<int64_t>::max();

} // namespace

int64_t pbIntAddSaturating( int64_t a, int64_t b )
{
    int64_t result = 0;
    if( !__builtin_add_overflow( a, b, &result ) )
        return result;
    return b < 0 ? lowest : highest;
}

int64_t pbIntSubSaturating( int64_t a, int64_t b )
{
    int64_t result = 0;
    if( !__builtin_sub_overflow( a, b, &result ) )
        return result;
    return b < 0 ? highest : lowest;
}

int64_t pbIntMulSaturating( int64_t a, int64_t b )
{
    int64_t result = 0;
    if( !__builtin_mul_overflow( a, b, &result ) )
        return result;
    return ( a < 0 ) == ( b < 0 ) ? highest : lowest;
}
