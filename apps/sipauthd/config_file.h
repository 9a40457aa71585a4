// The configuration file as a whole: what its objects mean together. It is looked at before it is loaded, so that a
// file that is refused changes nothing.
#ifndef SIPAUTHD_CONFIG_FILE_H
#define SIPAUTHD_CONFIG_FILE_H

#include "sipauthd/config.h"

#include <cs/cs_configuration.h>
#include <sipauth/sipauth_stack.h>

#include <map>

namespace sipauthd
{

/// What a file says.
struct ConfigFile
{
    std::string path;
    std::string object; ///< the name of the daemon's object
    Config config;
    pb::Ref<sipauthOptions> options;  ///< of the stack that the daemon uses
    std::string directory;            ///< the name of the user directory of that stack
    pb::Ref<pbStore> directoryConfig; ///< its configuration
    bool migrated = false;            ///< of an earlier version: rewritten when it is loaded
};

/// Reads a file and checks everything in it. Throws ConfigError with "path:line: what". The sort SIPAUTHD must be
/// known.
ConfigFile inspectFile( const std::string &path );

/// A loaded file: its objects live until this ends.
class LoadedFile
{
public:
    /// Loads a file. Throws ConfigError as inspectFile.
    explicit LoadedFile( const std::string &path );
    ~LoadedFile();
    LoadedFile( const LoadedFile & ) = delete;
    LoadedFile &operator=( const LoadedFile & ) = delete;

    /// Loads it again. Throws ConfigError when it is refused; then nothing has changed.
    void reload();
    /// What it says now, with the realm of STACK, or of the stack that it names when STACK is null.
    Config config( sipauthStack *stack = nullptr ) const;
    /// The stack that it names.
    pb::Ref<sipauthStack> stack() const;

private:
    const Config &stored() const;

    std::string path_;
    std::string object_;
    pb::Ref<csConfiguration> configuration_;
};

} // namespace sipauthd

#endif
