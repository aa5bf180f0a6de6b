#include "dump/JsonDump.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "console/Json.h"
#include "console/Nearest.h"
#include "console/Terminal.h"

namespace t8settings {

namespace {

using Entries = std::vector<DumpEntry>;

std::optional<std::string> bytesOfHexadecimal(const std::string& digits) {
    if (digits.size() % 2 != 0 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

/// The string that a dump has beside the bytes in hexadecimal.
Json asShown(const std::string& bytes) {
    return Json::parse(textOfJson(bytes));
}

/// One setting's object in the array.
class JsonSetting {
public:
    JsonSetting(std::string place, const Json& json) : place_(std::move(place)), json_(json) {}

    void addTo(Entries& entries) {
        if (!json_.is_object()) {
            entries.push_back({place_, "is no object"});
            return;
        }
        DumpEntry setting = {place_, "", textOf("name"), textOf("type"), textOf("text")};
        if (json_.contains("storage") || json_.contains("storageBytes")) {
            setting.storage = textOf("storage");
        }
        for (const auto& member : json_.items()) {
            demandKnown(member.key());
        }
        if (problems_.empty()) {
            entries.push_back(setting);
        }
        entries.insert(entries.end(), problems_.begin(), problems_.end());
    }

private:
    /// The member's bytes, in hexadecimal or else as they are.
    std::string textOf(const std::string& key) {
        const auto exact = json_.find(key + "Bytes");
        const auto plain = json_.find(key);
        const bool isExact = exact != json_.end();
        const auto& member = isExact ? exact : plain;
        if (member == json_.end() || !member->is_string()) {
            return amiss(key, member == json_.end() ? "is missing" : "is no string");
        }
        const auto& given = member->get_ref<const std::string&>();
        const auto bytes = isExact ? bytesOfHexadecimal(given) : std::optional(given);
        if (isExact && bytes && plain != json_.end() && *plain != asShown(*bytes)) {
            // Whoever changed one of the two would find the other one loaded.
            return amiss(key, "contradicts " + key + "Bytes; change both, or leave one out");
        }
        return bytes ? *bytes : amiss(key + "Bytes", "is not in hexadecimal");
    }

    /// A member that is misspelt would be passed over, and with it what was meant.
    void demandKnown(const std::string& key) {
        static const std::vector<std::string> kKnown = {"name",      "type",        "text",
                                                        "storage",   "nameBytes",   "typeBytes",
                                                        "textBytes", "storageBytes"};
        if (std::find(kKnown.begin(), kKnown.end(), key) == kKnown.end()) {
            amiss(key, "is no member of a setting" + didYouMean(Pattern::exactly(key), kKnown));
        }
    }

    std::string amiss(const std::string& key, const std::string& what) {
        problems_.push_back({place_ + "." + visible(key), what});
        return "";
    }

    std::string place_;
    const Json& json_;
    Entries problems_;
};

/// Counts the lines that are read.
class LineCounting {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCounting(std::string::const_iterator at, std::size_t& line) : at_(at), line_(&line) {}
    reference operator*() const { return *at_; }
    LineCounting& operator++() {
        *line_ += *at_ == '\n' ? 1 : 0;
        ++at_;
        return *this;
    }
    bool operator==(const LineCounting& other) const { return at_ == other.at_; }
    bool operator!=(const LineCounting& other) const { return at_ != other.at_; }

private:
    std::string::const_iterator at_;
    std::size_t* line_;
};

/// Finds the members that an object of the array has twice: of these the parser keeps one, and does
/// not say which. A parser that is asked to tell while it reads takes a time that grows with the
/// square of the array's length, so this is a second look.
class Repetitions : public nlohmann::json_sax<Json> {
public:
    explicit Repetitions(std::string path) : path_(std::move(path)) {}

    /// In text that is well-formed.
    Entries in(const std::string& bytes) {
        Json::sax_parse(LineCounting(bytes.begin(), line_), LineCounting(bytes.end(), line_), this);
        return found_;
    }

    bool null() override { return value(); }
    bool boolean(bool) override { return value(); }
    bool number_integer(number_integer_t) override { return value(); }
    bool number_unsigned(number_unsigned_t) override { return value(); }
    bool number_float(number_float_t, const string_t&) override { return value(); }
    bool string(string_t&) override { return value(); }
    bool binary(binary_t&) override { return value(); }
    bool start_object(std::size_t) override { return begin(); }
    bool start_array(std::size_t) override { return begin(); }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) override {
        return false;
    }

    bool key(string_t& key) override {
        if (depth_ == kInSetting && !keys_.insert(key).second) {
            found_.push_back({path_ + ":" + std::to_string(line_) + ": [" +
                                  std::to_string(settings_ - 1) + "]." + visible(key),
                              "is there a second time"});
        }
        return true;
    }

private:
    static constexpr std::size_t kInArray = 1;
    static constexpr std::size_t kInSetting = 2;

    bool value() {
        if (depth_ == kInArray) {
            ++settings_;
            keys_.clear();
        }
        return true;
    }

    bool begin() {
        value();
        ++depth_;
        return true;
    }

    bool end() {
        --depth_;
        return true;
    }

    std::string path_;
    std::size_t line_ = 1;
    std::size_t depth_ = 0;
    std::size_t settings_ = 0;
    std::set<std::string> keys_;
    Entries found_;
};

/// Without the name that the parser has for the error, and with its place as all others have it.
DumpEntry problemOf(const std::string& path, const std::string& bytes, std::size_t byte,
                    const std::string& what) {
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(byte, bytes.size()));
    const std::string line = std::to_string(1 + std::count(bytes.begin(), end, '\n'));
    const std::size_t colon = what.find(": ");
    return {path + ":" + line,
            colon == std::string::npos ? what.substr(what.find("] ") + 2) : what.substr(colon + 2)};
}

/// The parser does not say where such a number is: the shortest beginning that already has it.
std::size_t endOfNumberOutOfRange(const std::string& bytes) {
    const auto isIn = [&bytes](std::size_t size) {
        try {
            return Json::parse(bytes.substr(0, size)).is_discarded();
        } catch (const Json::out_of_range&) {
            return true;
        } catch (const Json::parse_error&) {
            return false;
        }
    };
    std::size_t without = 0;
    std::size_t with = bytes.size();
    while (with - without > 1) {
        const std::size_t middle = without + (with - without) / 2;
        (isIn(middle) ? with : without) = middle;
    }
    return with;
}

}  // namespace

Entries entriesOfJson(const std::string& path, const std::string& bytes) {
    Entries entries;
    try {
        const Json json = Json::parse(bytes);
        if (!json.is_array()) {
            return {{path, "is no array of settings"}};
        }
        entries = Repetitions(path).in(bytes);
        for (std::size_t i = 0; i < json.size(); ++i) {
            JsonSetting(path + ": [" + std::to_string(i) + "]", json[i]).addTo(entries);
        }
    } catch (const Json::parse_error& error) {
        return {problemOf(path, bytes, error.byte, error.what())};
    } catch (const Json::out_of_range& error) {
        return {problemOf(path, bytes, endOfNumberOutOfRange(bytes), error.what())};
    }
    return entries;
}

}  // namespace t8settings
