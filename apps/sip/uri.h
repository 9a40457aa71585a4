// SIP URIs, addresses with display names, and Via values (RFC 3261 sections 19.1, 20.10 and 20.42), as the programs use
// them: parsed leniently from what the network sends, and put together again.
#ifndef SIP_URI_H
#define SIP_URI_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sip
{

/// Parameters in their order: ";name=value", ";name". Names are compared without letter case.
class Parameters
{
public:
    static Parameters parse( std::string_view text );       ///< ";a=b;c", or "" for none
    const std::string *find( std::string_view name ) const; ///< null when there is none; "" when it has no value
    bool has( std::string_view name ) const { return find( name ) != nullptr; }
    void set( std::string_view name, std::string_view value ); ///< an empty value: the name alone
    void remove( std::string_view name );
    std::string text() const;
    const std::vector<std::pair<std::string, std::string>> &items() const { return items_; }

private:
    std::vector<std::pair<std::string, std::string>> items_;
};

struct Uri
{
    std::string scheme; ///< "sip", "sips", "tel", in lower case
    std::string user;   ///< as it stands, escapes kept; with a password when there is one ("user:password")
    std::string host;   ///< in lower case; IPv6 in brackets
    uint16_t port = 0;  ///< 0 for none
    Parameters parameters;
    std::string headers; ///< what follows '?', without it

    /// None for what is no URI, has white space, controls, quotes or angle brackets in it, a second '@', or more than
    /// 64 parameters. A tel URI has its number as user and no host; of other schemes than these three all is in user.
    static std::optional<Uri> parse( std::string_view text );
    std::string text() const;
    bool isSip() const { return scheme == "sip" || scheme == "sips"; }
    /// The user with its escapes decoded, without password.
    std::string userName() const;
    /// "sip:user@host" with port when there is one: the address of record that it names (RFC 3261 section 10.3 step 5);
    /// escapes that are not needed are decoded, the host is in lower case, sips counts as sip.
    std::string addressOfRecord() const;
};

/// Whether two URIs are equal (RFC 3261 section 19.1.4).
bool equivalent( const Uri &a, const Uri &b );

struct NameAddress
{
    std::string display; ///< as it stands, quotes kept
    std::string uriText; ///< as it stands, without brackets; when empty, the text is made from the URI
    Uri uri;
    Parameters parameters; ///< those of the header, such as tag

    static std::optional<NameAddress> parse( std::string_view text );
    std::string text() const; ///< always with brackets
};

struct Via
{
    std::string transport; ///< "UDP"
    std::string host;      ///< as it stands; IPv6 in brackets
    uint16_t port = 0;
    Parameters parameters;

    static std::optional<Via> parse( std::string_view text );
    std::string text() const;
    std::string branch() const;
};

/// Splits a header value at its top-level commas (not in quotes or angle brackets), trimmed, without empty items.
std::vector<std::string_view> splitList( std::string_view value );
/// Whether two texts are equal but for letter case (ASCII).
bool equalIgnoringCase( std::string_view a, std::string_view b );
/// The text with 'A' to 'Z' in lower case.
std::string lowerCase( std::string_view text );
/// The text without blanks, tabs and line ends around it.
std::string_view trimmed( std::string_view text );
/// A text of decimal digits and nothing else as a number of at most MAXIMUM; none for any other.
std::optional<uint64_t> numberOf( std::string_view digits, uint64_t maximum );

} // namespace sip

#endif
