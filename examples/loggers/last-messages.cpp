// A logger that keeps the last messages in memory, for a test of what a program logs.

#include <QuarnLogging/Log.h>

#include <cstddef>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

using namespace Quarn::Logging;

namespace {

constexpr int CATEGORY_BRAKE = 5;

/// Everything from debug on arrives, whatever the options string says: each logger has a filter of its own.
class LastMessages : public IQLogger
{
public:
    explicit LastMessages(std::size_t count)
        : m_Count(count)
    {
        const SLevelDef everything = {CATEGORY_ALL, LEVEL_DEBUG};
        RegisterLogger(this, 1, &everything);
    }
    ~LastMessages() override { UnRegisterLogger(this); }

    LastMessages(const LastMessages&) = delete;
    LastMessages& operator=(const LastMessages&) = delete;

    /// The pointers end with the call: what is kept is copied.
    void Log(int, int, double, unsigned int, const char*, int, const wchar_t* text) override
    {
        m_Texts.emplace_back(text);
        if (m_Texts.size() > m_Count) {
            m_Texts.pop_front();
        }
    }
    void MessagesDropped(unsigned int) override {}
    void SetErrorHandler(IQErrorHandler*) override {}

    std::vector<std::wstring> Texts() const { return {m_Texts.begin(), m_Texts.end()}; }

private:
    std::size_t m_Count;
    std::deque<std::wstring> m_Texts;
};

/// The code under test.
void Brake(int speed)
{
    QUARN_DEBUG(CATEGORY_BRAKE, L"braking from %d mm/s", speed);
    for (; speed > 0; speed -= 40) {
        QUARN_DEBUG(CATEGORY_BRAKE, L"%d mm/s", speed);
    }
    QUARN_INFO(CATEGORY_BRAKE, L"standing");
}

} // namespace

int main()
{
    const LastMessages log(3);

    Brake(100); // automatic logging is on: each message is delivered before its call returns

    const bool asExpected = log.Texts() == std::vector<std::wstring>{L"60 mm/s", L"20 mm/s", L"standing"};
    for (const std::wstring& text : log.Texts()) {
        std::printf("%ls\n", text.c_str());
    }
    std::puts(asExpected ? "as expected" : "not as expected");
    return asExpected ? 0 : 1;
}
