#ifndef T8SETTINGS_QUESTION_H
#define T8SETTINGS_QUESTION_H

#include <string>

namespace t8settings {

/// Whether somebody is there to be asked.
bool canAsk();

/// Asks a question that is answered by a line on standard input. Unless that is "y" or "yes", in
/// any letter case, throws `Failure` with `otherwise`, such as "nothing was changed"; a signal that
/// ends the process does so when that was told.
void demandYes(const std::string& question, const std::string& otherwise);

}  // namespace t8settings

#endif
