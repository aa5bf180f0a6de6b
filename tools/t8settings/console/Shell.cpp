#include "console/Shell.h"

#include <algorithm>
#include <string_view>

#include "console/Terminal.h"

namespace t8settings {

namespace {

SaidOptions& saidOptions() {
    static SaidOptions options;
    return options;
}

bool isLikeAnOption(const std::string& text) {
    return !text.empty() && text.front() == '-';
}

/// For bytes that a message does not show as they are; the escapes are those of the messages.
std::string inEscapes(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        escaped += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return "$'" + legible(escaped) + "'";
}

}  // namespace

bool isPlainInShell(char c) {
    constexpr std::string_view kPlain = "_./:=@%+,-";
    const bool isAlphanumeric =
        (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    // A byte of 128 and above is a part of a letter; the shell has no use for it.
    return isAlphanumeric || static_cast<unsigned char>(c) >= 0x80 ||
           kPlain.find(c) != std::string_view::npos;
}

std::string shellWord(const std::string& text) {
    if (!isLegible(text)) {
        return inEscapes(text);
    }
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlainInShell)) {
        return text;
    }
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

std::string shellArgument(const std::string& text) {
    return (isLikeAnOption(text) ? "-- " : "") + shellWord(text);
}

std::string shellPath(const std::string& path) {
    return (isLikeAnOption(path) ? "./" : "") + shellWord(path);
}

void rememberOptions(const SaidOptions& options) {
    saidOptions() = options;
}

std::string commandOn(const std::string& command, const std::string& path) {
    return "t8settings " + saidOptions().marker + command + " " + shellPath(path);
}

std::string commandOnStore(const std::string& command) {
    return "t8settings " + saidOptions().location + saidOptions().marker + command;
}

std::string commandOnName(const std::string& command, const std::string& name) {
    return commandOnStore(command) + " " + shellArgument(name);
}

}  // namespace t8settings
