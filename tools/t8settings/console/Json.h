#ifndef T8SETTINGS_JSON_H
#define T8SETTINGS_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace t8settings {

/// Members keep the order in which they were added.
using Json = nlohmann::ordered_json;

/// Adds `bytes` under `key`. JSON is UTF-8 and settings are bytes: what is not UTF-8 is replaced by
/// U+FFFD there, and the exact bytes come in hexadecimal under `key` + "Bytes".
void addBytes(Json& object, const std::string& key, const std::string& bytes);

/// The same for a list of strings; under `key` + "Bytes" come all of them when one is not UTF-8.
void addBytes(Json& object, const std::string& key, const std::vector<std::string>& list);

/// The JSON text, with a line feed at its end; valid UTF-8 whatever the strings in it hold.
std::string textOfJson(const Json& json);

/// The same as one line.
std::string lineOfJson(const Json& json);

}  // namespace t8settings

#endif
