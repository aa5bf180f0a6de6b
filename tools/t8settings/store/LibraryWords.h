#ifndef T8SETTINGS_LIBRARYWORDS_H
#define T8SETTINGS_LIBRARYWORDS_H

#include <string>

namespace t8settings {

/// A message of the library, which is written for programmers and for processes that go on, in the
/// words of this program; as it is when it is none of those that need it.
std::string inPlainWords(const std::string& message);

}  // namespace t8settings

#endif
