// The base runtime, all of it.
#ifndef PB_PB_H
#define PB_PB_H

#include <pb/pb_alert.h>
#include <pb/pb_buffer.h>
#include <pb/pb_dict.h>
#include <pb/pb_enum.h>
#include <pb/pb_flagset.h>
#include <pb/pb_int.h>
#include <pb/pb_module.h>
#include <pb/pb_module_version.h>
#include <pb/pb_monitor.h>
#include <pb/pb_obj.h>
#include <pb/pb_priority_map.h>
#include <pb/pb_process.h>
#include <pb/pb_random.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_signal.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>
#include <pb/pb_vector.h>

#endif
