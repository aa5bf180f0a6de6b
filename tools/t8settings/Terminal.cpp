#include "Terminal.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace t8settings {

namespace {

constexpr std::string_view kPrefix = "t8settings: ";

bool isControl(char c) {
    return (c >= 0 && c < ' ') || c == '\x7f';
}

void appendVisible(std::string& out, char c) {
    if (!isControl(c)) {
        out += c;
    } else if (c == '\n') {
        out += "\\n";
    } else if (c == '\t') {
        out += "\\t";
    } else {
        std::array<char, 8> escape{};
        std::snprintf(escape.data(), escape.size(), "\\x%02X", static_cast<unsigned int>(c));
        out += escape.data();
    }
}

std::string_view environmentWord(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

std::string visible(std::string_view text) {
    std::string out;
    for (const char c : text) {
        appendVisible(out, c);
    }
    return out;
}

std::string inQuotes(std::string_view text) {
    if (text.find('"') == std::string_view::npos) {
        return '"' + visible(text) + '"';
    }
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'') {
            out += "'\\'";
        }
        appendVisible(out, c);
    }
    return out + "'";
}

std::vector<std::string> splitLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        lines.emplace_back(line);
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    return lines;
}

void complain(std::string_view text) {
    std::string lines;
    for (const std::string& line : splitLines(text)) {
        lines.append(kPrefix).append(visible(line)) += '\n';
    }
    writeAll(STDERR_FILENO, lines);
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool readAll(int descriptor, std::string& bytes) {
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count > 0) {
            bytes.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return count == 0;
        }
    }
}

bool canAsk() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

bool showsToTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

bool showsColours() {
    const std::string_view noColour = environmentWord("NO_COLOR");
    const std::string_view terminal = environmentWord("TERM");
    return showsToTerminal() && noColour.empty() && !terminal.empty() && terminal != "dumb";
}

bool confirm(const std::string& question) {
    writeAll(STDERR_FILENO, visible(question) + " [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    std::transform(answer.begin(), answer.end(), answer.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return answer == "y" || answer == "yes";
}

}  // namespace t8settings
