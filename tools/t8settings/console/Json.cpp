#include "console/Json.h"

#include <algorithm>

namespace t8settings {

namespace {

constexpr int kIndent = 2;

bool isUtf8(const std::string& bytes) {
    try {
        Json(bytes).dump();
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::string hexadecimal(const std::string& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte / 16];
        text += kDigits[byte % 16];
    }
    return text;
}

}  // namespace

void addBytes(Json& object, const std::string& key, const std::string& bytes) {
    object[key] = bytes;
    if (!isUtf8(bytes)) {
        object[key + "Bytes"] = hexadecimal(bytes);
    }
}

void addBytes(Json& object, const std::string& key, const std::vector<std::string>& list) {
    object[key] = list;
    if (!std::all_of(list.begin(), list.end(), isUtf8)) {
        Json& exact = object[key + "Bytes"] = Json::array();
        for (const std::string& bytes : list) {
            exact.push_back(hexadecimal(bytes));
        }
    }
}

std::string textOfJson(const Json& json) {
    return json.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string lineOfJson(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace t8settings
