// The interactive shell: line editing, history and tab completion of
// commands and function names.
#pragma once

#include "session.h"

namespace dmsim {

// Reads commands from the terminal until quit or end of input; failed
// commands are reported and the session goes on. Returns the exit status.
int run_shell(Session &s);

}  // namespace dmsim
