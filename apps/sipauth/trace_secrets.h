// Secrets in a recorded trace.
#ifndef SIPAUTH_TRACE_SECRETS_H
#define SIPAUTH_TRACE_SECRETS_H

#include "trace_file.h"

namespace tool
{

/// Covers up what a recorder masks unless it was told not to (see tr_recorder.h), and passwords in properties and
/// configurations.
void maskSecrets( TraceLine &line );

} // namespace tool

#endif
