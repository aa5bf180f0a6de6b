// docs/types.md is executed: its tables are what the library registers, writes and reads.

#include <boost/core/demangle.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "MarkdownPage.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "Qel/Types/MediaBrowser.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/Sound.h"
#include "TempDir.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;
using testsupport::MarkdownPage;
using Kind = TypeDescription::Kind;

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// The bytes that a cell of the page stands for.
std::string bytesOf(const std::string& cell) {
    if (cell == "nothing") {
        return "";
    }
    if (cell == "refused") {
        return cell;
    }
    EXPECT_TRUE(cell.size() > 2 && cell.front() == '`' && cell.back() == '`') << cell;
    return replaced(cell.substr(1, cell.size() - 2), "␣", " ");
}

/// A C++ type's name without what its template arguments are by default.
bool isCalled(const std::type_info& type, std::string name) {
    const std::string found =
        replaced(boost::core::demangle(type.name()),
                 "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
                 "std::string");
    if (name.back() == '>') {
        name.pop_back();
        return found.compare(0, name.size() + 1, name + ",") == 0;
    }
    return found == name;
}

template <class Record>
std::string rewrittenRecord(const std::string& text) {
    Record record;
    EXPECT_TRUE(StrConv::fromString(text, record)) << text;
    return StrConv::toString(record);
}

class TypesPage : public testing::Test {
protected:
    TypesPage() { registerApplicationTypes(*types_); }

    /// What a value that a file holds as `text` is written as.
    std::string rewritten(const std::string& type, const std::string& text) {
        testsupport::writeFile(file_, "#name = x\n[y]\nz = " + type + "," + text + "\n");
        SettingStorageInifile storage("x", file_, "", types_, SettingStorageInifile::Save_onDemand);
        EXPECT_TRUE(storage.init(&manager_, nullptr));
        const auto setting = storage.querySetting("x/y/z");
        return setting ? types_->valueAsString(setting) : "refused";
    }

    const testsupport::LogCapture log_;
    const MarkdownPage page_{"docs/types.md"};
    testsupport::TempDir directory_;
    const std::string file_ = directory_.file("x.ini");
    SettingsManager manager_;
    boost::shared_ptr<SettingFactory> types_ = boost::make_shared<SettingFactory>();
};

TEST_F(TypesPage, TheNumbersOfRegistrationsAndNamesAreTrue) {
    std::set<std::string> names;
    for (const ApplicationType& type : applicationTypes()) {
        names.insert(type.name);
    }
    const std::string page =
        replaced(testsupport::readFile(testsupport::sourceFile("docs/types.md")), "\n", " ");
    const std::string numbers = ": " + std::to_string(applicationTypes().size()) +
                                " registrations, " + std::to_string(names.size()) + " type names.";
    EXPECT_NE(page.find(numbers), std::string::npos) << numbers;
}

TEST_F(TypesPage, EveryRegistrationStandsAtItsPlace) {
    const std::map<Kind, std::string> kinds = {{Kind::kEnumeration, "enumeration"},
                                               {Kind::kRecord, "record"},
                                               {Kind::kArray, "array"},
                                               {Kind::kMap, "map"}};
    const auto rows =
        page_.table("| place | type name | C++ type | kind | an empty text stands for |");
    const std::vector<ApplicationType>& types = applicationTypes();
    ASSERT_EQ(rows.size(), types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        const TypeDescription type = describe(types[i]);
        EXPECT_EQ(rows[i].at(0), std::to_string(i + 1));
        EXPECT_EQ(bytesOf(rows[i].at(1)), type.name);
        EXPECT_TRUE(isCalled(types[i].type, bytesOf(rows[i].at(2)))) << rows[i].at(2);
        EXPECT_EQ(rows[i].at(3), kinds.at(type.kind)) << type.name;
        EXPECT_EQ(bytesOf(rows[i].at(4)), type.emptyText) << type.name;
    }
}

