// The file with the keys that passwords are sealed with: text, a line for each key with its number and its 32 bytes in
// base 64, lines with '#' in front for the reader. The last key seals, each one opens; so appending a line rotates.
// Nobody but its owner may read the file.
#ifndef USR_SEAL_USR_SEAL_KEY_FILE_H
#define USR_SEAL_USR_SEAL_KEY_FILE_H

#include "usr_seal/usr_seal_secret.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace usr_seal
{

/// The length of a key in bytes: AES-256.
inline constexpr size_t keyLength = 32;

/// A key under its number.
struct Key
{
    int64_t id;
    Secret bytes;
};

/// What tells one state of a file from another without reading it.
struct FileStamp
{
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;
    timespec changed{};

    bool operator==( const FileStamp &other ) const
    {
        return device == other.device && inode == other.inode && size == other.size &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

enum class KeyFile
{
    ready,
    missing,
    bad
};

/// Reads a key file. With `ready`, KEYS holds at least one key and STAMP tells the file's state; else REASON says what
/// is wrong.
KeyFile readKeyFile( const std::string &path, std::vector<Key> &keys, FileStamp &stamp, std::string &reason );
/// The state of a key file, without reading it; all zero when there is none.
FileStamp stampOfKeyFile( const std::string &path );
/// Makes a key file with one new key, on stable storage when this returns. A file that is there already stays as it
/// is, which is no failure: another process may have been faster. False with REASON when it cannot be made.
bool makeKeyFile( const std::string &path, std::string &reason );

} // namespace usr_seal

#endif
