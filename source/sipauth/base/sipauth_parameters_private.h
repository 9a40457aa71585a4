// Parameter lists (RFC 2617 section 1.2: "name=value" with commas between), read and written by the same rows. A type's
// rows are a constexpr tuple; each has
//     format                    how the parameter is written
//     present( holder )         whether it is written
//     append( text, holder )    writes the value that the directive of the format stands for
//     apply( holder, value )    takes a value that was read; false when it is refused
#ifndef SIPAUTH_BASE_SIPAUTH_PARAMETERS_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_PARAMETERS_PRIVATE_H

#include "pb/pb_object.h"
#include "pb/pb_text.h"
#include "sipauth/base/sipauth_escape_private.h"
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/base/sipauth_slice_private.h"

#include <sipauth/sipauth_scheme.h>

#include <string_view>
#include <tuple>

namespace sipauth
{

/// A text with at most one directive: "%~s" for a quoted string, any other one for a value as it is.
struct Format
{
    std::string_view head;      ///< up to the directive, or everything
    std::string_view tail = ""; ///< after the directive; points to text even when there is none, for memcpy
    std::string_view name;      ///< up to the first '='
    NameKey key;
    bool quoted;

    constexpr Format( const char *literal ) : Format( std::string_view( literal ) ) {}

private:
    constexpr explicit Format( std::string_view text )
        : head( text.substr( 0, text.find( '%' ) ) ), tail( text.substr( text.size() ) ),
          name( text.substr( 0, text.find( '=' ) ) ),
          key( nameKey( name.data(), static_cast<int64_t>( name.size() ) ) ),
          quoted( text.substr( head.size() ).starts_with( "%~" ) )
    {
        // A directive ends at its letter.
        if( size_t letter = text.find_first_of( "si", head.size() ); letter < text.size() )
            tail = text.substr( letter + 1 );
    }
};
static_assert( Format( "a=%~s" ).head == "a=" && Format( "a=%~s" ).tail.empty() && Format( "a=%~s" ).quoted );
static_assert( Format( "b=\"%s\"" ).head == "b=\"" && Format( "b=\"%s\"" ).tail == "\"" );
static_assert( Format( "c=%08!16i" ).head == "c=" && Format( "c=%08!16i" ).tail.empty() );
static_assert( Format( "side=si" ).head == "side=si" && Format( "side=si" ).tail.empty() );
static_assert( Format( "side=si" ).tail.data() );

inline void append( pb::Text *text, std::string_view bytes )
{
    text->append( bytes.data(), static_cast<int64_t>( bytes.size() ) );
}

/// Reads the scheme at the start of a header value: SIPAUTH_SCHEME_BASIC or SIPAUTH_SCHEME_DIGEST, -1 for any other.
template<class Ch>
int64_t takeScheme( Reader<Ch> *reader )
{
    reader->takeLws();
    const Ch *name = reader->rest();
    int64_t length = reader->takeToken().count;
    if( equalsFolded( name, length, "digest" ) )
        return SIPAUTH_SCHEME_DIGEST;
    return equalsFolded( name, length, "basic" ) ? SIPAUTH_SCHEME_BASIC : -1;
}

/// A parameter that is held in a string field.
template<class T>
struct StringParameter
{
    Format format;
    pb::Field<pbString> T::*field;
    pbBool ( *check )( pbString *value );

    bool present( const T *holder ) const { return static_cast<bool>( holder->*field ); }

    void append( pb::Text *text, const T *holder ) const
    {
        if( format.quoted )
            sipauth___QuotableStringAppendUnq( text, holder->*field );
        else
            text->append( holder->*field );
    }

