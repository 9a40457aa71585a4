// The commands of the tool. Each adds itself to the application; its callback stores what the tool ends with.
#ifndef SIPAUTH_COMMANDS_H
#define SIPAUTH_COMMANDS_H

#include "tool.h"

namespace tool
{

void addParse( CLI::App &app, Exit &result );
void addAnswer( CLI::App &app, Exit &result );
void addCheck( CLI::App &app, Exit &result );
void addChallenge( CLI::App &app, Exit &result );
void addSettings( CLI::App &app, Exit &result );
void addConfig( CLI::App &app, Exit &result );
void addTrace( CLI::App &app, Exit &result );
void addUser( CLI::App &app, Exit &result );
void addRegister( CLI::App &app, Exit &result );
void addOptions( CLI::App &app, Exit &result );
void addMessage( CLI::App &app, Exit &result );
void addInvite( CLI::App &app, Exit &result );

} // namespace tool

#endif
