// Nobody writes an XML file again: one that is set aside, because there was no memory for it at
// that moment, is gone until a person comes.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <sys/resource.h>

#include "FileCalls.h"
#include "LogCapture.h"
#include "XmlStorageFixture.h"

namespace {

using testsupport::exists;
using testsupport::FileCalls;
using testsupport::LooseXmlStorage;
using testsupport::readFile;

/// What libxml2 may still ask for before there is no more.
int blocksLeft = -1;

bool isShort() {
    return blocksLeft >= 0 && blocksLeft-- <= 0 && (blocksLeft = 0, true);
}

/// What libxml2 has of the heap. Some of that it forgets when it is short; held here, it is not
/// taken for a leak of the library's.
std::set<void*>& blocks() {
    static auto* const immortal = new std::set<void*>;
    return *immortal;
}

void* noted(void* block) {
    return block == nullptr ? nullptr : *blocks().insert(block).first;
}
void* takeBlock(std::size_t size) {
    return isShort() ? nullptr : noted(std::malloc(size));
}
void* resizeBlock(void* block, std::size_t size) {
    if (isShort()) {
        return nullptr;
    }
    blocks().erase(block);
    return noted(std::realloc(block, size));
}
char* duplicate(const char* text) {
    return isShort() ? nullptr : static_cast<char*>(noted(strdup(text)));
}
void giveBlock(void* block) {
    blocks().erase(block);
    std::free(block);
}

const bool memoryOfLibxml2IsOurs =
    (xmlMemSetup(giveBlock, takeBlock, resizeBlock, duplicate), true);

const std::string kDocument =
    "<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE tv [<!ENTITY e 'v'>]>"
    "<tv kind='" +
    std::string(6000, 'k') + "'><!--c--><a value='1&amp;2'/><b>" + std::string(9000, 't') +
    "\xe9</b><c type='int' value='3'/></tv>";

const std::string kDocumentToDecode = "<?xml version='1.0' encoding='UTF-7'?><tv kind='" +
                                      std::string(6000, 'k') + "'+AD4APA-a value='1'/><b>" +
                                      std::string(9000, 't') + "</b><c type='int' value='3'/></tv>";

class XmlShortage : public testsupport::XmlStorageFixture {
protected:
    XmlShortage() { write(kDocument); }

    void write(const std::string& document) {
        document_ = document;
        testsupport::writeFile(readWrite_, document);
    }
    ~XmlShortage() override { blocksLeft = -1; }

    /// A start of the storage while libxml2 gets so many blocks.
    void start(int blocks) {
        storage_ = boost::make_shared<LooseXmlStorage>("", "", readWrite_);
        blocksLeft = blocks;
        const bool up = init();
        blocksLeft = -1;
        EXPECT_TRUE(up);
    }

    bool isUntouched() const {
        return !exists(readWrite_ + ".bad") && readFile(readWrite_) == document_;
    }

    std::string document_;
};

TEST_F(XmlShortage, OfMemoryInLibxml2SetsNothingAside) {
    for (const std::string& document : {kDocument, kDocumentToDecode}) {
        write(document);
        start(-1);
        ASSERT_EQ(3U, names().size());
        int blocks = 0;
        for (bool isShortStill = true; isShortStill; ++blocks) {
            start(blocks);
            ASSERT_TRUE(isUntouched()) << blocks;
            isShortStill = names().size() < 3;
        }
        EXPECT_GT(blocks, 30);
    }
}

void expectBadAlloc(const std::string& path) {
    Qel::Settings::CLibXml2SaxParser parser;
    for (const int blocks : {0, 1, 5, 10}) {
        blocksLeft = blocks;
        EXPECT_THROW(parser.parseFile(path.c_str()), std::bad_alloc) << blocks;
        blocksLeft = blocks;
        EXPECT_THROW(parser.parse(kDocument.data(), static_cast<int>(kDocument.size())),
                     std::bad_alloc)
            << blocks;
        blocksLeft = -1;
    }
    EXPECT_EQ(0, parser.parseFile(path.c_str()));
}

TEST_F(XmlShortage, OfMemoryIsThrownByTheParser) {
    start(-1);
    expectBadAlloc(readWrite_);
}

TEST_F(XmlShortage, OfMemoryIsThrownThoughTheApplicationListensToLibxml2) {
    start(-1);
    xmlSetStructuredErrorFunc(nullptr, [](void*, xmlError*) {});
    expectBadAlloc(readWrite_);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
}

TEST_F(XmlShortage, OfDescriptorsSetsNothingAside) {
    FileCalls calls(directory_.path());
    for (const int error : {EMFILE, ENFILE, ENOMEM}) {
        calls.fail("open rw.xml", error, FileCalls::kForGood);
        start(-1);
        EXPECT_TRUE(isUntouched()) << error;
        EXPECT_EQ(0U, names().size());
        calls.mend();
        start(-1);
        EXPECT_EQ(3U, names().size());
    }
}

/// While it lives, the process can open no more files.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none = {0, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before_{};
};

