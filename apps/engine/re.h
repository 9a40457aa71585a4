// The headers of the stack, which are C and older than our warnings. Only for the .cc files of the engine.
#ifndef ENGINE_RE_H
#define ENGINE_RE_H

#include <sys/socket.h>
#include <sys/types.h>

#include <netinet/in.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wall"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wpedantic"
#define DEBUG_MODULE "engine"
#define DEBUG_LEVEL 0
extern "C"
{
#include <re.h>
#include <re_dbg.h>
}
#undef DEBUG_MODULE
#undef DEBUG_LEVEL
#pragma GCC diagnostic pop

#endif
