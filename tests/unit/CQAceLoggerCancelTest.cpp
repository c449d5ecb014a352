#include "AceLoggerTest.h"

#include <clocale>
#include <pthread.h>

using namespace QuarnTest;

namespace {

/// What happens when a thread is to be cancelled while it logs.
class CQAceLoggerCancelTest : public AceLoggerTest
{
protected:
    ~CQAceLoggerCancelTest() override { std::setlocale(LC_ALL, "C"); }

    /// Runs something on a thread whose cancellation waits for the first point at which it may happen. Whether it came
    /// to its end before.
    template <class Operation>
    static bool RunCancelled(Operation operation)
    {
        struct SRun
        {
            Operation& operation;
            bool isDone;
        } run = {operation, false};
        pthread_t thread{};
        pthread_create(
            &thread, nullptr,
            [](void* argument) -> void* {
                auto& itself = *static_cast<SRun*>(argument);
                pthread_cancel(pthread_self());
                itself.operation();
                itself.isDone = true;
                pthread_testcancel();
                return nullptr;
            },
            &run);
        void* result = nullptr;
        pthread_join(thread, &result);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        return run.isDone;
    }
};

TEST_F(CQAceLoggerCancelTest, EndOfALoggerIsFinishedFirst)
{
    MakeOld("app-20240517-134509.txt"); // so that the next name has to be waited for
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 5);

    const bool isDone = RunCancelled([this] { EndLogger(); });

    EXPECT_TRUE(isDone);
    EXPECT_EQ(m_Dir.Names("log"), (std::set<std::string>{"app-20240517-134509.txt", "app-20240517-134510.txt"}));
}

TEST_F(CQAceLoggerCancelTest, LineWithOtherCharactersStaysInFrontOfTheNextOne)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    Logger().SetOutputStream(L"log/app-%T.txt", 0, 5);

    const bool isDone = RunCancelled([this] { Write(L"caf\u00e9"); });
    Write(L"next");

    EXPECT_FALSE(isDone) << "cancelled while it writes";
    EXPECT_EQ(m_Dir.Read("log/app.txt"), Line("caf\xC3\xA9") + Line("next"));
}

} // namespace
