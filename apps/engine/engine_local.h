// From which address of ours packets to some other one leave, as the system's routes say.
#ifndef ENGINE_ENGINE_LOCAL_H
#define ENGINE_ENGINE_LOCAL_H

#include "engine/address.h"

#include <map>

namespace engine
{

class LocalAddresses
{
public:
    /// Our address towards another one, port 0; that one's unspecified address when there is no route. Answers are kept
    /// for half a minute.
    Address towards( const Address &remote, int64_t now );

private:
    struct Known
    {
        Address local;
        int64_t until = 0;
    };
    std::map<std::array<uint8_t, 16>, Known> known_;
};

} // namespace engine

#endif
