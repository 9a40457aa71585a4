// Lines of credentials and of challenges (RFC 9110 section 11): "scheme name=value, ...", several of them in one line.
// The reader takes more than the library does, for the sake of peers that are on the network, and keeps the bytes of
// each value, quoted pairs included, since values enter the hash as they stand; what is written out can be read by the
// library.
#ifndef HOST_HOST_AUTH_LINE_PRIVATE_H
#define HOST_HOST_AUTH_LINE_PRIVATE_H

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>

#include <array>
#include <forward_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace host
{

/// A parameter that has a meaning here.
enum class AuthName : uint8_t
{
    username,
    realm,
    nonce,
    uri,
    response,
    algorithm,
    cnonce,
    opaque,
    qop,
    nc,
    stale,
    domain,
    other
};

/// A parameter: its name and its value as they stand in the line, the value without its quotes. Nothing is set at
/// first, so that room for many of them costs nothing.
struct AuthParameter
{
    std::string_view name() const { return { nameBytes, nameLength }; }
    std::string_view value() const { return { valueBytes, valueLength }; }
    void setName( std::string_view text )
    {
        nameBytes = text.data();
        nameLength = text.size();
    }
    void setValue( std::string_view text )
    {
        valueBytes = text.data();
        valueLength = text.size();
    }

    const char *nameBytes;
    size_t nameLength;
    const char *valueBytes;
    size_t valueLength;
    AuthName known;
    bool quoted;
    bool escaped; ///< the value holds quoted pairs
    bool dropped; ///< is not written out
};
static_assert( std::is_trivially_default_constructible_v<AuthParameter> );

/// The schemes that have a meaning here.
enum class AuthScheme : uint8_t
{
    basic,
    digest,
    other
};

/// Credentials or a challenge: one item of a line. Its texts lie in the line, or wherever a changed value was taken
/// from, and must outlive it.
class AuthItem
{
public:
    AuthScheme scheme() const { return scheme_; }
    /// What stands behind the scheme in place of parameters; empty for none.
    std::string_view token68() const { return token68_; }
    /// Whether it could be read to its end.
    bool malformed() const { return malformed_; }
    /// Whether it has to be written anew: it was changed, or the library cannot read its form.
    bool changed() const { return changed_; }

    /// A parameter, the last one of the name; null when it has none.
    const AuthParameter *find( AuthName name ) const;
    /// Whether it has the parameter, and it is not empty.
    bool has( AuthName name ) const;
    /// Whether it has the parameter with this text as its value.
    bool is( AuthName name, pbString *text ) const;
    /// The value of a parameter without its escapes, a new string; null when it has none.
    pb::Ref<pbString> text( AuthName name ) const;

    /// Takes a parameter out.
    void drop( AuthName name );
    /// Gives a parameter another value, without quoted pairs; it comes last when it is new.
    void set( AuthName name, std::string_view value, bool quoted );

    /// The item written anew, a line of its own.
    pb::Ref<pbString> toString() const;

private:
    friend class AuthReader;
    static constexpr size_t maxParameters = 32;

    AuthParameter *lookUp( AuthName name );
    bool add( const AuthParameter &parameter );

    std::string_view schemeName_;
    std::string_view token68_;
    AuthScheme scheme_ = AuthScheme::other;
    bool malformed_ = false;
    bool changed_ = false;
    uint8_t count_ = 0;
    std::array<AuthParameter, maxParameters> parameters_; // the first count_ are there
};

/// Reads the items of one line, in time proportional to its length.
class AuthReader
{
public:
    explicit AuthReader( std::string_view line ) : line_( line ) {}

    /// Whether there is one more item.
    bool atItem();
    /// Reads the next item into ITEM, which is new.
    void read( AuthItem &item );

private:
    bool atEnd() const { return offset_ == line_.size(); }
    bool at( char ch ) const { return !atEnd() && line_[offset_] == ch; }
    size_t skipWhite();
    bool skipComma();
    bool skipCommas();
    std::string_view takeToken();
    std::string_view takeToken68();
    bool takeValue( AuthParameter &parameter );
    void skipPlain();
    bool takeQuoted( AuthParameter &parameter );
    bool takeParameter( AuthItem &item );
    bool takeParameters( AuthItem &item );
    bool atScheme();
    void skipToItem();

    std::string_view line_;
    size_t offset_ = 0;
    bool odd_ = false; ///< what the library would not take stands before the item
};

/// The bytes of a string as UTF-8, for as long as this and the string live.
class Utf8
{
public:
    explicit Utf8( pbString *string );
    ~Utf8() { pbMemFree( block_ ); }
    Utf8( Utf8 &&other ) noexcept : view_( other.view_ ), block_( std::exchange( other.block_, nullptr ) ) {}
    Utf8( const Utf8 & ) = delete;
    Utf8 &operator=( const Utf8 & ) = delete;

    std::string_view view() const { return view_; }

private:
    std::string_view view_;
    uint8_t *block_ = nullptr;
};

/// Whether two texts are the same but for the letter case of 'A' to 'Z'.
bool equalsFolded( std::string_view a, std::string_view b );
/// Whether a text is a token (RFC 3261 section 25.1, without the characters that only SIP allows).
bool isToken( std::string_view text );

} // namespace host

#endif
