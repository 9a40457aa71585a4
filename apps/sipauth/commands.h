// The commands of the tool. Each adds itself to the application; its callback stores what the tool ends with.
#ifndef SIPAUTH_COMMANDS_H
#define SIPAUTH_COMMANDS_H

#include "tool.h"

namespace tool
{

void addParse( Command app, Exit &result );
void addAnswer( Command app, Exit &result );
void addCheck( Command app, Exit &result );
void addChallenge( Command app, Exit &result );
void addSettings( Command app, Exit &result );
void addConfig( Command app, Exit &result );
void addTrace( Command app, Exit &result );
void addUser( Command app, Exit &result );
void addRegister( Command app, Exit &result );
void addOptions( Command app, Exit &result );
void addMessage( Command app, Exit &result );
void addInvite( Command app, Exit &result );

} // namespace tool

#endif
