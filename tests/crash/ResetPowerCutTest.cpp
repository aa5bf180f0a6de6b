// A reset to defaults of two storages, and a power cut at any moment of it: with the marker of the
// reset lying there at the next start, and without.

#include <boost/make_shared.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "GenerationsFixture.h"

namespace {

using testsupport::exists;
using testsupport::Files;
using testsupport::filesIn;
using testsupport::layOut;
using testsupport::Promise;
using testsupport::Recorder;
using testsupport::Start;
using testsupport::writeFile;

class ResetPowerCut : public testsupport::Generations, public testing::WithParamInterface<Start> {
protected:
    /// A process with the two storages, started on the files of a directory.
    struct Process {
        Process(const ResetPowerCut& test, const std::string& directory) {
            for (const char* const name : {"one", "two"}) {
                const auto storage = boost::make_shared<Storage>(
                    name, test.dir_.file(std::string(name) + ".ini"),
                    directory + "/" + name + ".ini", test.types_, Storage::Save_onDemand);
                EXPECT_TRUE(manager.registerStorage(storage));
                storages.push_back(storage);
            }
        }

        std::string held() const { return heldBy(*storages[0]) + " and " + heldBy(*storages[1]); }
        void change(int generation) const {
            for (const auto& storage : storages) {
                Generations::change(*storage, generation);
            }
        }

        Qel::Settings::SettingsManager manager;
        std::vector<boost::shared_ptr<Storage>> storages;
    };

    ResetPowerCut() {
        Qel::Settings::SettingsManager::setResetToDefaultsMarker(marker_);
        for (const std::string name : {"one", "two"}) {
            writeFile(dir_.file(name + ".ini"), textOf(0, name));
        }
    }
    ~ResetPowerCut() override { Qel::Settings::SettingsManager::setResetToDefaultsMarker(""); }

    std::string find(const std::string& directory) override {
        return Process(*this, directory).held();
    }

    std::string work(const std::string& directory) override {
        return workWithMarker(directory) + workWithoutMarker(directory);
    }

    /// Nothing is written and nothing reset, as for any process while another one resets.
    std::string workWithMarker(const std::string& directory) {
        const Files before = filesIn(directory);
        writeFile(marker_, "");
        Process process(*this, directory);
        process.change(3);
        bool saved = true;
        for (const auto& storage : process.storages) {
            saved = storage->save() && storage->dirty() && saved;
        }
        const int result = process.manager.resetToDefault();
        std::filesystem::remove(marker_);
        return saved && result == 1 && filesIn(directory) == before ? ""
                                                                    : ", the marker is not heeded";
    }

    /// A new reset does all of it.
    std::string workWithoutMarker(const std::string& directory) {
        const int result = Process(*this, directory).manager.resetToDefault();
        const bool marked = exists(marker_);
        std::filesystem::remove(marker_);
        return result == 1 && marked && find(directory) == "0 and 0" ? ""
                                                                     : ", the next reset fails";
    }

    std::string marker_ = dir_.file("marker");
};

TEST_P(ResetPowerCut, EachStorageHasTheUsersValuesOrTheDefaultsAndTheDefaultsOnceItIsDone) {
    Files files = filesAt(GetParam(), "one.ini", "one");
    files.merge(filesAt(GetParam(), "two.ini", "two"));
    layOut(live_.path(), files);
    const std::string found = *promiseAt(GetParam()).begin();
    Promise old = {found + " and " + found};
    if (promiseAt(GetParam()).size() > 1) {
        old.insert(found + " and " + found + ", set aside");
    }
    Recorder recorder(live_.path(), old);
    obstruct(GetParam(), recorder.calls(), "one.ini");
    obstruct(GetParam(), recorder.calls(), "two.ini");
    Process process(*this, live_.path());
    recorder.calls().mend();
    const std::string held = valueOf(generationAt(GetParam()));
    EXPECT_EQ(process.held(), held + " and " + held);
    process.change(2);
    Promise promise = old;
    promise.insert({"0 and " + found, "0 and 0"});
    recorder.promise(promise);
    EXPECT_EQ(process.manager.resetToDefault(), 1);
    recorder.promise({"0 and 0"});
    EXPECT_TRUE(exists(marker_));
    std::filesystem::remove(marker_);
    Files left = filesIn(live_.path());
    EXPECT_EQ(left["one.ini"], fileOf(0, "one"));
    EXPECT_EQ(left["two.ini"], fileOf(0, "two"));
    EXPECT_TRUE(stands(GetParam()) || left.size() == 2) << testing::PrintToString(left);
    expectKept(recorder.trace());
    expectKeptSomewhere(GetParam(), "one.ini", "one");
    expectKeptSomewhere(GetParam(), "two.ini", "two");
}

INSTANTIATE_TEST_SUITE_P(From, ResetPowerCut, testsupport::everyStart(), testsupport::nameOfStart);
INSTANTIATE_TEST_SUITE_P(AfterACutMove, ResetPowerCut, testsupport::everyStartOfTwoNames(),
                         testsupport::nameOfStart);

}  // namespace
