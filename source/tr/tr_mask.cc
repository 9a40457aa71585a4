// Masking: finds credentials in texts and messages.
#include "tr/tr_mask.h"

#include <algorithm>

namespace
{

using std::string_view;

constexpr string_view mask = "(masked)";
constexpr string_view headerName = "authorization"; // ends "Proxy-Authorization" as well
constexpr string_view responseName = "response";
/// Schemes of which everything that follows is secret (RFC 7617, RFC 6750).
constexpr string_view secretSchemes[] = { "basic", "bearer" };
static_assert( std::size( secretSchemes ) == 2 );

char fold( char ch )
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + ( 'a' - 'A' ) ) : ch;
}

// NAME is in lower case.
bool equalsFold( string_view text, string_view name )
{
    return text.size() == name.size() && std::equal( text.begin(), text.end(), name.begin(),
                                                     []( char ch, char expected ) { return fold( ch ) == expected; } );
}

// Line ends count as blanks: within a header's value they only occur where it is folded.
bool isBlank( char ch )
{
    return ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n';
}

bool isTokenChar( char ch )
{
    return ( fold( ch ) >= 'a' && fold( ch ) <= 'z' ) || ( ch >= '0' && ch <= '9' ) ||
           ( ch != '\0' && std::strchr( "-.!%*_+`'~", ch ) );
}

// A part of the text under work, from BEGIN to before END.
struct Span
{
    size_t begin;
    size_t end;
};

// An occurrence of a name with a sign (':' or '=') behind it.
struct Named
{
    size_t name;  // where the name begins, npos when there is none
    size_t value; // behind the sign
};

class Masker
{
public:
    Masker( string_view text, pb::Text &result ) : text_( text ), result_( result ) {}

    void run()
    {
        Named header = find( headerName, ':', { 0, text_.size() } );
        while( header.name != string_view::npos )
        {
            // On one line of text a header may follow in the value of another.
            Named following = find( headerName, ':', { header.value, text_.size() } );
            maskValue( headerValue( { header.value, std::min( following.name, text_.size() ) } ) );
            header = following;
        }
    }

    /// Replaces a part; parts come in ascending order and do not overlap. An empty part stays.
    void replace( Span part )
    {
        if( part.begin >= part.end )
            return;
        append( { copied_, part.begin } );
        result_.append( mask.data(), static_cast<int64_t>( mask.size() ) );
        copied_ = part.end;
    }

    /// Appends the rest when something was replaced, and says whether so.
    bool finish()
    {
        if( copied_ > 0 )
            append( { copied_, text_.size() } );
        return copied_ > 0;
    }

private:
    void append( Span part )
    {
        result_.append( text_.data() + part.begin, static_cast<int64_t>( part.end - part.begin ) );
    }

    // Where CH stands first in PART; its end when it does not.
    size_t findChar( char ch, Span part ) const
    {
        return std::min( text_.substr( 0, part.end ).find( ch, part.begin ), part.end );
    }

    // The first SIGN in PART that follows NAME, blanks between allowed.
    Named find( string_view name, char sign, Span part ) const
    {
        for( size_t at = findChar( sign, part ); at < part.end; at = findChar( sign, { at + 1, part.end } ) )
        {
            size_t end = trimmed( { part.begin, at } ).end;
            if( end - part.begin >= name.size() && equalsFold( text_.substr( end - name.size(), name.size() ), name ) )
                return { end - name.size(), at + 1 };
        }
        return { string_view::npos, string_view::npos };
    }

    // PART up to the line end that no folded line follows.
    Span headerValue( Span part ) const
    {
        for( size_t at = findChar( '\n', part ); at < part.end; at = findChar( '\n', { at + 1, part.end } ) )
        {
            bool folded = at + 1 < part.end && ( text_[at + 1] == ' ' || text_[at + 1] == '\t' );
            if( !folded )
                return { part.begin, at };
        }
        return part;
    }

    // PART without blanks at its end.
    Span trimmed( Span part ) const
    {
        while( part.end > part.begin && isBlank( text_[part.end - 1] ) )
            part.end--;
        return part;
    }

    Span withoutLeadingBlanks( Span part ) const
    {
        while( part.begin < part.end && isBlank( text_[part.begin] ) )
            part.begin++;
        return part;
    }

    void maskValue( Span value )
    {
        value = withoutLeadingBlanks( trimmed( value ) );
        size_t schemeEnd = value.begin;
        while( schemeEnd < value.end && isTokenChar( text_[schemeEnd] ) )
            schemeEnd++;
        string_view scheme = text_.substr( value.begin, schemeEnd - value.begin );
        bool secret = std::any_of( std::begin( secretSchemes ), std::end( secretSchemes ),
                                   [scheme]( string_view name ) { return equalsFold( scheme, name ); } );
        if( secret )
            replace( withoutLeadingBlanks( { schemeEnd, value.end } ) );
        else
            maskResponses( value );
    }

    // Looks into quoted strings, too: where a quote is missing, nobody knows which part is the quoted one.
    void maskResponses( Span value )
    {
        Named response = find( responseName, '=', value );
        while( response.name != string_view::npos )
        {
            Span part = responseValue( withoutLeadingBlanks( { response.value, value.end } ) );
            replace( part );
            response = find( responseName, '=', { part.end, value.end } );
        }
    }

    // What is secret in a parameter's value that begins where REST does.
    Span responseValue( Span rest ) const
    {
        if( rest.begin < rest.end && text_[rest.begin] == '"' )
        {
            size_t quote = closingQuote( { rest.begin + 1, rest.end } );
            size_t next = quote + 1;
            bool ended = next >= rest.end || text_[next] == ',' || isBlank( text_[next] );
            if( ended )
                return { rest.begin + 1, quote };
        }
        Span bare = trimmed( { rest.begin, findChar( ',', rest ) } );
        // The quote then ends a string in which the value stands, not the value.
        if( bare.end - bare.begin > 1 && text_[bare.begin] != '"' && text_[bare.end - 1] == '"' )
            bare.end--;
        return bare;
    }

    // Where the quote that is not escaped stands; the end of PART when there is none.
    size_t closingQuote( Span part ) const
    {
        size_t at = part.begin;
        while( at < part.end && text_[at] != '"' )
            at += text_[at] == '\\' ? 2 : 1;
        return std::min( at, part.end );
    }

    string_view text_;
    pb::Text &result_;
    size_t copied_ = 0;
};

// What follows the name of a traced step at the start of a text, npos when it is no such text.
size_t stepValue( string_view text )
{
    constexpr string_view hashA1 = "H(A1): ";
    constexpr string_view result = "result: ";
    if( text.starts_with( hashA1 ) )
        return hashA1.size();
    // Other steps end with a result, too; only a digest is secret.
    bool digest = text.find_first_not_of( "0123456789abcdefABCDEF", result.size() ) == string_view::npos;
    return text.starts_with( result ) && digest ? result.size() : string_view::npos;
}

} // namespace

bool tr::maskHeaders( std::string_view bytes, pb::Text &result )
{
    Masker masker( bytes, result );
    masker.run();
    return masker.finish();
}

bool tr::maskText( std::string_view text, pb::Text &result )
{
    size_t value = stepValue( text );
    if( value == std::string_view::npos )
        return maskHeaders( text, result );
    Masker masker( text, result );
    masker.replace( { value, text.size() } );
    return masker.finish();
}
