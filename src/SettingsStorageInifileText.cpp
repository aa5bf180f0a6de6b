// How an ini storage's settings become text and text becomes settings; which file the text is in is
// no concern of it.

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <stdexcept>

#include "HolderBlocks.h"
#include "Log.h"
#include "NamesInFull.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "text/IniGrammar.h"
#include "text/IniPlaces.h"

QEL_LOG_CONTEXT("settings.inifile", "src/SettingsStorageInifile");

namespace Qel {
namespace Settings {

namespace {

// A file of shorter lines than this is not worth much room beforehand: they may be anything.
constexpr std::size_t kUsualLine = 24;

struct PolicyName {
    SettingStorageFileBase::SavePolicy policy;
    std::string_view text;
};

constexpr std::array<PolicyName, 3> kPolicyNames = {
    {{SettingStorageFileBase::Save_onDemand, text::kSavePolicyWords[0]},
     {SettingStorageFileBase::Save_onEachChange, text::kSavePolicyWords[1]},
     {SettingStorageFileBase::Save_async, text::kSavePolicyWords[2]}}};

bool hasLineFeed(std::string_view text) {
    return text.find('\n') != std::string_view::npos;
}

/// Counts the names of a text that is being built as its load will count them: what is saved can be
/// loaded again.
class NamesReadBack {
public:
    explicit NamesReadBack(std::size_t storageName)
        : storageName_(storageName), prefix_(storageName + 1) {}

    void startSection(std::string_view section) {
        // Such a one is skipped: settings of the root that come late are read into the section
        // before.
        if (!section.empty()) {
            names_.add(storageName_ + section.size());
            prefix_ = storageName_ + section.size() + 2;
        }
    }

    void addKey(std::size_t key) { names_.add(prefix_ + key); }

private:
    NamesInFull names_;
    std::size_t storageName_;
    std::size_t prefix_;
};

void tellOfLateRootSetting(const SettingHolder& holder) {
    QEL_LOG(kError,
            "SettingStorageInifile: '%s' has no section and will load under the one before it in "
            "the file",
            holder.name().c_str());
}

}  // namespace

/// What is known while a file is read.
struct SettingStorageInifile::Reader {
    struct KnownType {
        std::string_view name;
        SettingFactory::Maker make;
    };

    boost::shared_ptr<SettingFactory> types;
    /// The current section's prefix, and behind it the key of the setting that was read last.
    std::string settingName;
    std::size_t prefixSize;
    std::array<KnownType, 16> knownTypes = {};
    std::size_t lineNumber = 0;
    HolderBlocks blocks = {};

    void startSection(std::string prefix) {
        settingName = std::move(prefix);
        prefixSize = settingName.size();
    }

