// A user directory as a configuration file declares it.
#ifndef SIPAUTH_USER_DIRECTORY_H
#define SIPAUTH_USER_DIRECTORY_H

#include "tool.h"

#include <cs/cs_file.h>
#include <usr/usr_directory.h>

namespace tool
{

/// See the head of the file.
class UserDirectory
{
public:
    /// Opens the directory of a name; the only one of the file when the name is empty. What keeps it from that is the
    /// caller's mistake.
    UserDirectory( const std::string &path, const std::string &name );

    usrDirectory *directory() const { return directory_; }
    const std::string &name() const { return name_; }

    /// Writes the users back to the file when that is where the directory keeps them. False with REASON when the file
    /// cannot be written.
    bool tryKeep( std::string &reason );

private:
    pb::Ref<csFile> file_;
    std::string name_;
    pb::Ref<usrDirectory> directory_;
    pb::Ref<pbStore> config_; ///< as the directory told it when it was opened
};

} // namespace tool

#endif
