// Options of the library in a TOML file: reading them, and saying what is wrong in them.
#ifndef SIPAUTH_OPTIONS_FILE_H
#define SIPAUTH_OPTIONS_FILE_H

#include "toml_store.h"

#include <sipauth/sipauth_options.h>

namespace tool
{

/// What an options file gives.
struct OptionsFile
{
    pb::Ref<sipauthOptions> options;
    std::vector<Finding> findings; ///< what the file says and the library ignores
};

/// What a store of options says and the library ignores. LINES tells where its keys stand, each with PREFIX in front.
std::vector<Finding> checkOptions( pbStore *options, const std::map<std::string, int64_t> &lines,
                                   const std::string &prefix, const std::string &file );

/// Reads options from a file ("-" for standard input).
OptionsFile readOptionsFile( const std::string &path );

/// Options for a command: those of the file, whose findings are noted, or for an empty path those of FALLBACK (one of
/// SIPAUTH_DEFAULTS).
pb::Ref<sipauthOptions> optionsFor( const std::string &path, int64_t fallback );

} // namespace tool

#endif
