#include <boost/make_shared.hpp>
#include <chrono>
#include <gtest/gtest.h>
#include <string>

#include "Files.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "SaverFixture.h"
#include "TempDir.h"

namespace {

using Qel::Settings::SettingHolder;
using Qel::Settings::SettingStorageInifile;
using std::chrono::seconds;
using std::chrono::steady_clock;

class AsyncSaverSlow : public testsupport::SaverFixture {};

TEST_F(AsyncSaverSlow, ChangesAreOnDiskAfterTenSecondsBothAtOnce) {
    const testsupport::TempDir dir;
    const auto types = boost::make_shared<Qel::Settings::SettingFactory>();
    const auto storage = [&](const std::string& name) {
        return boost::make_shared<SettingStorageInifile>(name, "", dir.file(name), types,
                                                         SettingStorageInifile::Save_async);
    };
    const auto before = steady_clock::now();
    const auto a = storage("a");
    const auto b = storage("b");
    const auto inA = boost::make_shared<SettingHolder>("a/value", 1);
    const auto inB = boost::make_shared<SettingHolder>("b/value", 1);
    ASSERT_TRUE(a->registerSetting(inA));
    ASSERT_TRUE(b->registerSetting(inB));
    untilSaverRests();
    ASSERT_TRUE(inA->setValue(2));
    ASSERT_TRUE(inB->setValue(3));

    ASSERT_TRUE(log_.waitFor("SettingStorageFileBase::save(): a, dirty 1->0"));
    const auto savedA = steady_clock::now();
    ASSERT_TRUE(log_.waitFor("SettingStorageFileBase::save(): b, dirty 1->0"));
    const auto savedB = steady_clock::now();

    EXPECT_LE(seconds(10), savedA - before);
    EXPECT_GT(seconds(15), savedA - before);
    EXPECT_GT(seconds(5), savedB - savedA);
    EXPECT_NE(std::string::npos, testsupport::readFile(dir.file("a")).find("\nvalue = int,2\n"));
    EXPECT_NE(std::string::npos, testsupport::readFile(dir.file("b")).find("\nvalue = int,3\n"));
    EXPECT_EQ(Texts(), commands());
}

}  // namespace