/// Another thread takes all descriptors whenever the file has been read.
class StorageShortOfConverters : public LooseXmlStorage {
public:
    using LooseXmlStorage::LooseXmlStorage;

    bool loadFile(const std::string& path) override {
        std::optional<NoDescriptors> shortage;
        FileCalls calls(path.substr(0, path.rfind('/')));
        calls.observe([&](const testsupport::FileEffect& effect) {
            if (effect.call == "close rw.xml" && loadsToBeShort_ > 0) {
                --loadsToBeShort_;
                shortage.emplace();
            }
        });
        const bool isLoaded = LooseXmlStorage::loadFile(path);
        isShort_ = shortage.has_value();
        return isLoaded;
    }

    int loadsToBeShort_ = 0;
    bool isShort_ = false;
};

/// Sanitizers open files to look at an object of a class that they have not met; so they meet those
/// that a look for a converter needs while there are descriptors.
void lookForAConverterThatNobodyHas(const std::string& path) {
    testsupport::writeFile(path, "<?xml version='1.0' encoding='ISO-8859-77'?><tv/>");
    StorageShortOfConverters storage("", "", path);
    EXPECT_FALSE(storage.loadFile(path));
}

// Two encodings that only the C library's files know: one whose markup stands as in ASCII and one
// that is decoded before it is read.
TEST_F(XmlShortage, OfDescriptorsForTheConverterSetsNothingAside) {
    lookForAConverterThatNobodyHas(directory_.file("unknown.xml"));
    for (const std::string encoding : {"ISO-8859-16", "JOHAB"}) {
        write("<?xml version='1.0' encoding='" + encoding + "'?><tv/>");
        const auto storage = boost::make_shared<StorageShortOfConverters>("", "", readWrite_);
        storage->loadsToBeShort_ = 2;
        EXPECT_TRUE(storage->init(&manager_, factory_));
        EXPECT_TRUE(storage->isShort_);
        EXPECT_EQ(0U, storage->settingsSet().size());
        EXPECT_TRUE(isUntouched()) << encoding;
    }
}

// Without its cache, which a path of its own switches off, the C library goes on saying that it has
// no such converter.
TEST_F(XmlShortage, OfDescriptorsForTheConverterThatHasPassedBeforeTheSecondLookSetsNothingAside) {
    lookForAConverterThatNobodyHas(directory_.file("unknown.xml"));
    ::setenv("GCONV_PATH", directory_.path().c_str(), 1);
    for (const std::string encoding : {"ISO-8859-16", "JOHAB"}) {
        write("<?xml version='1.0' encoding='" + encoding + "'?><tv/>");
        const auto storage = boost::make_shared<StorageShortOfConverters>("", "", readWrite_);
        storage->loadsToBeShort_ = 1;
        EXPECT_TRUE(storage->init(&manager_, factory_));
        EXPECT_EQ(0, storage->loadsToBeShort_);
        EXPECT_FALSE(storage->isShort_);
        EXPECT_TRUE(isUntouched()) << encoding;
    }
}

TEST_F(XmlShortage, AnUnreadableFileIsSetAside) {
    FileCalls calls(directory_.path());
    calls.fail("read rw.xml", EIO, FileCalls::kForGood);
    start(-1);
    calls.mend();
    EXPECT_EQ(kDocument, readFile(readWrite_ + ".bad"));
}

// A file that takes its place meanwhile has not been checked, for its size, its kind, its tags.
TEST_F(XmlShortage, WhatIsReadIsWhatWasLookedAt) {
    const std::string other = directory_.file("other.xml");
    testsupport::writeFile(other, "<tv><other/></tv>");
    FileCalls calls(directory_.path());
    calls.observe([&](const testsupport::FileEffect& effect) {
        if (effect.call == "open rw.xml") {
            std::rename(other.c_str(), readWrite_.c_str());
        }
    });
    start(-1);
    EXPECT_EQ(3U, names().size());
    EXPECT_FALSE(exists(other));
}

}  // namespace
