// What the tests of Digest authentication share: short ways to the values that they work on, and a recorder.
#ifndef SIPAUTH_DIGEST_DIGEST_SUPPORT_H
#define SIPAUTH_DIGEST_DIGEST_SUPPORT_H

#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_digest_state.h>
#include <tr/tr_recorder.h>

#include <optional>
#include <string>
#include <vector>

namespace digest
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

inline pb::Ref<sipsnMessage> request( const char *method, const char *iri,
                                      std::optional<std::string> body = std::nullopt )
{
    auto message = own( sipsnMessageCreateRequest( string( method ), string( iri ) ) );
    if( body )
        sipsnMessageSetBody( message.inout(), support::buffer( *body ) );
    return message;
}

inline pb::Ref<sipauthCredentials> credentials( const char *userName, const char *password )
{
    auto cred = own( sipauthCredentialsCreate() );
    if( userName )
        sipauthCredentialsSetUserName( cred.inout(), string( userName ) );
    if( password )
        sipauthCredentialsSetPassword( cred.inout(), string( password ) );
    return cred;
}

/// Which qualities of protection a state offers.
struct Offer
{
    pbBool authInt = 0;
    pbBool auth = 0;
};

inline constexpr Offer none = { 0, 0 };
inline constexpr Offer auth = { 0, 1 };
inline constexpr Offer authInt = { 1, 0 };
inline constexpr Offer both = { 1, 1 };

inline pb::Ref<sipauthDigestState> state( int64_t algorithm, Offer offer, const char *realm = "example.org",
                                          const char *nonce = "nonce", const char *opaque = nullptr )
{
    auto options = own( sipauthOptionsCreate() );
    auto opaqueText = opaque ? string( opaque ) : nullptr;
    return own( sipauthDigestStateCreate( options, algorithm, offer.authInt, offer.auth, string( realm ),
                                          string( nonce ), opaqueText ) );
}

/// Records the streams that are created in its lifetime, secrets included.
class Recording
{
public:
    Recording() : recorder_( own( trRecorderCreateMemory() ) )
    {
        trRecorderSetSecrets( recorder_, 1 );
        trSetRecorder( recorder_ );
    }
    ~Recording() { trSetRecorder( nullptr ); }
    Recording( const Recording & ) = delete;
    Recording &operator=( const Recording & ) = delete;

    /// The texts that the streams of one name wrote, in order.
    std::vector<std::string> texts( const char *streamName ) const
    {
        auto vec = own( trRecorderTextsCstr( recorder_, streamName, -1 ) );
        std::vector<std::string> result;
        for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
            result.push_back( text( pbStringFrom( own( pbVectorObjAt( vec, index ) ) ) ) );
        return result;
    }

    /// The lines of one kind that the streams of one name wrote, in order.
    std::vector<pb::Ref<trLine>> lines( int64_t kind, const char *streamName ) const
    {
        std::vector<pb::Ref<trLine>> result;
        for( int64_t index = 0; index < trRecorderLinesLength( recorder_ ); index++ )
        {
            auto line = own( trRecorderLineAt( recorder_, index ) );
            if( trLineKind( line ) == kind && textOf( trLineStreamName( line ) ) == streamName )
                result.push_back( line );
        }
        return result;
    }

    /// Whether a stream of the name was marked notable.
    bool notable( const char *streamName ) const { return !lines( TR_LINE_KIND_NOTABLE, streamName ).empty(); }

private:
    pb::Ref<trRecorder> recorder_;
};

} // namespace digest

#endif
