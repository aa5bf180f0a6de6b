#include "store/IniFile.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "files/WholeFile.h"
#include "store/Files.h"
#include "text/CrcCheck.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;
using Kind = text::IniLine::Kind;

std::size_t lineFeeds(std::string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

IniFile::Line lineOf(const text::IniWalk& walk) {
    const text::IniLine& line = walk.line();
    return {walk.number(),           line.kind,
            walk.isFirst(),          std::string(walk.whole()),
            std::string(line.key),   std::string(line.type),
            std::string(line.value), ""};
}

/// Neither a comment nor bytes that are like no line at all.
bool isMeantToBeRead(const text::IniWalk& walk) {
    switch (walk.line().kind) {
        case Kind::Header:
            return std::find(kHeaderKeys.begin(), kHeaderKeys.end(), walk.line().key) !=
                   kHeaderKeys.end();
        case Kind::Malformed:
            return walk.whole().find_first_of("=,") != std::string_view::npos;
        default:
            return true;
    }
}

bool isMisplacedName(const IniFile::Line& line) {
    return line.kind == Kind::Header && line.key == "name" && !line.isFirst;
}

}  // namespace

IniFile::IniFile(std::string path, std::string storageName, Role role)
    : path_(std::move(path)), role_(role), storageName_(std::move(storageName)) {
    std::string data;
    if (read(data)) {
        judge(data);
    }
}

IniFile::IniFile(std::string path, std::string storageName, Role role, const std::string& data)
    : path_(std::move(path)), role_(role), storageName_(std::move(storageName)) {
    judge(data);
}

bool IniFile::accepted() const {
    const bool isThere = state_ > FileState::kTooLarge;
    return role_ == Role::kDefaults ? isThere : state_ >= FileState::kUnchecked;
}

const IniFile::Line* IniFile::misplacedName() const {
    const auto found = std::find_if(lines_.begin(), lines_.end(), isMisplacedName);
    return found == lines_.end() ? nullptr : &*found;
}

bool IniFile::saysItsName() const {
    return !lines_.empty() && lines_.front().kind == Kind::Header && lines_.front().key == "name";
}

bool IniFile::read(std::string& data) {
    if (Qel::Settings::files::readWholeFile(path_, data)) {
        return true;
    }
    const int error = errno;
    if (error != ENOENT && error != ENOTDIR) {
        state_ = error == EFBIG ? FileState::kTooLarge : FileState::kUnreadable;
        error_ = whyUnread(error);
        mayBeReadLater_ = Qel::Settings::files::mayBeReadLater(error);
    }
    return false;
}

void IniFile::judge(const std::string& data) {
    judgeCrc(data);
    readLines(role_ == Role::kDefaults ? data : text_);
}

void IniFile::judgeCrc(const std::string& data) {
    const text::CrcCheck check(data);
    text_ = data.substr(0, check.textSize);
    computedCrc_ = check.computed;
    readCrc_ = check.read;
    if (!check.hasLine()) {
        state_ = FileState::kWithoutCrc;
        return;
    }
    state_ = check.isOff()    ? FileState::kUnchecked
             : check.passes() ? FileState::kSealed
                              : FileState::kWrongCrc;
    crcLine_ = lineFeeds(text_) + 2;
    const std::string_view after = std::string_view(data).substr(text_.size() + 1);
    const std::size_t end = after.find('\n');
    isCrcLineOpen_ = end == std::string_view::npos;
    text::IniWalk walk(after.substr(std::min(end, after.size())));
    while (walk.next()) {
        moreAfterCrcLine_ = true;
        losesLinesAfterCrcLine_ = losesLinesAfterCrcLine_ || isMeantToBeRead(walk);
    }
}

void IniFile::readLines(const std::string& data) {
    std::string prefix = storageName_ + "/";
    text::IniWalk walk(data);
    while (walk.next()) {
        lines_.push_back(lineOf(walk));
        Line& line = lines_.back();
        if (line.kind == Kind::Header) {
            readHeader(walk, prefix);
        } else if (line.kind == Kind::Section) {
            prefix = storageName_ + "/" + line.key + "/";
        } else if (line.kind == Kind::Setting) {
            line.name = prefix + line.key;
        }
    }
}

void IniFile::readHeader(const text::IniWalk& walk, std::string& prefix) {
    const text::IniLine& line = walk.line();
    if (line.key == "name" && walk.isFirst()) {
        storageName_ = line.value;
        prefix = storageName_ + "/";
    } else if (line.key == "readonly") {
        readonly_ = true;
    } else if (line.key == "savepolicy") {
        const auto& words = text::kSavePolicyWords;
        if (std::find(words.begin(), words.end(), line.value) != words.end()) {
            savePolicy_ = line.value;
        }
    }
}

std::map<std::string, const IniFile::Line*> settingsByName(const IniFile& file) {
    std::map<std::string, const IniFile::Line*> settings;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting) {
            settings[line.name] = &line;
        }
    }
    return settings;
}

}  // namespace t8settings
