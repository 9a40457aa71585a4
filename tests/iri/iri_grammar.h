// The language of the IRI scanner, written down a second time: as the rules of RFC 3987, RFC 3986, RFC 3261 and
// RFC 3966 stand, for a recogniser that knows nothing of greed or order. It follows all readings at once, by the set of
// the places where each of them may stand.
#ifndef IRI_IRI_GRAMMAR_H
#define IRI_IRI_GRAMMAR_H

#include <bit>
#include <cstdint>
#include <functional>
#include <string_view>

namespace grammar
{

/// A set of places in a text of at most 63 characters, one bit each.
using Places = uint64_t;

/// A rule: the places where it may end, from the places where it may begin.
using Rule = std::function<Places( std::u32string_view text, Places from )>;

inline Rule oneOf( std::function<bool( char32_t )> accepts )
{
    return [accepts]( std::u32string_view text, Places from )
    {
        Places to = 0;
        for( ; from; from &= from - 1 )
        {
            auto place = static_cast<size_t>( std::countr_zero( from ) );
            if( place < text.size() && accepts( text[place] ) )
                to |= Places{ 2 } << place;
        }
        return to;
    };
}

inline Rule oneOf( std::u32string_view chs )
{
    return oneOf( [chs]( char32_t ch ) { return chs.find( ch ) != chs.npos; } );
}

inline Rule operator|( Rule a, Rule b )
{
    return [a, b]( std::u32string_view text, Places from ) { return a( text, from ) | b( text, from ); };
}

/// One rule after the other.
inline Rule operator>>( Rule a, Rule b )
{
    return [a, b]( std::u32string_view text, Places from )
    {
        Places between = a( text, from );
        return between ? b( text, between ) : 0;
    };
}

/// At least LEAST and at most MOST of a rule.
inline Rule repeat( int least, int most, Rule rule )
{
    return [least, most, rule]( std::u32string_view text, Places from )
    {
        Places all = least == 0 ? from : 0;
        for( int count = 1; count <= most && from; count++ )
        {
            from = rule( text, from );
            if( count >= least )
            {
                from &= ~all;
                all |= from;
            }
        }
        return all;
    };
}

inline constexpr int MANY = 64;

inline Rule optional( Rule rule )
{
    return repeat( 0, 1, rule );
}
inline Rule some( Rule rule )
{
    return repeat( 1, MANY, rule );
}
inline Rule any( Rule rule )
{
    return repeat( 0, MANY, rule );
}

inline const Rule EMPTY = []( std::u32string_view, Places from ) { return from; };

inline const Rule ALPHA = oneOf( U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz" );
inline const Rule DIGIT = oneOf( U"0123456789" );
inline const Rule HEXDIG = DIGIT | oneOf( U"ABCDEFabcdef" );

/// RFC 3987, section 2.2: the ranges of ucschar and iprivate.
inline bool isUcsChar( char32_t ch )
{
    static constexpr char32_t ranges[][2] = {
        { 0xA0, 0xD7FF },     { 0xF900, 0xFDCF },   { 0xFDF0, 0xFFEF },   { 0x10000, 0x1FFFD }, { 0x20000, 0x2FFFD },
        { 0x30000, 0x3FFFD }, { 0x40000, 0x4FFFD }, { 0x50000, 0x5FFFD }, { 0x60000, 0x6FFFD }, { 0x70000, 0x7FFFD },
        { 0x80000, 0x8FFFD }, { 0x90000, 0x9FFFD }, { 0xA0000, 0xAFFFD }, { 0xB0000, 0xBFFFD }, { 0xC0000, 0xCFFFD },
        { 0xD0000, 0xDFFFD }, { 0xE1000, 0xEFFFD },
    };
    for( auto &range : ranges )
    {
        if( ch >= range[0] && ch <= range[1] )
            return true;
    }
    return false;
}

inline bool isPrivateChar( char32_t ch )
{
    return ( ch >= 0xE000 && ch <= 0xF8FF ) || ( ch >= 0xF0000 && ch <= 0xFFFFD ) ||
           ( ch >= 0x100000 && ch <= 0x10FFFD );
}

// RFC 3986, appendix A, and RFC 3987, section 2.2.
inline const Rule unreserved = ALPHA | DIGIT | oneOf( U"-._~" );
inline const Rule iunreserved = unreserved | oneOf( isUcsChar );
inline const Rule subDelims = oneOf( U"!$&'()*+,;=" );
inline const Rule pctEncoded = oneOf( U"%" ) >> HEXDIG >> HEXDIG;
inline const Rule ipchar = iunreserved | pctEncoded | subDelims | oneOf( U":@" );
inline const Rule iquery = any( ipchar | oneOf( isPrivateChar ) | oneOf( U"/?" ) );
inline const Rule ifragment = any( ipchar | oneOf( U"/?" ) );

inline const Rule decOctet = DIGIT | oneOf( U"123456789" ) >> DIGIT | oneOf( U"1" ) >> DIGIT >> DIGIT |
                             oneOf( U"2" ) >> oneOf( U"01234" ) >> DIGIT |
                             oneOf( U"2" ) >> oneOf( U"5" ) >> oneOf( U"012345" );
inline const Rule dot = oneOf( U"." );
inline const Rule colon = oneOf( U":" );
inline const Rule IPv4address = decOctet >> dot >> decOctet >> dot >> decOctet >> dot >> decOctet;
inline const Rule h16 = repeat( 1, 4, HEXDIG );
inline const Rule ls32 = h16 >> colon >> h16 | IPv4address;

inline Rule groups( int least, int most )
{
    return repeat( least, most, h16 >> colon );
}

inline const Rule gap = colon >> colon;
inline const Rule IPv6address = groups( 6, 6 ) >> ls32 | gap >> groups( 5, 5 ) >> ls32 |
                                optional( h16 ) >> gap >> groups( 4, 4 ) >> ls32 |
                                optional( groups( 0, 1 ) >> h16 ) >> gap >> groups( 3, 3 ) >> ls32 |
                                optional( groups( 0, 2 ) >> h16 ) >> gap >> groups( 2, 2 ) >> ls32 |
                                optional( groups( 0, 3 ) >> h16 ) >> gap >> groups( 1, 1 ) >> ls32 |
                                optional( groups( 0, 4 ) >> h16 ) >> gap >> ls32 |
                                optional( groups( 0, 5 ) >> h16 ) >> gap >> h16 |
                                optional( groups( 0, 6 ) >> h16 ) >> gap;
inline const Rule IPvFuture = oneOf( U"vV" ) >> some( HEXDIG ) >> dot >> some( unreserved | subDelims | colon );
inline const Rule ipLiteral = oneOf( U"[" ) >> ( IPv6address | IPvFuture ) >> oneOf( U"]" );

inline const Rule iregName = any( iunreserved | pctEncoded | subDelims );
inline const Rule iuserinfo = any( iunreserved | pctEncoded | subDelims | colon );
inline const Rule port = any( DIGIT );
inline const Rule slash = oneOf( U"/" );
inline const Rule iauthority = optional( iuserinfo >> oneOf( U"@" ) ) >> ( ipLiteral | IPv4address | iregName ) >>
                               optional( colon >> port );
inline const Rule isegment = any( ipchar );
inline const Rule isegmentNz = some( ipchar );
inline const Rule isegmentNzNc = some( iunreserved | pctEncoded | subDelims | oneOf( U"@" ) );
inline const Rule ipathAbempty = any( slash >> isegment );
inline const Rule ipathAbsolute = slash >> optional( isegmentNz >> any( slash >> isegment ) );
inline const Rule ipathNoscheme = isegmentNzNc >> any( slash >> isegment );
inline const Rule ipathRootless = isegmentNz >> any( slash >> isegment );
inline const Rule tail = optional( oneOf( U"?" ) >> iquery ) >> optional( oneOf( U"#" ) >> ifragment );
inline const Rule scheme = ALPHA >> any( ALPHA | DIGIT | oneOf( U"+-." ) );
inline const Rule
    iri = scheme >> colon >>
          ( slash >> slash >> iauthority >> ipathAbempty | ipathAbsolute | ipathRootless | EMPTY ) >> tail;
inline const Rule irelativeRef =
    ( slash >> slash >> iauthority >> ipathAbempty | ipathAbsolute | ipathNoscheme | EMPTY ) >> tail;

// RFC 3261, section 25.1, with what this system reads beyond it: ucschar, "#" in the user, any host name, and ":", "@"
// and all sub-delims where values are.
inline const Rule sipChar = iunreserved | pctEncoded | subDelims;
inline const Rule sipUser = some( sipChar | oneOf( U":/?#" ) );
inline const Rule sipHost = ipLiteral | some( iunreserved | pctEncoded );
inline const Rule sipParams = any( oneOf( U";" ) >> any( sipChar | oneOf( U":/@[]" ) ) );
inline const Rule sipHeaders = any( sipChar | oneOf( U":/@[]?" ) );
inline const Rule sipForm = oneOf( U"Ss" ) >> oneOf( U"Ii" ) >> oneOf( U"Pp" ) >> optional( oneOf( U"Ss" ) ) >> colon >>
                            optional( sipUser >> oneOf( U"@" ) ) >> sipHost >> optional( colon >> port ) >> sipParams >>
                            optional( oneOf( U"?" ) >> sipHeaders );

// RFC 3966, section 3.
inline const Rule telForm = oneOf( U"Tt" ) >> oneOf( U"Ee" ) >> oneOf( U"Ll" ) >> colon >>
                            some( HEXDIG | oneOf( U"*#-.()+" ) ) >> sipParams;

/// The length of the longest text at the start that is of the language; 0 for none.
inline int64_t longest( std::u32string_view text )
{
    static const Rule language = iri | irelativeRef | sipForm | telForm;
    return std::bit_width( language( text, 1 ) ) - 1;
}

} // namespace grammar

#endif
