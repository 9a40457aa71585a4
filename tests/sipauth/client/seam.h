// A seam where the tests of client co-transactions have a function of another module or file give an answer that it
// never gives by itself, so that they reach every line of the state machine. tests/sipauth/CMakeLists.txt names the
// functions to the linker.
#ifndef SIPAUTH_CLIENT_SEAM_H
#define SIPAUTH_CLIENT_SEAM_H

namespace client
{

/// As long as one of these lives, what it says is so.
class Seam
{
public:
    enum What
    {
        LookupPending,        ///< lookups of users by reference have not ended; those of directories always have
        LookupEmpty,          ///< they have ended without a user, which they never do
        DigestUserNameRefused ///< user names do not fit Digest, though by now all do
    };
    explicit Seam( What what );
    ~Seam();
    Seam( const Seam & ) = delete;
    Seam &operator=( const Seam & ) = delete;
};

} // namespace client

#endif