    bool apply( T *holder, const Slice &value ) const
    {
        pb::Ref<pbString> string = value.toString();
        if( !check( string ) )
            return false;
        holder->*field = std::move( string );
        return true;
    }
};

/// Appends the parameters of a holder that are present, with ", " between them.
template<class T, class... Rows>
void appendParameters( pb::Text *text, const T *holder, const std::tuple<Rows...> &rows )
{
    bool first = true;
    auto appendRow = [&]( const auto &row )
    {
        if( !row.present( holder ) )
            return;
        if( !std::exchange( first, false ) )
            text->append( ", " );
        append( text, row.format.head );
        if( row.format.quoted )
            text->append( "\"" );
        row.append( text, holder );
        append( text, row.format.quoted ? "\"" : row.format.tail );
    };
    std::apply( [&]( const auto &...row ) { ( appendRow( row ), ... ); }, rows );
}

/// Gives a value to the row of that name, which may stand in any letter case. A name without a row is ignored.
template<class Ch, class T, class... Rows>
bool applyParameter( T *holder, const std::tuple<Rows...> &rows, const Ch *name, int64_t nameLength,
                     const Slice &value )
{
    bool taken = true;
    const NameKey key = nameKey( name, nameLength );
    auto applyRow = [&]( const auto &row )
    {
        if( row.format.key != key || !equalsFolded( name, nameLength, row.format.name ) )
            return false;
        taken = row.apply( holder, value );
        return true;
    };
    std::apply( [&]( const auto &...row ) { (void) ( applyRow( row ) || ... ); }, rows );
    return taken;
}

/// Reads a value, a token or a quoted string. *UNESCAPED keeps the text of one that had to be unescaped. An empty slice
/// without source when there is neither.
template<class Ch>
Slice takeValue( Reader<Ch> *reader, pb::Ref<pbString> *unescaped )
{
    if( Slice token = reader->takeToken(); token.count > 0 )
        return token;
    bool escaped = false;
    const Ch *begin = reader->rest();
    Slice quoted = reader->take( skipQuotedString( begin, reader->restLength(), &escaped ) );
    if( quoted.count == 0 )
        return {};
    if( !escaped )
        return quoted.part( 1, quoted.count - 2 );
    *unescaped = tryUnquote( begin, quoted.count );
    return { *unescaped, 0, pbStringLength( *unescaped ) };
}

/// What a parameter list stops at.
enum class ListFault
{
    none,
    name,    ///< no parameter name
    equals,  ///< no '=' after the name
    value,   ///< no token and no quoted string after '='
    refused, ///< the value was not taken
    comma    ///< no comma after the value
};

/// Reads parameters up to the end of the text and gives each to take( name, value, offset ), which says whether it
/// takes it; OFFSET is where the value begins, quotes included. White space may stand around everything, a comma at the
/// end, but not two commas in a row. On a fault the reader stands where it was found.
template<class Ch, class Take>
ListFault eachParameter( Reader<Ch> *reader, Take take )
{
    reader->takeLws();
    while( !reader->atEnd() )
    {
        Slice name = reader->takeToken();
        if( name.count == 0 )
            return ListFault::name;
        reader->takeLws();
        if( !reader->takeChar( '=' ) )
            return ListFault::equals;
        reader->takeLws();
        int64_t offset = reader->offset();
        pb::Ref<pbString> unescaped;
        Slice value = takeValue( reader, &unescaped );
        if( !value.source )
            return ListFault::value;
        if( !take( name, value, offset ) )
            return ListFault::refused;
        reader->takeLws();
        if( reader->atEnd() )
            return ListFault::none;
        if( !reader->takeChar( ',' ) )
            return ListFault::comma;
        reader->takeLws();
    }
    return ListFault::none;
}

/// Reads parameters up to the end of the text into HOLDER. False for a malformed list and for a value that its row
/// refuses.
template<class Ch, class T, class... Rows>
bool readParameters( Reader<Ch> *reader, T *holder, const std::tuple<Rows...> &rows )
{
    auto take = [&]( const Slice &name, const Slice &value, int64_t )
    { return applyParameter( holder, rows, reader->at( name.offset ), name.count, value ); };
    return eachParameter( reader, take ) == ListFault::none;
}

} // namespace sipauth

#endif
