// The story of a world: one line for each event, folded into a hash, printed on request. Two runs of one seed tell the
// same story.
#ifndef SIMULATION_STORY_H
#define SIMULATION_STORY_H

#include <cstdint>
#include <string>
#include <string_view>

namespace simulation
{

class Story
{
public:
    explicit Story( bool print ) : print_( print ) {}

    /// Adds an event. The text is a format of printf.
    [[gnu::format( printf, 3, 4 )]] void tell( int64_t time, const char *format, ... );
    /// Adds the bytes of a message to the hash; prints them indented.
    void show( std::string_view bytes );

    uint64_t hash() const { return hash_; }
    int64_t events() const { return events_; }
    bool prints() const { return print_; }

private:
    void fold( std::string_view bytes );

    bool print_;
    int64_t events_ = 0;
    uint64_t hash_ = 0xCBF29CE484222325u;
};

/// A rule of the world was broken: says which, under which seed, and ends the process with status 1.
[[noreturn, gnu::format( printf, 1, 2 )]] void broken( const char *format, ... );

/// The seed that a message about a broken rule names.
void setSeed( uint64_t seed );

} // namespace simulation

#endif
