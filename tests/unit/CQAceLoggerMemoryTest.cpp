#include "AceLoggerTest.h"
#include "FailingHeap.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <new>
#include <set>
#include <string>

using namespace QuarnTest;
using Quarn::Logging::CQAceLogger;

namespace {

/// The heap refuses one allocation.
class CQAceLoggerMemoryTest : public AceLoggerTest
{
protected:
    /// Runs an operation whose nth allocation fails, which it may report; whether it came so far.
    template <typename Operation>
    static bool RunWithFailure(int nth, const Operation& operation)
    {
        const FailingHeap heap(nth);
        try {
            operation();
        } catch (const std::bad_alloc&) {
        }
        return heap.HasFailed();
    }
};

TEST_F(CQAceLoggerMemoryTest, SelectionThatRunsOutOfMemoryLeavesAUsableLogger)
{
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        SCOPED_TRACE(nth);
        std::filesystem::remove_all("log"); // what a cut-short removal left would make the next one longer
        Logger().SetOutputStream(L"log/a-rather-long-name-of-a-file-%T-with-more.txt", 0, 3);
        reached = RunWithFailure(
            nth, [this] { Logger().SetOutputStream(L"log/another-long-name-of-a-file-%T-with-more.txt", 0, 3); });

        Logger().SetOutputStream(L"log/app-%T.txt", 0, 3);
        Write(L"alive");

        ASSERT_EQ(m_Dir.Read("log/app.txt"), Line("alive"));
    }
}

TEST_F(CQAceLoggerMemoryTest, NoNameIsPutTogetherFromHalfThePattern)
{
    const std::set<std::string> wanted{"a-name-too-long-for-the-string-20240517-134509-itself.txt",
                                       "a-name-too-long-for-the-stringitself.txt"};
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        SCOPED_TRACE(nth);
        std::filesystem::remove_all("log");
        m_Clock.SetRealTime(NOON_SHIFT);
        CQAceLogger logger;
        reached = RunWithFailure(nth, [&] {
            logger.SetOutputStream(L"log/a-name-too-long-for-the-string-%T-itself.txt", 0, 3);
            logger.SetOutputStream(L"", 0, 3);
        });

        if (std::filesystem::exists("log")) {
            EXPECT_THAT(wanted, testing::IsSupersetOf(m_Dir.Names("log")));
        }
    }
}

TEST_F(CQAceLoggerMemoryTest, RotationThatRunsOutOfMemoryLeavesAUsableLogger)
{
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        SCOPED_TRACE(nth);
        std::filesystem::remove_all("log"); // what a cut-short removal left would make the next one longer
        Logger().SetOutputStream(L"log/app-%T.txt", 100, 3);
        const std::wstring text = TextForLineOf(100);
        reached = RunWithFailure(nth, [&] { Write(text); });

        Write(L"alive");

        // Behind the full file's line, if that could not be moved away.
        ASSERT_THAT(m_Dir.Read("log/app.txt"), testing::EndsWith(Line("alive")));
        ASSERT_EQ(std::filesystem::exists("log/app-20240517-134509.txt"),
                  m_Dir.Read("log/app.txt").size() == Line("alive").size());
    }
}

TEST_F(CQAceLoggerMemoryTest, EndThatRunsOutOfMemoryIsSilent)
{
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        SCOPED_TRACE(nth);
        std::filesystem::remove_all("log"); // what a cut-short removal left would make the next one longer
        auto logger = std::make_unique<CQAceLogger>();
        logger->SetOutputStream(L"log/app-%T.txt", 0, 3);

        const FailingHeap heap(nth);
        EXPECT_NO_THROW(logger.reset());
        reached = heap.HasFailed();
    }
}

TEST_F(CQAceLoggerMemoryTest, LineAllocatesNothing)
{
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 3);
    const std::wstring text = TextForLineOf(3000);
    const FailingHeap heap(1); // the first would fail

    Write(text);

    EXPECT_FALSE(heap.HasFailed());
}

} // namespace
