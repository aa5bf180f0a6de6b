#include <cerrno>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "qlog/Qlog.h"
#include "qlog/QlogControl.h"

namespace {

using testsupport::LogCapture;

QlogContext* const contextOfStaticInitialisation =
    QlogContext::GetLogContext("early", "tests/QlogTest", __LINE__);

QlogContext* contextCalled(const char* name) {
    return QlogContext::GetLogContext(name, "tests/QlogTest", __LINE__);
}

TEST(Qlog, OneContextPerNameAndSource) {
    QlogContext* const context = QlogContext::GetLogContext("name", "source", 1);
    EXPECT_EQ(context, QlogContext::GetLogContext("name", "source", 2));
    EXPECT_NE(context, QlogContext::GetLogContext("name", "other source", 1));
    EXPECT_NE(context, QlogContext::GetLogContext("other name", "source", 1));
    EXPECT_STREQ("name", context->name());
}

TEST(Qlog, NullNameAndSourceGiveAContextToo) {
    QlogContext* const context = QlogContext::GetLogContext(nullptr, nullptr, 0);
    ASSERT_NE(nullptr, context);
    EXPECT_STREQ("", context->name());
}

TEST(Qlog, ContextOfStaticInitialisationIsUsable) {
    LogCapture log;
    QlogPrintf(contextOfStaticInitialisation, 5, "tests/QlogTest", 7, "hello");
    EXPECT_TRUE(log.contains(5, "early", "tests/QlogTest", "hello")) << log.dump();
}

TEST(Qlog, WarningsPassByDefaultAndTracesDoNot) {
    qlog::resetThresholds();
    const QlogContext& context = *contextCalled("default");
    EXPECT_FALSE(context.isEnabled(3));
    EXPECT_TRUE(context.isEnabled(4));
}

TEST(Qlog, MessageBelowTheThresholdIsNotWritten) {
    LogCapture log(4);
    QlogContext* const context = contextCalled("quiet");
    QlogPrintf(context, 3, "s", 1, "trace");
    QlogPrintf(context, 4, "s", 2, "warning");
    ASSERT_EQ(1U, log.entries().size()) << log.dump();
    EXPECT_TRUE(log.contains(4, "quiet", "s", "warning")) << log.dump();
}

TEST(Qlog, ThresholdOfANameHoldsForContextsFetchedBeforeAndAfter) {
    qlog::resetThresholds();
    const QlogContext& before = *contextCalled("named");
    qlog::setThreshold("named", 2);
    const QlogContext& after = *QlogContext::GetLogContext("named", "fetched later", 1);
    EXPECT_TRUE(before.isEnabled(2));
    EXPECT_TRUE(after.isEnabled(2));
    EXPECT_FALSE(contextCalled("another")->isEnabled(2));
}

TEST(Qlog, DefaultThresholdLeavesNamedOnesAlone) {
    qlog::resetThresholds();
    qlog::setThreshold("named", 5);
    qlog::setDefaultThreshold(2);
    EXPECT_FALSE(contextCalled("named")->isEnabled(4));
    EXPECT_TRUE(contextCalled("another")->isEnabled(2));
}

TEST(Qlog, ResetForgetsAllThresholds) {
    qlog::setThreshold("named", 5);
    qlog::setDefaultThreshold(2);
    qlog::resetThresholds();
    EXPECT_TRUE(contextCalled("named")->isEnabled(4));
    EXPECT_FALSE(contextCalled("another")->isEnabled(2));
}

TEST(Qlog, SinkSeesTheWholeRecord) {
    qlog::resetThresholds();
    int calls = 0;
    qlog::setSink([&calls](const qlog::Record& record) {
        ++calls;
        EXPECT_STREQ("ctx", record.context);
        EXPECT_EQ(4, record.level);
        EXPECT_STREQ("src/Source", record.source);
        EXPECT_EQ(42, record.line);
        EXPECT_EQ("7 of seven\n", record.text);
    });
    QlogPrintf(contextCalled("ctx"), 4, "src/Source", 42, "%d of %s\n", 7, "seven");
    qlog::setSink(nullptr);
    EXPECT_EQ(1, calls);
}

TEST(Qlog, LongTextsAreNotCut) {
    LogCapture log;
    for (const std::size_t length : {510U, 511U, 512U, 513U, 1000000U}) {
        const std::string text(length, 'x');
        QlogPrintf(contextCalled("long"), 4, "s", 1, "%s", text.c_str());
        EXPECT_TRUE(log.contains(4, "long", "s", text)) << length;
    }
}

TEST(Qlog, ErrnoSurvivesTheSink) {
    LogCapture log;
    qlog::setSink([](const qlog::Record&) { errno = EBADF; });
    errno = ENOENT;
    QlogPrintf(contextCalled("errno"), 4, "s", 1, "text");
    EXPECT_EQ(ENOENT, errno);
}

TEST(Qlog, ThreadsLogAndChangeThresholdsAtOnce) {
    LogCapture log;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([number] {
            for (int i = 0; i < 100; ++i) {
                QlogPrintf(contextCalled("threads"), 5, "s", i, "%d.%d", number, i);
                qlog::setThreshold(std::to_string(number), i % 6);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<std::string> texts;
    for (const testsupport::LogEntry& entry : log.entries()) {
        texts.insert(entry.text);
    }
    EXPECT_EQ(400U, log.entries().size());
    EXPECT_EQ(400U, texts.size());
}

}  // namespace
