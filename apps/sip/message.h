// SIP messages for the programs: a value around the platform's message, with texts as UTF-8 strings.
#ifndef SIP_MESSAGE_H
#define SIP_MESSAGE_H

#include "sip/uri.h"

#include <pb/pb_ref.hh>
#include <sipsn/sipsn_message.h>

namespace sip
{

/// A pbString as UTF-8 (borrowed; "" for null), and the reverse; invalid UTF-8 becomes U+FFFD.
std::string textOf( pbString *string );
pb::Ref<pbString> stringOf( std::string_view text );

class Message
{
public:
    Message() = default; ///< none: false
    explicit Message( pb::Ref<sipsnMessage> message );
    /// Decodes; none with *WHY when it is no SIP message. LIMITS may be null.
    static Message decode( std::string_view bytes, sipsnLimits *limits, std::string *why );
    /// A request without headers; none when the method is no token, or the URI empty or with white space or controls in
    /// it.
    static Message request( std::string_view method, std::string_view uri );
    /// A response without headers; STATUS from 100 to 699. Without REASON the usual one.
    static Message response( int status, std::string_view reason = {} );
    explicit operator bool() const { return bool( message_ ); }
    sipsnMessage *get() const { return message_.get(); }
    pb::Ref<sipsnMessage> ref() const { return message_; }

    bool isRequest() const;
    std::string method() const;
    std::string uri() const;
    int status() const;
    std::string reason() const;

    /// The first line of a header, "" when there is none: its bytes, unfolded. Cheap: it looks into the message's
    /// bytes.
    std::string header( const char *name ) const;
    /// The same but still folded (with line ends in it), without a copy: valid until the message changes or goes.
    std::string_view view( const char *name ) const;
    bool has( const char *name ) const;
    /// All lines of a header, in order.
    std::vector<std::string> lines( const char *name ) const;
    /// All items of a header that is a list (Via, Contact, Route, Record-Route...): lines split at commas.
    std::vector<std::string> items( const char *name ) const;

    /// Replaces all lines of a header; an empty vector takes the header out.
    void set( const char *name, const std::vector<std::string> &lines );
    void set( const char *name, std::string_view line );
    /// Adds a line before the first one of that name, or before all headers; every other line stays as it is.
    void prepend( const char *name, std::string_view line );
    /// Adds a line after the last one of that name, or after all headers.
    void append( const char *name, std::string_view line );
    /// Replaces the first item of a list, as the top Via; the other items stay. Nothing when there is none.
    void setFirstItem( const char *name, std::string_view item );
    /// Takes the first item of a list out.
    void removeFirstItem( const char *name );
    void remove( const char *name );
    std::string body() const;
    /// With Content-Length; an empty body takes Content-Type out.
    void setBody( std::string_view body, std::string_view contentType );
    /// The same message with another Request-URI; none when that is empty or has white space or controls in it.
    Message withUri( std::string_view uri ) const;

    std::string encode() const;

private:
    void replaceFirstItem( const char *name, std::string_view item );

    pb::Ref<sipsnMessage> message_;
};

/// The number and the method of a CSeq value.
struct Cseq
{
    uint32_t number = 0;
    std::string method;
    static std::optional<Cseq> parse( std::string_view value );
};

/// A header line: its name and its value.
using Header = std::pair<std::string, std::string>;

/// What is wrong with a request that every SIP element must refuse with 400 (RFC 3261 section 8.1.1): To, From,
/// Call-ID, CSeq, Via missing, repeated or unreadable, CSeq of another method, Max-Forwards no number from 0 to 255, a
/// Content-Length that is not the body's; "" when nothing is.
std::string problemOf( const Message &request );
/// A response to a request (RFC 3261 section 8.2.6): Via, From, To (with a tag, made when missing, but for 100),
/// Call-ID, CSeq, then MORE, then Content-Length: 0.
Message respond( const Message &request, int status, std::string_view reason = {},
                 const std::vector<Header> &more = {} );
/// Whether the value of a To or From has a tag.
bool hasTag( std::string_view value );
/// Writes received and rport into the top Via of a request that came from an address (RFC 3261 section 18.2.1, RFC
/// 3581).
void addReceived( Message &request, const std::string &host, uint16_t port );
/// A new random token, 16 hexadecimal digits, for tags, branches and Call-IDs.
std::string newToken();

} // namespace sip

#endif
