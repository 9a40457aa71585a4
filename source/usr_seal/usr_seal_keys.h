// The keys of one directory: seals the passwords of its users and opens them again. Any thread.
#ifndef USR_SEAL_USR_SEAL_KEYS_H
#define USR_SEAL_USR_SEAL_KEYS_H

#include "usr_seal/usr_seal_key_file.h"
#include "usr_seal/usr_seal_row.h"

#include <mutex>

namespace usr_seal
{

/// See the head of the file. A key file is read again when it has changed: before each sealing, and when a row names a
/// key that is not known yet.
class Keys
{
public:
    explicit Keys( std::string path ) : path_( std::move( path ) ) {}

    /// Reads the file. A missing one is no failure yet: it is made when the first password is sealed.
    bool load( std::string &reason );
    /// Seals a password into a row whose other fields are set. Without a key file, one is made when ANY_SEALED is
    /// false; else it has been lost, and this fails, since with a new key the old passwords would be lost, too.
    bool seal( Row &row, const Secret &password, bool anySealed, std::string &reason );
    /// Whether sealing finds a key file, so that a driver need not look for sealed passwords first.
    bool fileThere() const;
    /// Opens the password of a row; false with REASON when its key is unknown or the row was changed.
    bool open( const Row &row, Secret &password, std::string &reason );

private:
    bool reload( std::string &reason );
    const Key *find( int64_t id ) const;

    std::string path_;
    std::mutex mutex_;
    std::vector<Key> keys_;
    FileStamp stamp_;
};

} // namespace usr_seal

#endif
