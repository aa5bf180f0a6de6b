#include "console/Terminal.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace t8settings {

namespace {

constexpr std::string_view kPrefix = "t8settings: ";
constexpr std::string_view kRowTakenAway = "\r\x1b[K";
constexpr std::size_t kUsualColumns = 80;

bool isControl(char c) {
    return (c >= 0 && c < ' ') || c == '\x7f';
}

void appendEscape(std::string& out, char c) {
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\x%02X",
                  static_cast<unsigned int>(static_cast<unsigned char>(c)));
    out += escape.data();
}

void appendVisible(std::string& out, char c) {
    if (!isControl(c)) {
        out += c;
    } else if (c == '\n') {
        out += "\\n";
    } else if (c == '\t') {
        out += "\\t";
    } else {
        appendEscape(out, c);
    }
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// How many bytes at the front are one character of UTF-8 beyond ASCII; 0 for none.
std::size_t lengthOfCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || text.size() < length) {
        return 0;
    }
    const std::string_view rest = text.substr(1, length - 1);
    return std::all_of(rest.begin(), rest.end(), isContinuation) ? length : 0;
}

/// The control characters beyond ASCII, or the bytes that a terminal of 8 bits takes for them, at
/// the front: how many bytes.
std::size_t lengthOfHighControl(std::string_view text) {
    const auto isHighControl = [](char c) {
        return (static_cast<unsigned char>(c) & 0xE0U) == 0x80U;
    };
    if (lengthOfCharacter(text) == 2 && text.front() == '\xC2' && isHighControl(text[1])) {
        return 2;
    }
    return isHighControl(text.front()) ? 1 : 0;
}

/// Whether the first byte is no ASCII and no character begins with it.
bool beginsTorn(std::string_view text) {
    return static_cast<unsigned char>(text.front()) >= 0x80 && lengthOfCharacter(text) == 0;
}

/// Appends the first character, and takes it off the text.
void appendNext(std::string& out, std::string_view& text) {
    const std::size_t control = lengthOfHighControl(text);
    const auto length = std::max<std::size_t>({control, lengthOfCharacter(text), 1});
    for (const char c : text.substr(0, length)) {
        control != 0 ? appendEscape(out, c) : appendVisible(out, c);
    }
    text.remove_prefix(length);
}

void appendNextLegible(std::string& out, std::string_view& text) {
    if (!beginsTorn(text)) {
        appendNext(out, text);
        return;
    }
    appendEscape(out, text.front());
    text.remove_prefix(1);
}

std::string_view environmentWord(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// Whether the terminal, if there is one, does what codes tell it.
bool takesCodes() {
    const std::string_view terminal = environmentWord("TERM");
    return !terminal.empty() && terminal != "dumb";
}

/// Whether a text is shown in passing. The library's threads have messages too.
std::atomic<bool>& isPassing() {
    static std::atomic<bool> passing{false};
    return passing;
}

/// What takes it away.
std::string_view endOfPassing() {
    return isPassing().exchange(false) ? kRowTakenAway : "";
}

std::size_t columnsOfErrors() {
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kUsualColumns;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    const auto end = std::find_if(text.begin(), text.end(),
                                  [&count](char c) { return !isContinuation(c) && count-- == 0; });
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

}  // namespace

std::string visible(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        appendNext(out, text);
    }
    return out;
}

std::string legible(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        appendNextLegible(out, text);
    }
    return out;
}

bool isLegible(std::string_view text) {
    return legible(text) == text;
}

std::string inQuotes(std::string_view text) {
    if (text.find('"') == std::string_view::npos) {
        return '"' + legible(text) + '"';
    }
    std::string out = "'";
    while (!text.empty()) {
        if (text.front() == '\'') {
            out += "'\\'";
        }
        appendNextLegible(out, text);
    }
    return out + "'";
}

std::string counted(std::size_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
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
    std::string lines(endOfPassing());
    for (const std::string& line : splitLines(text)) {
        lines.append(kPrefix).append(legible(line)) += '\n';
    }
    writeAll(STDERR_FILENO, lines);
}

void showInPassing(std::string_view text) {
    // A row that is full to its end may go over into the next one.
    const std::size_t room = columnsOfErrors() - 1;
    std::string row(endOfPassing());
    row += firstCharacters(legible(text), room);
    isPassing() = true;
    writeAll(STDERR_FILENO, row);
}

void endPassing() {
    writeAll(STDERR_FILENO, endOfPassing());
}

bool canShowInPassing() {
    return ::isatty(STDERR_FILENO) == 1 && takesCodes();
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

bool readAll(int descriptor, std::size_t most, std::string& bytes) {
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count > 0 && static_cast<std::size_t>(count) > most - bytes.size()) {
            errno = EFBIG;
            return false;
        }
        if (count > 0) {
            bytes.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return count == 0;
        }
    }
}

bool showsToTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

bool showsColours() {
    const std::string_view noColour = environmentWord("NO_COLOR");
    return showsToTerminal() && noColour.empty() && takesCodes();
}

}  // namespace t8settings
