#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "CommaLocale.h"
#include "SyslogCapture.h"
#include "XmlStorageFixture.h"

namespace {

using testing::ElementsAre;
using testsupport::SyslogCapture;

class XmlStorageValue : public testsupport::XmlStorageFixture {
protected:
    /// The value of the one setting in the document whose leaf `element` is.
    std::string valueOf(const std::string& element) {
        EXPECT_TRUE(load("<r>" + element + "</r>")) << element;
        return text("r/x");
    }
};

TEST_F(XmlStorageValue, ComesFromTheAttribute) {
    EXPECT_EQ("v", valueOf("<x value='v'/>"));
    EXPECT_EQ("v", valueOf("<x type='string' value='v'></x>"));
}

TEST_F(XmlStorageValue, ComesFromTheText) {
    EXPECT_EQ("some text", valueOf("<x>some text</x>"));
}

TEST_F(XmlStorageValue, EmptyLeafWithoutAttributesIsAnEmptyString) {
    SyslogCapture syslog;
    EXPECT_EQ("", valueOf("<x/>"));
    EXPECT_EQ("", valueOf("<x></x>"));
    EXPECT_EQ(typeid(std::string), storage_->querySetting("r/x")->type());
    EXPECT_EQ(0U, syslog.entries().size());
}

TEST_F(XmlStorageValue, DefaultTypeMayBeWrittenOut) {
    EXPECT_EQ("v", valueOf("<x type='std::string' value='v'/>"));
}

boost::shared_ptr<Qel::Settings::SettingHolder> loadOwn(std::string name, const std::string& text) {
    return boost::make_shared<Qel::Settings::SettingHolder>(name, boost::any("own " + text));
}

TEST_F(XmlStorageValue, RegisteredTypeOfTheDefaultsNameIsPreferred) {
    factory_->registerType(typeid(std::string), "std::string", loadOwn, nullptr);
    EXPECT_EQ("own v", valueOf("<x value='v'/>"));
}

TEST_F(XmlStorageValue, OnlyTheExactDefaultTypeFallsBackToString) {
    SyslogCapture syslog;
    EXPECT_TRUE(load("<r><a type='std::String'/><b type=''/><c type=' std::string'/></r>"));
    EXPECT_THAT(names(), testing::IsEmpty());
    EXPECT_EQ(
        "failed to load r/a(std::String)=\nfailed to load r/b()=\n"
        "failed to load r/c( std::string)=\n",
        *storage_->errInfo());
}

TEST_F(XmlStorageValue, TextIsPreferredToTheAttribute) {
    EXPECT_EQ("text", valueOf("<x value='attribute'>text</x>"));
    EXPECT_EQ(" \n", valueOf("<x value='attribute'> \n</x>"));
}

TEST_F(XmlStorageValue, AttributeNamesMatchWithoutCase) {
    EXPECT_TRUE(load("<r><x TYPE='int32' Value='5'/><y tYpE='bool' VALUE='true'/></r>"));
    EXPECT_EQ(5, value<int>("r/x"));
    EXPECT_TRUE(value<bool>("r/y"));
}

TEST_F(XmlStorageValue, ElementNamesAreUsedAsWritten) {
    EXPECT_TRUE(load("<R><X value='1'/><x value='2'/><n:y xmlns:n='u' value='3'/></R>"));
    EXPECT_THAT(names(), ElementsAre("R/X", "R/n:y", "R/x"));
    EXPECT_EQ("2", text("R/x"));
}

TEST_F(XmlStorageValue, OtherAttributesAreIgnored) {
    EXPECT_EQ("v", valueOf("<x unit='dB' value='v' values='w' type2='int32' n:value='z'/>"));
}

TEST_F(XmlStorageValue, LastOfSeveralSpellingsCounts) {
    EXPECT_EQ("2", valueOf("<x value='1' VALUE='2'/>"));
}

TEST_F(XmlStorageValue, AttributeWithoutAValueIsSkipped) {
    const auto* const name = reinterpret_cast<const unsigned char*>("x");
    const auto* const type = reinterpret_cast<const unsigned char*>("type");
    const auto* const value = reinterpret_cast<const unsigned char*>("value");
    const auto* const text = reinterpret_cast<const unsigned char*>("v");
    const unsigned char* attributes[] = {type, nullptr, value, nullptr, value, text, nullptr};
    storage_->onStartDocument();
    storage_->onStartElement(name, attributes);
    storage_->onEndElement(name);
    EXPECT_EQ("v", this->text("x"));
}

TEST_F(XmlStorageValue, NullAttributesAreNone) {
    const auto* const name = reinterpret_cast<const unsigned char*>("x");
    storage_->onStartDocument();
    storage_->onStartElement(name, nullptr);
    storage_->onEndElement(name);
    EXPECT_EQ("", text("x"));
}

TEST_F(XmlStorageValue, AmpersandsOfAttributesAreDecodedOnce) {
    EXPECT_EQ("a&b", valueOf("<x value='a&amp;b'/>"));
    EXPECT_EQ("&&", valueOf("<x value='&#38;&#x26;'/>"));
    EXPECT_EQ("&#38;", valueOf("<x value='&amp;#38;'/>"));
    EXPECT_EQ("&#38;#38;&amp;", valueOf("<x value='&amp;#38;#38;&amp;amp;'/>"));
    EXPECT_EQ("<>\"'&", valueOf("<x value='&lt;&gt;&quot;&apos;&amp;'/>"));
}

TEST_F(XmlStorageValue, AmpersandOfATypeIsDecodedToo) {
    SyslogCapture syslog;
    EXPECT_TRUE(load("<x type='a&amp;b'/>"));
    EXPECT_EQ("failed to load x(a&b)=\n", *storage_->errInfo());
}

TEST_F(XmlStorageValue, TextIsNotDecodedASecondTime) {
    EXPECT_EQ("#38;", valueOf("<x>&amp;#38;</x>"));
}

// Each piece in which libxml2 delivers a text takes the place of the one before it.
TEST_F(XmlStorageValue, LastPieceOfATextStands) {
    EXPECT_EQ(" b", valueOf("<x>a &amp; b</x>"));
    EXPECT_EQ("&", valueOf("<x>a &amp;</x>"));
    EXPECT_EQ("\xc3\xa9xyz", valueOf("<x>abc\xc3\xa9xyz</x>"));
    EXPECT_EQ("c", valueOf("<x>a<!-- b -->c</x>"));
    EXPECT_EQ("c", valueOf("<x>a<?b b?>c</x>"));
}

TEST_F(XmlStorageValue, LongTextBeyondAsciiKeepsItsLastPiece) {
    std::string text;
    for (int i = 0; i < 400; ++i) {
        text += "\xc3\xa9";
    }
    EXPECT_EQ(text.substr(0, 200), valueOf("<x>" + text + "</x>"));
}

TEST_F(XmlStorageValue, LongAttributeIsWhole) {
    std::string text;
    for (int i = 0; i < 20000; ++i) {
        text += "\xc3\xa9&amp;";
    }
    std::string expected;
    for (int i = 0; i < 20000; ++i) {
        expected += "\xc3\xa9&";
    }
    EXPECT_EQ(expected, valueOf("<x value='" + text + "'/>"));
}

TEST_F(XmlStorageValue, TextUpTo250BytesIsWholeWhereverItStandsInTheFile) {
    const std::string expected(250, 'x');
    for (std::size_t padding = 3600; padding < 4200; ++padding) {
        ASSERT_EQ(expected,
                  valueOf("<!--" + std::string(padding, 'p') + "--><x>" + expected + "</x>"))
            << padding;
    }
}

TEST_F(XmlStorageValue, CharacterDataSectionIsNoValue) {
    EXPECT_EQ("v", valueOf("<x value='v'><![CDATA[data]]></x>"));
    EXPECT_EQ("a", valueOf("<x>a<![CDATA[data]]></x>"));
    EXPECT_EQ("", valueOf("<x><![CDATA[data]]></x>"));
}

TEST_F(XmlStorageValue, InnerElementHasNone) {
    EXPECT_TRUE(load("<r value='1' type='int32'>t<x value='2'/>u<y>3</y>\n</r>"));
    EXPECT_THAT(names(), ElementsAre("r/x", "r/y"));
    EXPECT_EQ("2", text("r/x"));
    EXPECT_EQ("3", text("r/y"));
}

TEST_F(XmlStorageValue, TextAfterAChildDoesNotReachTheChild) {
    EXPECT_TRUE(load("<r><x value='v'/>tail</r>"));
    EXPECT_EQ("v", text("r/x"));
}

TEST_F(XmlStorageValue, DefaultsOfADocumentTypeAreNotApplied) {
    EXPECT_TRUE(load("<!DOCTYPE r [<!ATTLIST x value CDATA 'd'>]><r><x/></r>"));
    EXPECT_EQ("", text("r/x"));
}

TEST_F(XmlStorageValue, OtherEncodingsBecomeUtf8) {
    EXPECT_TRUE(load("<?xml version='1.0' encoding='ISO-8859-1'?><x value='\xe9'/>"));
    EXPECT_EQ("\xc3\xa9", text("x"));
}

TEST_F(XmlStorageValue, LocaleOfTheProcessDoesNotMatter) {
    const testsupport::CommaLocale locale;
    EXPECT_TRUE(load("<r><x TYPE='float64' VALUE='1234.5'/></r>"));
    EXPECT_EQ(1234.5, value<double>("r/x"));
}

}  // namespace
