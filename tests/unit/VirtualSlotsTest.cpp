#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "Qel/Settings/CLibXml2SaxParser.h"
#include "Qel/Settings/SettingStorageFileBase.h"

namespace {

using namespace Qel::Settings;
using Bytes = const unsigned char*;
using Holder = boost::shared_ptr<SettingHolder>;
using Factory = boost::shared_ptr<SettingFactory>;

/// Where a virtual operation of exactly this type stands in its class's table. The first two places
/// are the destructor's. Tells the overloads of one name apart, which a list of names cannot. (A
/// pointer to a virtual operation is one more than its distance from the table's beginning.)
template <class Operation>
std::size_t placeOf(Operation operation) {
    std::size_t distance = 0;
    static_assert(sizeof operation >= sizeof distance, "pointer and adjustment");
    std::memcpy(&distance, &operation, sizeof distance);
    return (distance - 1) / sizeof(void*);
}

TEST(VirtualSlots, StorageInterface) {
    using S = SettingStorageInterface;
    EXPECT_EQ(2U, placeOf<const std::string& (S::*)() const>(&S::name));
    EXPECT_EQ(3U, placeOf<const std::string& (S::*)(const std::string&)>(&S::name));
    EXPECT_EQ(4U, placeOf<const std::string* (S::*)() const>(&S::filename));
    EXPECT_EQ(5U, placeOf<const std::string* (S::*)(const std::string&)>(&S::filename));
    EXPECT_EQ(6U, placeOf<const std::string* (S::*)() const>(&S::rwFilename));
    EXPECT_EQ(7U, placeOf<const std::string* (S::*)(const std::string&)>(&S::rwFilename));
    EXPECT_EQ(8U, placeOf<bool (S::*)() const>(&S::readonly));
    EXPECT_EQ(9U, placeOf<bool (S::*)(bool)>(&S::readonly));
    EXPECT_EQ(10U, placeOf<SettingsManager* (S::*)() const>(&S::settingsManager));
    EXPECT_EQ(11U, placeOf<Factory (S::*)() const>(&S::factory));
    EXPECT_EQ(12U, placeOf<bool (S::*)(SettingsManager*, Factory)>(&S::init));
    EXPECT_EQ(13U, placeOf<bool (S::*)()>(&S::save));
    EXPECT_EQ(14U, placeOf<const SettingsSet& (S::*)() const>(&S::settingsSet));
    EXPECT_EQ(15U, placeOf<const std::string* (S::*)() const>(&S::errInfo));
    EXPECT_EQ(16U, placeOf<bool (S::*)(Holder)>(&S::registerSetting));
    EXPECT_EQ(17U, placeOf<Holder (S::*)(std::string)>(&S::querySetting));
    EXPECT_EQ(18U, placeOf<std::string (S::*)() const>(&S::info));
    EXPECT_EQ(19U, placeOf<bool (S::*)() const>(&S::surviveResetToDefaults));
    EXPECT_EQ(20U, placeOf<void (S::*)(bool)>(&S::surviveResetToDefaults));
    EXPECT_EQ(21U, placeOf<bool (S::*)()>(&S::resetToDefaults));
}

TEST(VirtualSlots, StorageBases) {
    using Base = SettingStorageBase;
    using FileBase = SettingStorageFileBase;
    EXPECT_EQ(22U, placeOf<void (Base::*)(SettingsManager*)>(&Base::settingsManager));
    EXPECT_EQ(23U, placeOf<bool (Base::*)(std::string)>(&Base::changing));
    EXPECT_EQ(24U, placeOf<bool (FileBase::*)(const std::string&)>(&FileBase::saveFile));
    EXPECT_EQ(25U, placeOf<bool (FileBase::*)(const std::string&)>(&FileBase::loadFile));
    EXPECT_EQ(26U, placeOf<void (FileBase::*)(std::string)>(&FileBase::changed));
}

TEST(VirtualSlots, ChangeCallback) {
    using C = SettingChangeCallback;
    EXPECT_EQ(2U, placeOf<bool (C::*)(std::string)>(&C::changing));
    EXPECT_EQ(3U, placeOf<void (C::*)(std::string)>(&C::changed));
}

TEST(VirtualSlots, XmlParser) {
    using P = CLibXml2SaxParser;
    EXPECT_EQ(2U, placeOf<void (P::*)(Bytes, Bytes, Bytes)>(&P::onInternalSubset));
    EXPECT_EQ(3U, placeOf<int (P::*)()>(&P::onIsStandalone));
    EXPECT_EQ(4U, placeOf<int (P::*)()>(&P::onHasInternalSubset));
    EXPECT_EQ(5U, placeOf<int (P::*)()>(&P::onHasExternalSubset));
    EXPECT_EQ(6U, placeOf<_xmlParserInput* (P::*)(Bytes, Bytes)>(&P::onResolveEntity));
    EXPECT_EQ(7U, placeOf<_xmlEntity* (P::*)(Bytes)>(&P::onGetEntity));
    EXPECT_EQ(8U, placeOf<void (P::*)(Bytes, int, Bytes, Bytes, unsigned char*)>(&P::onEntityDecl));
    EXPECT_EQ(9U, placeOf<void (P::*)(Bytes, Bytes, Bytes)>(&P::onNotationDecl));
    EXPECT_EQ(10U, placeOf<void (P::*)(Bytes, Bytes, int, int, Bytes, _xmlEnumeration*)>(
                       &P::onAttributeDecl));
    EXPECT_EQ(11U, placeOf<void (P::*)(Bytes, int, _xmlElementContent*)>(&P::onElementDecl));
    EXPECT_EQ(12U, placeOf<void (P::*)(Bytes, Bytes, Bytes, Bytes)>(&P::onUnparsedEntityDecl));
    EXPECT_EQ(13U, placeOf<void (P::*)(_xmlSAXLocator*)>(&P::onSetDocumentLocator));
    EXPECT_EQ(14U, placeOf<void (P::*)(Bytes)>(&P::onReference));
    EXPECT_EQ(15U, placeOf<void (P::*)()>(&P::onStartDocument));
    EXPECT_EQ(16U, placeOf<void (P::*)()>(&P::onEndDocument));
    EXPECT_EQ(17U, placeOf<void (P::*)(Bytes, Bytes*)>(&P::onStartElement));
    EXPECT_EQ(18U, placeOf<void (P::*)(Bytes)>(&P::onEndElement));
    EXPECT_EQ(19U, placeOf<void (P::*)(Bytes, int)>(&P::onCharacters));
    EXPECT_EQ(20U, placeOf<void (P::*)(Bytes, int)>(&P::onIgnorableWhitespace));
    EXPECT_EQ(21U, placeOf<void (P::*)(Bytes, Bytes)>(&P::onProcessingInstruction));
    EXPECT_EQ(22U, placeOf<void (P::*)(Bytes)>(&P::onComment));
    EXPECT_EQ(23U, placeOf<void (P::*)(const char*, char*)>(&P::onWarning));
    EXPECT_EQ(24U, placeOf<void (P::*)(const char*, char*)>(&P::onError));
    EXPECT_EQ(25U, placeOf<void (P::*)(const char*, char*)>(&P::onFatalError));
    EXPECT_EQ(26U, placeOf<_xmlEntity* (P::*)(Bytes)>(&P::onGetParameterEntity));
    EXPECT_EQ(27U, placeOf<void (P::*)(Bytes, int)>(&P::onCData));
    EXPECT_EQ(28U, placeOf<void (P::*)(Bytes, Bytes, Bytes)>(&P::onExternalSubset));
}

}  // namespace
