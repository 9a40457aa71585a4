// The IRI scanner. It takes the longest text at the start that is one of
//
//   an IRI-reference of RFC 3987, absolute or relative, other than the empty one;
//   a SIP or SIPS form: RFC 3261's SIP-URI, with a bracketed IPv6 host, with brackets in parameters and headers, and
//   with more than one "#" in the user part, none of which an IRI-reference allows;
//   a TEL form: RFC 3966's telephone-uri with more than one "#" in the number or with brackets in parameters.
//
// Each of the three scanners is greedy over a deterministic grammar, so it gives the longest text of its language, and
// so does the longest of the three. Hence a text that was accepted at the start of another is accepted as a whole, too,
// which the validator relies on. White space, quotes, "<", ">" and controls are part of none of the three.
#include "iri/iri_skip.h"
#include "iri/iri_address_private.h"
#include "pb/pb_assert.h"

#include <algorithm>
#include <string_view>
#include <type_traits>

namespace iri
{
namespace
{

// A scanner's view of the text. Every member function takes a place and gives the place after what it accepts there.
template<class Char>
class Scanner
{
public:
    Scanner( const Char *chs, int64_t length ) : chs_( chs ), length_( length ) {}

    int64_t longest() const
    {
        int64_t schemeEnd = scheme();
        int64_t end = reference( schemeEnd );
        if( schemeEnd == 0 || end == length_ || endsAllForms( chs_[end] ) )
            return end;
        if( schemeIs( schemeEnd, "sip" ) || schemeIs( schemeEnd, "sips" ) )
            return std::max( end, sip( schemeEnd ) );
        return schemeIs( schemeEnd, "tel" ) ? std::max( end, tel( schemeEnd ) ) : end;
    }

private:
    bool at( int64_t pos, char ch ) const { return pos < length_ && chs_[pos] == static_cast<Char>( ch ); }

    // Whether no form goes on with a character. Nearly every IRI-reference is followed by such a one.
    static bool endsAllForms( Char ch )
    {
        return static_cast<std::make_unsigned_t<Char>>( ch ) < 0x80 && ch != '%' && !is( ch, SIP_USER | SIP_PARAMS );
    }

    int64_t run( int64_t pos, Classes classes ) const { return skipRun( chs_, length_, pos, classes ); }

    int64_t digits( int64_t pos ) const
    {
        while( pos < length_ && is( chs_[pos], DIGIT ) )
            pos++;
        return pos;
    }

    // The place after the scheme's colon, 0 when the text begins with no scheme.
    int64_t scheme() const
    {
        if( length_ == 0 || !is( chs_[0], ALPHA ) )
            return 0;
        int64_t pos = 1;
        while( pos < length_ && is( chs_[pos], SCHEME ) )
            pos++;
        return at( pos, ':' ) ? pos + 1 : 0;
    }

    // Whether the scheme that ends before END has a name, which is in lower case.
    bool schemeIs( int64_t end, std::string_view name ) const
    {
        return static_cast<size_t>( end - 1 ) == name.size() &&
               std::equal( name.begin(), name.end(), chs_,
                           []( char expected, Char ch ) { return ( ch | 0x20 ) == static_cast<Char>( expected ); } );
    }

    // IRI-reference, whose scheme ends before POS (0: irelative-ref).
    int64_t reference( int64_t pos ) const
    {
        if( at( pos, '/' ) && at( pos + 1, '/' ) )
            pos = authority( pos + 2 );
        else if( pos == 0 ) // the first segment must not look like a scheme
            pos = run( 0, SEGMENT_NC );
        else
            pos = run( pos, PATH );
        if( at( pos, '/' ) )
            pos = run( pos, PATH );
        if( at( pos, '?' ) )
            pos = skipRun( chs_, length_, pos + 1, QUERY, true );
        if( at( pos, '#' ) )
            pos = run( pos + 1, QUERY );
        return pos;
    }

    // iauthority: whatever stands before an "@" is iuserinfo, even if it looks like a host and a port.
    int64_t authority( int64_t pos ) const
    {
        int64_t end = run( pos, USERINFO );
        if( at( end, '@' ) )
            pos = end + 1;
        int64_t literal = skipIpLiteral( chs_ + pos, length_ - pos );
        pos = literal > 0 ? pos + literal : run( pos, REG_NAME );
        return at( pos, ':' ) ? digits( pos + 1 ) : pos;
    }

    // The SIP form after its scheme. A text like "h;x@y" can be read with and without a user; the longer reading
    // counts.
    int64_t sip( int64_t pos ) const
    {
        int64_t end = sipHost( pos );
        int64_t user = run( pos, SIP_USER );
        return user > pos && at( user, '@' ) ? std::max( end, sipHost( user + 1 ) ) : end;
    }

    // Host, port, parameters and headers of a SIP form; 0 without a host.
    int64_t sipHost( int64_t pos ) const
    {
        int64_t literal = skipIpLiteral( chs_ + pos, length_ - pos );
        int64_t end = literal > 0 ? pos + literal : run( pos, SIP_HOST );
        if( end == pos )
            return 0;
        if( at( end, ':' ) )
            end = digits( end + 1 );
        if( at( end, ';' ) )
            end = run( end, SIP_PARAMS );
        return at( end, '?' ) ? run( end + 1, SIP_HEADERS ) : end;
    }

    // The TEL form after its scheme; 0 without a number.
    int64_t tel( int64_t pos ) const
    {
        int64_t end = pos;
        while( end < length_ && is( chs_[end], TEL_NUMBER ) )
            end++;
        if( end == pos )
            return 0;
        return at( end, ';' ) ? run( end, SIP_PARAMS ) : end;
    }

    const Char *chs_;
    int64_t length_;
};

} // namespace
} // namespace iri

int64_t iri___SkipIri( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return iri::Scanner( chs, length ).longest();
}

int64_t iri___SkipIriAscii( const char *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || chs );
    return iri::Scanner( chs, length ).longest();
}
