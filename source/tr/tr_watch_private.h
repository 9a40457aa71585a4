// What streams ask of the watch.
#ifndef TR_TR_WATCH_PRIVATE_H
#define TR_TR_WATCH_PRIVATE_H

#include <tr/tr_watch.h>

/// Whether there is a watch at this moment.
bool tr___WatchThere();
/// Tells the watch, if there is one, a line below an origin.
void tr___WatchTell( int64_t origin, const char *text, int64_t length );

#endif
