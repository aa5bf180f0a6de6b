#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Files.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/UserInterface.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;
using Kind = TypeDescription::Kind;

/// A line of the golden data, without blanks at its end.
std::string line(const std::string& text) {
    return "    " + text.substr(0, text.find_last_not_of(' ') + 1) + "\n";
}

std::string kindOf(const TypeDescription& type) {
    const std::string empty = ", empty text: ";
    // The one value of a byte that is no text.
    const std::string text = type.emptyText == std::string(1, '\0') ? "\\0" : type.emptyText;
    switch (type.kind) {
        case Kind::kScalar:
            return "scalar" + empty + text;
        case Kind::kEnumeration:
            return "enumeration" + empty + text;
        case Kind::kRecord:
            return "record" + empty + text;
        case Kind::kArray:
            return "array of " + type.elementType + text;
        case Kind::kMap:
            return "map from " + type.keyType + " to " + type.elementType + text;
    }
    return "none";
}

std::string rendered(const TypeDescription& type) {
    std::string lines = type.name + "\n" + line(kindOf(type));
    for (const TypeDescription::Enumerator& enumerator : type.enumerators) {
        lines += line(enumerator.text + " " + std::to_string(enumerator.value));
    }
    for (const TypeDescription::Field& field : type.fields) {
        lines += line(field.name + " " + field.type + " " + field.defaultText);
    }
    return lines;
}

TEST(TypesDescription, EveryTypeIsDescribedByWhatItIsMadeOf) {
    std::string all;
    for (const TypeDescription& type : describeTypes()) {
        all += rendered(type);
    }
    const std::string golden = testsupport::readFile(T8_TEST_DATA_DIR "/types/descriptions.txt");
    EXPECT_EQ(all, golden.substr(golden.find("\nbool\n") + 1));
}

TEST(TypesDescription, EveryRegisteredTypeIsDescribedOnce) {
    SettingFactory factory;
    registerApplicationTypes(factory);
    std::vector<std::string> names;
    for (const TypeDescription& type : describeTypes()) {
        names.push_back(type.name);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, factory.typeNames());
}

TEST(TypesDescription, AnEmptyTextIsReadAsTheDescriptionSays) {
    SettingFactory factory;
    registerApplicationTypes(factory);
    for (const TypeDescription& type : describeTypes()) {
        EXPECT_EQ(factory.valueAsString(factory.create(type.name, "a", "")), type.emptyText)
            << type.name;
    }
}

TEST(TypesDescription, TheDefaultsOfItsFieldsMakeTheEmptyTextOfARecord) {
    for (const TypeDescription& type : describeTypes()) {
        if (type.kind == Kind::kRecord) {
            std::string text;
            for (const TypeDescription::Field& field : type.fields) {
                text += &field == &type.fields.front() ? "" : ",";
                text += field.defaultText;
            }
            EXPECT_EQ(text, type.emptyText) << type.name;
        }
    }
}

TEST(TypesDescription, EveryFieldIsOfABuiltInTypeOrOneThatIsDescribedWithTheRecord) {
    const std::vector<std::string> builtIns = SettingFactory().typeNames();
    for (const TypeDescription& type : describeTypes()) {
        for (const TypeDescription::Field& field : type.fields) {
            const auto its = std::count_if(
                type.fieldTypes.begin(), type.fieldTypes.end(),
                [&](const TypeDescription& fieldType) { return fieldType.name == field.type; });
            const bool isBuiltIn =
                std::find(builtIns.begin(), builtIns.end(), field.type) != builtIns.end();
            EXPECT_EQ(its, isBuiltIn ? 0 : 1) << type.name << " " << field.name;
        }
    }
}

TEST(TypesDescription, TypesOfFieldsAreDescribedAsTheyAreByThemselves) {
    const TypeDescription quickOn = describeType<qel::ui::quickonperiods::QuickOnPeriodsData>();
    ASSERT_EQ(quickOn.fieldTypes.size(), 1U);
    EXPECT_EQ(rendered(quickOn.fieldTypes[0]), "flags\n    scalar, empty text: 0000000\n");
    const TypeDescription device = describeType<qel::ui::QelNet::IntegratedDevice>();
    ASSERT_EQ(device.fieldTypes.size(), 1U);
    EXPECT_EQ(rendered(device.fieldTypes[0]),
              rendered(describeType<qel::ui::QelNet::ProductRole::Role>()));
}

// The list would end at its first ";", and the element with it.
TEST(TypesDescription, NoArrayHasRecordsWithAList) {
    for (const TypeDescription& type : describeTypes()) {
        if (type.kind == Kind::kArray && !type.fields.empty()) {
            EXPECT_NE(type.fields.back().type, "string[]") << type.name;
        }
    }
}

TEST(TypesDescription, WhatNoSettingHasIsDescribedToo) {
    const TypeDescription role = describeType<qel::ui::QelNet::ProductRole::Role>();
    EXPECT_EQ(rendered(role),
              "Role\n    enumeration, empty text: INTEGRATED_MASTER\n    INTEGRATED_MASTER 0\n"
              "    INTEGRATED_SLAVE 1\n    STANDALONE 2\n    BORROW_SOURCES 3\n");
    EXPECT_EQ(describeType<qel::ui::QelNet::SourceCategory>().enumerators.front().value, 1);
    const TypeDescription setup = describeType<Qel::PQ::SourceSetup>();
    EXPECT_EQ(setup.name, "") << "it is registered under none";
    ASSERT_EQ(setup.fields.size(), 13U);
    EXPECT_EQ(setup.fields.back().type, "ColorTransientImprovementSetting");
}

}  // namespace
