// Numbers in strings.
#include "pb/pb_string_private.h"

static int64_t digitOf( pbChar ch )
{
    if( ch - '0' < 10 )
        return ch - '0';
    pbChar folded = pb::foldAscii( ch );
    return folded - 'a' < 26 ? folded - 'a' + 10 : 36;
}

pbBool pbStringScanInt( pbString *string, int64_t radix, int64_t *value, int64_t *scanned )
{
    PB_ASSERT( string );
    PB_ASSERT( radix >= 2 && radix <= 36 );
    PB_ASSERT( value );
    PB_ASSERT( scanned );
    int64_t sum = 0;
    int64_t index = 0;
    for( ; index < string->length; index++ )
    {
        int64_t digit = digitOf( string->at( index ) );
        if( digit >= radix )
            break;
        if( sum > ( INT64_MAX - digit ) / radix )
            return 0;
        sum = sum * radix + digit;
    }
    if( index == 0 )
        return 0;
    *value = sum;
    *scanned = index;
    return 1;
}
