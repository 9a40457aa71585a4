// A seam at the lookups of users by reference: a test may have them not end, or end without a user, which the
// directories of this platform never do.
#ifndef SIPAUTH_CLIENT_LOOKUP_SEAM_H
#define SIPAUTH_CLIENT_LOOKUP_SEAM_H

namespace client
{

/// What lookups do as long as one of these lives.
class LookupSeam
{
public:
    enum What
    {
        Pending, ///< have not ended
        Empty    ///< have ended without a user
    };
    explicit LookupSeam( What what );
    ~LookupSeam();
    LookupSeam( const LookupSeam & ) = delete;
    LookupSeam &operator=( const LookupSeam & ) = delete;
};

} // namespace client

#endif