TEST_F(TypesPage, EveryRecordHasTheFieldsAndTheTextThatThePageSays) {
    using Rewrite = std::string (*)(const std::string&);
    std::map<std::string, std::pair<TypeDescription, Rewrite>> unregistered = {
        {"SourceSetup",
         {describeType<Qel::PQ::SourceSetup>(), &rewrittenRecord<Qel::PQ::SourceSetup>}},
        {"QelNetSourceVer2",
         {describeType<QelNetSourceVer2>(), &rewrittenRecord<QelNetSourceVer2>}},
        {"QelNetSourceVer3",
         {describeType<QelNetSourceVer3>(), &rewrittenRecord<QelNetSourceVer3>}}};
    std::map<std::string, TypeDescription> records;
    for (const ApplicationType& type : applicationTypes()) {
        if (describe(type).kind == Kind::kRecord) {
            records[type.name] = describe(type);
        }
    }
    const auto rows = page_.table("| record | fields | for example |");
    ASSERT_EQ(rows.size(), records.size() + unregistered.size());
    for (const auto& row : rows) {
        const std::string name = bytesOf(row.at(0));
        const std::string text = bytesOf(row.at(2));
        const auto found = unregistered.find(name);
        const bool isRegistered = found == unregistered.end();
        EXPECT_EQ(isRegistered ? rewritten(name, text) : found->second.second(text), text);
        std::string fields;
        for (const auto& field : (isRegistered ? records.at(name) : found->second.first).fields) {
            fields += (fields.empty() ? "`" : ", `") + field.type + "`";
        }
        EXPECT_EQ(row.at(1), fields) << name;
    }
}

TEST_F(TypesPage, EveryExampleIsReadAndWrittenAsThePageSays) {
    const auto rows = page_.table("| type | text in the file | written again as |");
    ASSERT_EQ(rows.size(), 18U);
    for (const auto& row : rows) {
        EXPECT_EQ(rewritten(bytesOf(row.at(0)), bytesOf(row.at(1))), bytesOf(row.at(2)))
            << row[0] << " " << row[1];
    }
}

TEST_F(TypesPage, EveryLossIsAsThePageSays) {
    using Sources = std::map<qel::ui::common::SourcePK, QelNetSourceVer2>;
    using Metadata = qel::mediabrowser::RecentListDmrItemMetadata;
    const QelNetSourceVer2 none = {"a", "b", "c", "d", {}};
    const QelNetSourceVer2 lastEmpty = {"a", "b", "c", "d", {"x", ""}};
    const QelNetSourceVer2 oneEmpty = {"a", "b", "c", "d", {""}};
    const QelNetSourceVer2 lastBlank = {"a", "b", "c", "d", {"x "}};
    const std::vector<boost::any> values = {
        static_cast<qel::snd::YesNo>(-5),
        Qel::PQ::AdvancedSetup{Qel::PQ::PQ_JUDDER_CANCELLATION_MODE_OFF,
                               Qel::PQ::PQ_ROOM_ADAPTION_BASIC,
                               static_cast<Qel::PQ::PowerSavingMode>(-5)},
        qel::mediabrowser::RecentVideoItem{" film ", 1},
        qel::ui::sound::ZuvSpeakerInfo{1, " left "},
        Sources{{7, lastEmpty}},
        Sources{{7, oneEmpty}},
        Sources{{7, none}, {8, lastBlank}},
        std::map<std::string, Metadata>{{"", {}}, {"k", {}}}};
    const auto rows = page_.table("| type | value | text written | read back as |");
    ASSERT_EQ(rows.size(), values.size()) << "each row of the page needs its value here";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string type = bytesOf(rows[i].at(0));
        const auto setting = boost::make_shared<SettingHolder>("x", values[i]);
        EXPECT_EQ(types_->typeAsString(setting), type);
        const std::string text = types_->valueAsString(setting);
        EXPECT_EQ(text, bytesOf(rows[i].at(2))) << type;
        EXPECT_EQ(rewritten(type, text), bytesOf(rows[i].at(3))) << type << " " << text;
    }
}

}  // namespace
