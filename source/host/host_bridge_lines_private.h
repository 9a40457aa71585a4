// The credentials or challenges of a message: read from the lines of a header, looked at, changed, and put back. What
// both roles of the wire bridge work with.
#ifndef HOST_HOST_BRIDGE_LINES_PRIVATE_H
#define HOST_HOST_BRIDGE_LINES_PRIVATE_H

#include "host/host_auth_line_private.h"

#include <host/host_settings.h>
#include <sipsn/sipsn_message.h>

namespace host
{

/// The names of the headers; PROXY as in host_bridge.h.
const char *credentialsHeader( pbBool proxy );
const char *challengesHeader( pbBool proxy );

/// How much is read of a header; no limit when none is given.
struct AuthLimits
{
    size_t items = SIZE_MAX;
    size_t lineBytes = SIZE_MAX;

    AuthLimits() = default;
    explicit AuthLimits( hostSettings *settings );
};

/// The items of all lines of one header.
class AuthLines
{
public:
    AuthLines( sipsnMessage *message, const char *headerName, const AuthLimits &limits = {} );

    std::vector<AuthItem> &items() { return items_; }
    /// Items and lines that exceed the limits.
    int64_t refused() const { return refused_; }

    /// A text that lives as long as this, for AuthItem::set.
    std::string_view keep( std::string text ) { return kept_.emplace_front( std::move( text ) ); }

    /// Makes CHOSEN, some of the items, the lines of the header in MESSAGE, each on its own; removes the header when
    /// there are none. Leaves the message as it is when it has just these lines already.
    void store( sipsnMessage **message, const std::vector<const AuthItem *> &chosen ) const;

private:
    void read( pbString *line, const AuthLimits &limits );
    bool unchanged( const std::vector<const AuthItem *> &chosen ) const;

    const char *name_;
    pb::Ref<sipsnMessageHeader> header_;
    std::vector<Utf8> texts_;
    std::vector<AuthItem> items_;
    std::forward_list<std::string> kept_;
    int64_t refused_ = 0;
    bool asReceived_ = true; ///< each item is all that stands on its line, and all lines were read
};

} // namespace host

#endif