    /// A file has a few types again and again, mostly told apart by length and last letter.
    SettingFactory::Maker makerOf(std::string_view type) {
        const std::size_t last = type.empty() ? 0 : static_cast<unsigned char>(type.back());
        KnownType& place = knownTypes[(type.size() + last) % knownTypes.size()];
        if (!place.make.isKnown() || place.name != type) {
            place = {type, types ? types->maker(type) : SettingFactory::Maker()};
        }
        return place.make;
    }
};

void SettingStorageInifile::parse(const std::string& file, std::string_view data) {
    NamesInFull names;
    Reader reader{factory(), {}, 0};
    reader.startSection(name() + "/");
    lastTextSize_ = data.size();
    const std::size_t lines = text::countLineFeeds(data) + 1;
    expectSettings(std::min(lines, data.size() / kUsualLine));
    text::IniWalk walk(data);
    while (walk.next()) {
        const text::IniLine& line = walk.line();
        reader.lineNumber = walk.number();
        reader.blocks.expect(lines - reader.lineNumber + 1);
        switch (line.kind) {
            case text::IniLine::Kind::Blank:
            case text::IniLine::Kind::SkippedSection:
                break;
            case text::IniLine::Kind::Header:
                readHeader(line, walk.isFirst(), reader);
                break;
            case text::IniLine::Kind::Section:
                names.add(name().size() + line.key.size());
                reader.startSection(name() + "/" + std::string(line.key) + "/");
                sections_.insert(reader.settingName);
                break;
            case text::IniLine::Kind::Setting:
                names.add(reader.prefixSize + line.key.size());
                readSetting(file, line, walk.whole(), reader);
                break;
            case text::IniLine::Kind::Malformed:
                QEL_LOG(kError, "SettingStorageInifile: failed to load '%s'",
                        std::string(walk.whole()).c_str());
                noteRejected(walk.whole(), walk.number(), text::whyMalformed(walk.whole()));
                break;
        }
    }
}

void SettingStorageInifile::readHeader(const text::IniLine& line, bool isFirstLine,
                                       Reader& reader) {
    if (line.key == "name") {
        if (!isFirstLine) {
            throw std::runtime_error("#name must be first line in ini-file.");
        }
        reader.startSection(name(std::string(line.value)) + "/");
        sections_.insert(reader.settingName);
    } else if (line.key == "readonly") {
        readonly(true);
    } else if (line.key == "savepolicy") {
        for (const PolicyName& known : kPolicyNames) {
            if (line.value == known.text) {
                savePolicy(known.policy);
            }
        }
    }
}

void SettingStorageInifile::readSetting(const std::string& file, const text::IniLine& line,
                                        std::string_view whole, Reader& reader) {
    reader.settingName.resize(reader.prefixSize);
    reader.settingName.append(line.key);
    if (createSetting(line, reader)) {
        return;
    }
    QEL_LOG(kError, "SettingStorageInifile: failed to load %s from %s (line=%s)",
            reader.settingName.c_str(), file.c_str(), std::string(whole).c_str());
    const bool knowsType = reader.makerOf(line.type).isKnown();
    noteRejected(whole, reader.lineNumber, knowsType ? "no value of its type" : "unknown type");
}

// What the two messages before say does not lead whoever edits a file by hand to the line, nor does
// it tell them that they are about to lose it.
void SettingStorageInifile::noteRejected(std::string_view line, std::size_t number,
                                         const char* reason) {
    appendErrInfo(std::string(line) + "\n");
    const bool staysThere = acceptedFile_ == *filename();
    QEL_LOG(kWarning, "SettingStorageInifile: line %lu of '%s' is ignored%s: %s",
            static_cast<unsigned long>(number), acceptedFile_.c_str(),
            staysThere ? "" : " and missing from the file once it is saved", reason);
}

// One setting that cannot be made never costs the rest of the file, whatever its type's load
// function throws; only a shortage of memory is no fault of the line, which must not be lost for
// it.
bool SettingStorageInifile::createSetting(const text::IniLine& line, Reader& reader) {
    try {
        return registerSetting(
            reader.makerOf(line.type)(reader.blocks, reader.settingName, line.value));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        return false;
    }
}

bool SettingStorageInifile::buildText(std::string& data) const {
    const boost::shared_ptr<SettingFactory> types = factory();
    if (!types || hasLineFeed(name())) {
        QEL_LOG(kError,
                "SettingStorageInifile: storage '%s' is not saved: it has no factory, or a line "
                "feed in its name",
                name().c_str());
        return false;
    }
    // Room for the whole text, with some for values that have grown since.
    data.reserve(lastTextSize_ + lastTextSize_ / 64 + 64);
    data.append("#name = ").append(name());
    for (const PolicyName& known : kPolicyNames) {
        if (known.policy == savePolicy()) {
            data.append("\n#savepolicy = ").append(known.text);
        }
    }
    const text::WhiteSpace whiteSpace;
    const std::string root = name() + "/";
    std::string_view lastPrefix;
    bool inSection = false;
    bool sectionsStand = false;
    bool isLate = false;  // will be read into the section before
    text::SectionsInOrder sections(sections_);
    NamesReadBack names(name().size());
    SettingFactory::Writer writer(*types, " = ");
    const auto holders = snapshot();
    for (const boost::shared_ptr<SettingHolder>& holder : holders) {
        const std::string_view settingName = holder->name();
        const std::string_view prefix =
            text::prefixOf(settingName, sections.longestOf(settingName), root);
        const std::string_view key = settingName.substr(prefix.size());
        if (const char* const reason = text::reasonToLeaveOut(settingName, key, whiteSpace)) {
            QEL_LOG(kError, "SettingStorageInifile: '%s' is not saved: %s", holder->name().c_str(),
                    reason);
            continue;
        }
        if (!inSection || prefix != lastPrefix) {
            const std::string_view section = sectionOf(prefix, root);
            sectionsStand = sectionsStand || !section.empty();
            isLate = section.empty() && sectionsStand;
            names.startSection(whiteSpace.trim(section));
            data.append(inSection ? "\n\n[" : "\n[").append(section).append("]");
            lastPrefix = prefix;
            inSection = true;
        }
        if (isLate) {
            tellOfLateRootSetting(*holder);
        }
        names.addKey(key.size());
        data += '\n';
        data.append(key);
        writer.append(data, *holder);
    }
    return true;
}

std::string_view SettingStorageInifile::sectionOf(std::string_view prefix,
                                                  const std::string& root) const {
    std::string_view section = prefix;
    if (text::startsWith(prefix, root)) {
        section.remove_prefix(root.size());
    } else {
        QEL_LOG(kError,
                "SettingStorageInifile: settings of '%s' are saved in storage '%s' and will load "
                "under its name",
                std::string(prefix).c_str(), name().c_str());
    }
    if (!section.empty()) {
        section.remove_suffix(1);
    }
    return section;
}

}  // namespace Settings
}  // namespace Qel
