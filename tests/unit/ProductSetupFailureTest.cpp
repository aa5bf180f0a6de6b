#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "ProductFixture.h"
#include "Qel/Settings/SettingHolder.h"
#include "types/ApplicationTypes.h"

namespace Qel {
namespace Settings {

namespace {

std::function<void()>& duringTypeRegistration() {
    static std::function<void()> action;
    return action;
}

}  // namespace

// In place of the product's own list, to have the product's set-up fail.
const std::vector<ApplicationType>& applicationTypes() {
    static const std::vector<ApplicationType> none;
    if (duringTypeRegistration()) {
        duringTypeRegistration()();
    }
    return none;
}

}  // namespace Settings
}  // namespace Qel

namespace {

using namespace Qel::Settings;

class ProductSetupFailure : public testsupport::ProductFixture {};

TEST_F(ProductSetupFailure, ExceptionPassesAndTheNextUseSetsUpAnew) {
    putIni(defaults_, "sound.ini", 3);
    int tries = 0;
    duringTypeRegistration() = [&] {
        if (++tries < 3) {
            throw std::runtime_error("no memory for types");
        }
    };
    for (int failure = 0; failure < 2; ++failure) {
        try {
            T8SettingsManager();
            FAIL() << "nothing was thrown";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ("no memory for types", e.what());
        }
        ASSERT_NE(nullptr, SettingsManager::existingInstance());
        EXPECT_EQ(nullptr, SettingsManager::existingInstance()->setting("sound/value"));
    }
    EXPECT_EQ(3, T8SettingsManager()->setting("sound/value")->getValue<int>());
    EXPECT_EQ(3, tries);
}

}  // namespace
