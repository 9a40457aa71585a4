// Scanners of the numeric host forms of RFC 3986, section 3.2.2: IPv4address and IP-literal. Templates over the
// character type, which is char for ASCII text or pbChar. Each takes the text from its place on and gives the length of
// the form at its start, 0 for none; the form is the only one there, so there is no shorter or longer one to choose.
#ifndef IRI_IRI_ADDRESS_PRIVATE_H
#define IRI_IRI_ADDRESS_PRIVATE_H

#include "iri/iri_class_private.h"

namespace iri
{

/// IPv4address: four decimal numbers up to 255, without leading zeros.
template<class Char>
int64_t skipIpv4( const Char *chs, int64_t length )
{
    int64_t pos = 0;
    for( int octet = 0; octet < 4; octet++ )
    {
        if( octet > 0 && !( pos < length && chs[pos++] == '.' ) )
            return 0;
        int64_t start = pos;
        int value = 0;
        for( ; pos < length && pos < start + 3 && is( chs[pos], DIGIT ); pos++ )
            value = value * 10 + static_cast<int>( chs[pos] - '0' );
        if( pos == start || value > 255 || ( pos > start + 1 && chs[start] == '0' ) )
            return 0;
    }
    return pos;
}

/// IPv6address, which ends at a "]": eight groups of up to four hexadecimal digits, of which "::" replaces one or more
/// and an IPv4 address the last two.
template<class Char>
int64_t skipIpv6( const Char *chs, int64_t length )
{
    auto at = [chs, length]( int64_t pos, char ch ) { return pos < length && chs[pos] == static_cast<Char>( ch ); };
    int64_t pos = 0;
    int groups = 0;
    bool shortened = false;
    bool separated = true;
    while( !at( pos, ']' ) && groups < 8 )
    {
        if( !shortened && at( pos, ':' ) && at( pos + 1, ':' ) )
        {
            shortened = separated = true;
            pos += 2;
            continue;
        }
        if( !separated && !at( pos++, ':' ) )
            return 0;
        separated = false;
        int64_t digits = 0;
        while( digits < 4 && pos + digits < length && is( chs[pos + digits], HEXDIG ) )
            digits++;
        bool last = at( pos + digits, '.' );
        int64_t group = last ? skipIpv4( chs + pos, length - pos ) : digits;
        if( group == 0 || ( last && !at( pos + group, ']' ) ) )
            return 0;
        pos += group;
        groups += last ? 2 : 1;
    }
    return ( shortened ? groups <= 7 : groups == 8 ) ? pos : 0;
}

/// IPvFuture, which ends at a "]".
template<class Char>
int64_t skipIpvFuture( const Char *chs, int64_t length )
{
    if( length == 0 || ( chs[0] != 'v' && chs[0] != 'V' ) )
        return 0;
    int64_t pos = 1;
    while( pos < length && is( chs[pos], HEXDIG ) )
        pos++;
    if( pos == 1 || pos == length || chs[pos] != '.' )
        return 0;
    int64_t start = ++pos;
    while( pos < length && is( chs[pos], FUTURE ) )
        pos++;
    return pos > start ? pos : 0;
}

/// IP-literal: an IPv6 or future address in brackets.
template<class Char>
int64_t skipIpLiteral( const Char *chs, int64_t length )
{
    if( length == 0 || chs[0] != '[' )
        return 0;
    int64_t address = skipIpv6( chs + 1, length - 1 );
    if( address == 0 )
        address = skipIpvFuture( chs + 1, length - 1 );
    bool closed = address > 0 && 1 + address < length && chs[1 + address] == ']';
    return closed ? address + 2 : 0;
}

} // namespace iri

#endif
