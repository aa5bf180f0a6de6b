#include "check/HeaderLosses.h"

#include <string_view>

#include "console/Pattern.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "text/IniPlaces.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

/// A header that says how a storage is kept, and what a file without it leaves to others.
struct Header {
    const char* key;
    const char* without;
};

constexpr Header kReadonly = {"readonly", "the storage can be changed now"};
constexpr Header kSavePolicy = {"savepolicy",
                                "the storage has the save policy of each program now"};

constexpr std::size_t kMostSlips = 2;

bool mayHaveBeen(const Header& header, const IniFile::Line& line) {
    const std::string& key = line.key;
    return line.kind == Kind::Header && key != header.key &&
           (Qel::Settings::text::startsWith(key, header.key) ||
            Pattern::exactly(header.key).slips(key) <= kMostSlips);
}

class HeaderCheck {
public:
    HeaderCheck(const IniFile& file, const std::string& text, const IniFile& inForce)
        : file_(file),
          back_(file.path(), file.storageName(), IniFile::Role::kReadWrite, text),
          defaults_(iniFileAt(defaultsBeside(file.path()))),
          right_(inForce.state() == FileState::kSealed ? inForce : defaults_) {}

    std::vector<FileFinding> losses() {
        const bool isDamagedPolicy = tellDamaged(kSavePolicy);
        if (!isDamagedPolicy && isOtherPolicy()) {
            const std::string policy = back_.savePolicy().empty()
                                           ? "without a save policy"
                                           : "with the save policy " + inQuotes(back_.savePolicy());
            tell(0, Harm::kChanged,
                 "comes back " + policy + ", and " + right_.path() + " has " +
                     inQuotes(right_.savePolicy()));
        }
        const bool isDamagedReadonly = tellDamaged(kReadonly);
        const bool isReadonly = back_.readonly();
        if (!isDamagedReadonly && !defaults_.readonly() && isReadonly != isReadonlyByRight()) {
            tell(0, Harm::kChanged,
                 isReadonly ? "comes back with #readonly, so that nobody can change its settings"
                            : "comes back without #readonly, which " + right_.path() + " has");
        }
        return losses_;
    }

private:
    bool isSealed() const { return file_.state() == FileState::kSealed; }

    /// One that a file with a right CRC lacks was not there when it was saved.
    bool isOtherPolicy() const {
        const std::string& policy = back_.savePolicy();
        return !right_.savePolicy().empty() && policy != right_.savePolicy() &&
               !(policy.empty() && isSealed());
    }

    /// Where nothing tells, what was saved with a right CRC does.
    bool isReadonlyByRight() const {
        const bool isKnown = right_.accepted() || !isSealed();
        return isKnown ? right_.readonly() : back_.readonly();
    }

    bool tellDamaged(const Header& header) {
        bool isTold = false;
        for (const IniFile::Line& line : back_.lines()) {
            if (!isSealed() && mayHaveBeen(header, line)) {
                tell(lineIn(file_, line), Harm::kDoubtful,
                     std::string("is a comment; if it was #") + header.key + ", " + header.without);
                isTold = true;
            }
        }
        return isTold;
    }

    /// Other lines than this one may be gone from the text that comes back.
    static std::size_t lineIn(const IniFile& file, const IniFile::Line& line) {
        for (const IniFile::Line& other : file.lines()) {
            if (other.kind == line.kind && other.whole == line.whole) {
                return other.number;
            }
        }
        return 0;
    }

    void tell(std::size_t line, Harm harm, const std::string& reason) {
        losses_.push_back({file_.path(), {line, harm, reason, "see that it is right"}});
    }

    const IniFile& file_;
    const IniFile back_;
    const IniFile defaults_;
    const IniFile& right_;
    std::vector<FileFinding> losses_;
};

}  // namespace

std::vector<FileFinding> headerLossesOf(const IniFile& file, const std::string& text,
                                        const IniFile& inForce) {
    return HeaderCheck(file, text, inForce).losses();
}

}  // namespace t8settings
