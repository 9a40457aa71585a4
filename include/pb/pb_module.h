// Modules: the runtime and every library on it start up and shut down as modules. A host starts the module that it
// uses; the modules that it needs are started before it.
#ifndef PB_PB_MODULE_H
#define PB_PB_MODULE_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// Starts a module and, before it, the modules that it needs. Starts are counted: only the first one does the work.
/// 1 when the module runs; 0 when its start-up or that of a needed module failed, and then nothing is left started.
/// Not to be called at the same time from several threads.
PB_EXPORT pbBool pbModuleStart( const pbModule *module );
/// Ends one start of a module; the last one shuts the module down and then the modules that it needed. Aborts when the
/// module is not started.
PB_EXPORT void pbModuleStop( const pbModule *module );
/// The module's name, for example "sipauth": static C text.
PB_EXPORT const char *pbModuleName( const pbModule *module );
/// The module's title, for example "SIP Authentication": static C text.
PB_EXPORT const char *pbModuleTitle( const pbModule *module );
/// The module's version, for example "4.2": static C text.
PB_EXPORT const char *pbModuleVersionText( const pbModule *module );
/// The names of the modules that it needs, separated by one space: static C text.
PB_EXPORT const char *pbModuleNeeds( const pbModule *module );
/// The base runtime itself.
PB_EXPORT const pbModule *pbBaseModule( void );

PB_END_DECLS

#endif
