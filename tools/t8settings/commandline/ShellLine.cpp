#include "commandline/ShellLine.h"

#include <algorithm>

#include "console/Shell.h"

namespace t8settings {

namespace {

constexpr std::string_view kBlanks = " \t\n";
/// What a backslash takes the meaning from between double quotes.
constexpr std::string_view kSpecialWithinQuotes = "\\\"$`";

bool isOneOf(char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
}

std::string typedAs(char c, char quote) {
    if (quote == '\'') {
        return c == '\'' ? "'\\''" : std::string(1, c);
    }
    if (quote == '"' && c == '!') {
        // A backslash would keep the history away, but stay in the word.
        return "\"'!'\"";
    }
    const bool isSpecial = quote == '"' ? isOneOf(c, kSpecialWithinQuotes) : !isPlainInShell(c);
    return isSpecial ? std::string("\\") + c : std::string(1, c);
}

class Splitter {
public:
    Splitter(ShellLine& line, std::string_view wordBreaks) : line_(line), wordBreaks_(wordBreaks) {
        line_.words.emplace_back();
    }

    void take(char c) {
        if (escaped_) {
            takeEscaped(c);
        } else if (c == '\\' && line_.quote != '\'') {
            escaped_ = true;
        } else if (line_.quote != 0) {
            takeQuoted(c);
        } else {
            takeBare(c);
        }
    }

private:
    std::string& word() { return line_.words.back(); }

    void takeEscaped(char c) {
        escaped_ = false;
        if (line_.quote == '"' && !isOneOf(c, kSpecialWithinQuotes)) {
            word() += '\\';
        }
        word() += c;
        inWord_ = true;
    }

    void takeQuoted(char c) {
        if (c != line_.quote) {
            word() += c;
            return;
        }
        line_.quote = 0;
        line_.kept = word().size();
    }

    void takeBare(char c) {
        if (isOneOf(c, kBlanks)) {
            endWord();
            return;
        }
        inWord_ = true;
        const bool isQuote = c == '"' || c == '\'';
        if (isQuote) {
            line_.quote = c;
        } else {
            word() += c;
        }
        if (isQuote || isOneOf(c, wordBreaks_)) {
            line_.kept = word().size();
        }
    }

    void endWord() {
        if (inWord_) {
            line_.words.emplace_back();
            line_.kept = 0;
            inWord_ = false;
        }
    }

    ShellLine& line_;
    std::string_view wordBreaks_;
    bool escaped_ = false;
    bool inWord_ = false;
};

}  // namespace

ShellLine::ShellLine(std::string_view typed, std::string_view wordBreaks) {
    Splitter splitter(*this, wordBreaks);
    for (const char c : typed) {
        splitter.take(c);
    }
}

std::string ShellLine::replacement(std::string_view text) const {
    text.remove_prefix(std::min(kept, text.size()));
    std::string typed;
    for (const char c : text) {
        typed += typedAs(c, quote);
    }
    // The line editor closes the quote, but takes this one for the closing one.
    if (quote != 0 && !typed.empty() && typed.back() == quote) {
        typed += quote;
    }
    return typed;
}

}  // namespace t8settings
