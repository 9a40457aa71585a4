// The steps of the library's check of Digest credentials, told apart by what it traces.
#include "check_steps.h"

#include <tr/tr_recorder.h>

#include <iterator>

namespace tool
{

namespace
{

// The texts that the library's check writes when a step fails, in the order of its steps.
struct KnownStep
{
    const char *name;
    const char *failures[2];
};

constexpr KnownStep knownSteps[] = {
    { "scheme is Digest", { "sipauthAuthorizationScheme() != SIPAUTH_SCHEME_DIGEST", nullptr } },
    { "algorithm is the challenge's",
      { "sipauth___DigestAlgorithmTryDecode(): SIPAUTH_DIGEST_ALGORITHM_INVALID", "Digest algorithm mismatch." } },
    { "qop is one that was offered",
      { "sipauth___DigestQopTryDecode(): SIPAUTH_DIGEST_QOP_INVALID", "Digest qop mismatch." } },
    { "realm is the challenge's", { "Digest realm mismatch.", nullptr } },
    { "nonce is the challenge's", { "Digest nonce mismatch.", nullptr } },
    { "opaque is the challenge's", { "Digest opaque mismatch.", nullptr } },
    { "nonce count is the expected one", { "Digest nonce count mismatch.", nullptr } },
    { "response can be computed", { "sipauthDigestStateTryComputeResponse(): null", nullptr } },
    { "response is the computed one", { "Digest response mismatch.", nullptr } },
};
static_assert( std::size( knownSteps ) == 9 );

// Records what the library traces while it lives, secrets included: they stay within this process.
class Trace
{
public:
    Trace() : recorder_( pb::own( trRecorderCreateMemory() ) )
    {
        trRecorderSetSecrets( recorder_, 1 );
        trSetRecorder( recorder_ );
    }
    ~Trace() { trSetRecorder( nullptr ); }
    Trace( const Trace & ) = delete;
    Trace &operator=( const Trace & ) = delete;

    std::vector<std::string> texts( const char *stream ) const
    {
        auto vec = pb::own( trRecorderTextsCstr( recorder_, stream, -1 ) );
        std::vector<std::string> texts;
        for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
            texts.push_back( pb::text( pbStringFrom( pb::own( pbVectorObjAt( vec, index ) ) ) ) );
        return texts;
    }

private:
    pb::Ref<trRecorder> recorder_;
};

size_t failedStep( const std::vector<std::string> &texts )
{
    for( size_t index = 0; index < std::size( knownSteps ); index++ )
        for( const char *failure : knownSteps[index].failures )
            for( const std::string &text : texts )
                if( failure && text == failure )
                    return index;
    return std::size( knownSteps );
}

} // namespace

void runCheck( Verdict &verdict, sipauthDigestState *state, sipsnMessage *request, sipauthCredentials *credentials,
               sipauthAuthorization *authorization )
{
    Trace trace;
    bool passed = sipauthDigestStateCheckAuthorization( state, request, credentials, authorization, nullptr );
    verdict.secrets = trace.texts( "sipauthDigestStateTryComputeResponse()" );
    std::vector<std::string> failures = trace.texts( "sipauthDigestStateCheckAuthorization()" );
    size_t failed = passed ? std::size( knownSteps ) : failedStep( failures );
    for( size_t index = 0; index < std::size( knownSteps ); index++ )
        verdict.steps.push_back( { knownSteps[index].name,
                                   index < failed    ? "pass"
                                   : index == failed ? "fail"
                                                     : "not reached",
                                   index == failed && !failures.empty() ? failures.front() : "" } );
}

} // namespace tool
