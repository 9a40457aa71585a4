// What changes while a soak is under way: the configuration of the directory and the stack, and the stack's options.
#ifndef SOAK_CHANGES_H
#define SOAK_CHANGES_H

#include "outcomes.h"

#include <cs/cs_configuration.h>
#include <pb/pb_ref.hh>

#include <random>
#include <string>

namespace soak
{

/// The configuration with the directory "users" and the stack "registrar", from a file in a folder of its own.
class Changes
{
public:
    Changes( uint64_t seed, Outcomes &outcomes );
    ~Changes();
    Changes( const Changes & ) = delete;
    Changes &operator=( const Changes & ) = delete;

    /// One change or another.
    void change();

private:
    void writeFile( const std::string &text );
    std::string fileText();
    void setOptions();
    void reload();
    void reloadBroken();
    void record();

    Outcomes &outcomes_;
    std::mt19937_64 random_;
    std::string folder_;
    pb::Ref<csConfiguration> configuration_;
};

} // namespace soak

#endif
