// What a module is made of: a static record that each module's own file defines.
#ifndef PB_PB_MODULE_PRIVATE_H
#define PB_PB_MODULE_PRIVATE_H

#include <pb/pb_module.h>

/// The facts about a module.
struct pb___ModuleRecord
{
    const char *name;
    const char *title;
    const char *version;
    const char *needs; ///< names of the modules that it needs, in alphabetical order, separated by a space
};

/// A module: its record, the modules that it needs as far as they have something to start, and what runs at the first
/// start and the last stop. Start-up returns 0 to refuse.
struct pbModule
{
    const pb___ModuleRecord *record;
    const pbModule *( *const *needs )(); ///< ended by null; null for none
    pbBool ( *startup )();               ///< null: nothing to do
    void ( *shutdown )();                ///< null: nothing to do
    int64_t *starts;                     ///< the count of starts, 0 at first
};

#endif
