#include "Settings.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <numeric>
#include <random>

namespace bench {

namespace {

constexpr std::size_t kSectionSize = 50;
constexpr std::size_t kArraySize = 8;
constexpr std::size_t kStringSize = 20;

std::string makeString(std::mt19937& random, std::size_t position) {
    std::string text;
    for (std::size_t i = 0; i < kStringSize; ++i) {
        text += static_cast<char>('a' + random() % 26);
    }
    if (position % 25 < 5) {
        text.replace(3, 5, ";\"\n\\,");
    }
    return text;
}

std::vector<int> makeArray(std::mt19937& random) {
    std::vector<int> numbers(kArraySize);
    std::generate(numbers.begin(), numbers.end(),
                  [&random] { return static_cast<int>(random() % 2000) - 1000; });
    return numbers;
}

Value makeValue(std::mt19937& random, std::size_t position) {
    const std::size_t kind = position % 10;
    if (kind < 4) return static_cast<int>(random() % 100000);
    if (kind < 6) return random() % 2 == 0;
    if (kind < 7) return static_cast<double>(random() % 4000) / 8;
    if (kind < 9) return makeString(random, position);
    return makeArray(random);
}

struct Change {
    Value operator()(int number) const { return number ^ 1; }
    Value operator()(bool flag) const { return !flag; }
    Value operator()(double number) const { return number + 1; }
    Value operator()(std::string text) const {
        text.front() = text.front() == 'a' ? 'b' : 'a';
        return text;
    }
    Value operator()(std::vector<int> numbers) const {
        numbers.front() ^= 1;
        return numbers;
    }
};

}  // namespace

Settings makeSettings(std::size_t count) {
    std::mt19937 random(1);
    Settings settings;
    settings.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string section = "s" + std::to_string(i / kSectionSize);
        const std::string key = "k" + std::to_string(i % kSectionSize);
        settings.push_back({section, key, section + "/" + key, makeValue(random, i)});
    }
    return settings;
}

Value changed(const Value& value) {
    return std::visit(Change(), value);
}

std::vector<std::size_t> shuffledPositions(const Settings& settings) {
    std::vector<std::size_t> positions(settings.size());
    std::iota(positions.begin(), positions.end(), std::size_t{0});
    std::shuffle(positions.begin(), positions.end(), std::mt19937(2));
    return positions;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\' || c == '"') result += '\\';
        if (c == '\n') {
            result += "\\n";
        } else {
            result += c;
        }
    }
    return result;
}

std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            ++i;
            result += text[i] == 'n' ? '\n' : text[i];
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string joined(const std::vector<int>& numbers, char separator) {
    std::string text;
    for (const int number : numbers) {
        char digits[16];
        const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
        text.append(digits, end).append(1, separator);
    }
    if (!text.empty()) text.pop_back();
    return text;
}

std::vector<int> split(const char* text, char separator) {
    std::vector<int> numbers;
    while (*text != '\0') {
        char* end = nullptr;
        numbers.push_back(static_cast<int>(std::strtol(text, &end, 10)));
        text = *end == separator ? end + 1 : "";
    }
    return numbers;
}

}  // namespace bench
