// Reads the keys of a directory's configuration that belong to its driver.
#ifndef USR_SEAL_USR_SEAL_CONFIG_H
#define USR_SEAL_USR_SEAL_CONFIG_H

#include <pb/pb_store.h>

#include <string>
#include <vector>

namespace usr_seal
{

/// Reads values one after the other and keeps the first failure.
class Config
{
public:
    explicit Config( pbStore *config ) : config_( config ) {}

    /// The text under a key; FALLBACK without it, a failure when that is null.
    std::string text( const char *key, const char *fallback );
    /// The integer under a key, which lies between LOW and HIGH.
    int64_t integer( const char *key, int64_t fallback, int64_t low, int64_t high );

    /// A key that nobody has asked for is a failure: a name that was misspelt would do nothing otherwise.
    void end();

    bool good() const { return reason_.empty(); }
    const std::string &reason() const { return reason_; }

private:
    void fail( const char *key, const std::string &what );

    pbStore *config_;
    std::vector<const char *> known_;
    std::string reason_;
};

} // namespace usr_seal

#endif
