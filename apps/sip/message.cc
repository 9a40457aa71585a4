// SIP messages for the programs.
#include "sip/message.h"
