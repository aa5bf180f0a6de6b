#ifndef T8SETTINGS_COMMANDLINE_H
#define T8SETTINGS_COMMANDLINE_H

#include "commands/Command.h"

namespace t8settings {

/// Does what the command line says. Throws `Failure`.
Result runCommandLine(int argc, const char* const* argv);

}  // namespace t8settings

#endif
