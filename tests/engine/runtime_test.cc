// The library's scheduler inside the engine's thread.
#include "engine/runtime.h"

#include "rig.h"

#include <pb/pb_process.h>
#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>
