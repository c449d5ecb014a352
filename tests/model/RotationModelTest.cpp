#include "AceLoggerTest.h"
#include "SeededRandom.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace QuarnTest;
using Quarn::Logging::CQAceLogger;

namespace {

using Content = std::shared_ptr<std::string>;
using Files = std::map<std::string, Content>;

/// What a pattern means, written out by hand.
struct SPattern
{
    const wchar_t* pattern;
    std::string current;
    std::string prefix;
    const char* suffix; // null: the one of the pattern before
    std::string folder; // of the removal; empty: none
};

const std::vector<SPattern> PATTERNS = {
    {L"", "", "", "", ""},
    {L"log/app-%T.txt", "log/app.txt", "log/app-", ".txt", "log/"},
    {L"log/%T-app.txt", "log/app.txt", "log/", "-app.txt", "log/"},
    {L"log/app_%T.txt", "log/app_.txt", "log/app_", ".txt", "log/"},
    {L"log/a-%T-%T.txt", "log/a%T.txt", "log/a-", "-%T.txt", "log/"},
    {L"log/app.txt", "log/app.txt", "log/app.txt", nullptr, "log/"},
    {L"log/a", "log/a", "log/a", nullptr, "log/"},
    {L"app.txt", "app.txt", "app.txt", nullptr, ""},
    {L"a%T-x.txt", "ax.txt", "a", "-x.txt", ""},
    {L"log\\app-%T.txt", "log\\app.txt", "log\\app-", ".txt", "log/"},
    {L"no/such/app.txt", "no/such/app.txt", "no/such/app.txt", nullptr, "no/such/"},
};

bool StartsWith(const std::string& text, const std::string& start) { return text.compare(0, start.size(), start) == 0; }

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// The logger's files as names and contents. Time is in milliseconds after 13:45:09 and stays below ten hours.
class Model
{
public:
    Files m_Files;
    std::string m_Console;
    std::int64_t m_Now = 0;

    void Select(const SPattern& pattern, unsigned int size, unsigned int count)
    {
        End();
        m_Pattern = pattern;
        m_Suffix = pattern.suffix != nullptr ? pattern.suffix : m_Suffix;
        m_Size = size;
        m_Count = count == 0 ? 1 : count;
        m_IsFile = !pattern.current.empty();
        if (m_IsFile && m_Files.count(pattern.current) != 0) {
            Rename();
            Remove();
        }
        Open();
    }

    void Log(const std::string& line)
    {
        if (!m_IsFile) {
            m_Console += line;
            return;
        }
        if (m_Current == nullptr) {
            return;
        }
        *m_Current += line;
        if (m_Size != 0 && m_Current->size() >= m_Size) {
            Rename();
            Open();
            Remove();
        }
    }

    /// The end of the logger or of a selection.
    void End()
    {
        if (m_Current != nullptr) {
            m_Current = nullptr;
            Rename();
            Remove();
        }
    }

private:
    void Open()
    {
        m_Current = nullptr;
        if (!m_IsFile || StartsWith(m_Pattern.current, "no/")) {
            return;
        }
        Content& content = m_Files[m_Pattern.current];
        content = std::make_shared<std::string>();
        m_Current = content;
    }

    std::string StampedName() const
    {
        const std::int64_t seconds = 45 * 60 + 9 + m_Now / 1000;
        char stamp[64];
        std::snprintf(stamp, sizeof stamp, "20240517-%02d%02d%02d", static_cast<int>(13 + seconds / 3600),
                      static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
        return m_Pattern.prefix + stamp + m_Suffix;
    }

    void Rename()
    {
        while (m_Files.count(StampedName()) != 0) {
            m_Now = (m_Now / 1000 + 1) * 1000;
        }
        const auto file = m_Files.find(m_Pattern.current);
        if (file != m_Files.end()) {
            m_Files[StampedName()] = file->second;
            m_Files.erase(file);
        }
    }

    void Remove()
    {
        if (m_Pattern.folder.empty()) {
            return;
        }
        const std::string base = m_Pattern.folder + m_Pattern.prefix.substr(m_Pattern.folder.size());
        std::vector<std::string> matches; // in order, as the map is
        for (const auto& file : m_Files) {
            if (StartsWith(file.first, base) && EndsWith(file.first.substr(m_Pattern.folder.size()), m_Suffix)) {
                matches.push_back(file.first);
            }
        }
        for (std::size_t i = 0; i + m_Count < matches.size(); ++i) {
            m_Files.erase(matches[i]);
        }
    }

    SPattern m_Pattern = PATTERNS[0];
    std::string m_Suffix;
    Content m_Current;
    bool m_IsFile = false;
    unsigned int m_Size = 0;
    std::size_t m_Count = 1;
};

/// The logger and the model do the same, at random.
class RotationModelTest : public AceLoggerTest
{
protected:
    RotationModelTest() { std::filesystem::create_directory("log"); }

    unsigned int Draw(unsigned int below) { return m_Random() % below; }

    std::map<std::string, std::string> FilesOnDisk() const
    {
        std::map<std::string, std::string> files;
        for (const char* folder : {"", "log/"}) {
            for (const std::string& name : m_Dir.Names(folder)) {
                if (folder + name != "log") {
                    files[folder + name] = m_Dir.Read(folder + name);
                }
            }
        }
        return files;
    }
    std::map<std::string, std::string> FilesOfModel() const
    {
        std::map<std::string, std::string> files;
        for (const auto& [name, content] : m_Model.m_Files) {
            files[name] = *content;
        }
        return files;
    }

    /// Does one operation on both; returns what it was.
    std::string Step()
    {
        const unsigned int operation = Draw(20);
        if (operation < 12) {
            return LogLine(Draw(120));
        }
        if (operation < 15) {
            return SelectOutput(PATTERNS[Draw(static_cast<unsigned int>(PATTERNS.size()))], Draw(4) * 150, Draw(5));
        }
        if (operation < 18) {
            return MoveClock(Draw(2500));
        }
        return operation == 18 ? MakeStranger() : Restart();
    }

    SeededRandom m_Random;
    Model m_Model;
    std::string m_Console;

private:
    std::string LogLine(unsigned int length)
    {
        testing::internal::CaptureStdout();
        QuarnTest::Write(*m_pTested, std::wstring(length, L'x'));
        m_Console += testing::internal::GetCapturedStdout();
        m_Model.Log(Line(std::string(length, 'x')));
        FollowClock();
        return "log " + std::to_string(length);
    }
    std::string SelectOutput(const SPattern& pattern, unsigned int size, unsigned int count)
    {
        m_pTested->SetOutputStream(pattern.pattern, size, count);
        m_Model.Select(pattern, size, count);
        FollowClock();
        return "select " + pattern.prefix + "|" + (pattern.suffix == nullptr ? "" : pattern.suffix) + " " +
               std::to_string(size) + " " + std::to_string(count);
    }
    std::string MoveClock(std::int64_t milliseconds)
    {
        m_Clock.Advance(0, milliseconds * 1000000);
        m_Model.m_Now += milliseconds;
        return "clock " + std::to_string(milliseconds);
    }
    std::string MakeStranger()
    {
        const char* const names[] = {"log/app-zz.txt",     "log/app-.txt", "log/notes",     "log/a",  "log/app.txt.bak",
                                     "log/0-%T.txt",       "app.txt",      "log/x-app.txt", "ax.txt", "log/app_!.txt",
                                     "log/a20200101-x.txt"};
        const std::string name = names[Draw(std::size(names))];
        if (m_Model.m_Files.count(name) == 0) {
            m_Dir.Write(name, "stranger");
            m_Model.m_Files[name] = std::make_shared<std::string>("stranger");
        }
        return "stranger " + name;
    }
    std::string Restart()
    {
        m_pTested = nullptr;
        m_pTested = std::make_unique<CQAceLogger>();
        m_Model.End();
        const std::int64_t now = m_Model.m_Now;
        Files files = std::move(m_Model.m_Files);
        std::string console = std::move(m_Model.m_Console);
        m_Model = Model();
        m_Model.m_Files = std::move(files);
        m_Model.m_Console = std::move(console);
        m_Model.m_Now = now;
        FollowClock();
        return "restart";
    }
    /// Both slept alike, or the clocks differ.
    void FollowClock()
    {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        EXPECT_EQ((now.tv_sec - NOON_SHIFT) * 1000 + now.tv_nsec / 1000000, m_Model.m_Now);
    }

    std::unique_ptr<CQAceLogger> m_pTested = std::make_unique<CQAceLogger>();
};

TEST_F(RotationModelTest, FoldersHoldExactlyTheFilesOfTheModel)
{
    std::string history;
    for (int i = 0; i < 1000; ++i) {
        history += Step() + "\n";
        ASSERT_EQ(FilesOnDisk(), FilesOfModel()) << "QUARN_TEST_SEED=" << m_Random.Seed() << ", step " << i << "\n"
                                                 << history;
        ASSERT_EQ(m_Console, m_Model.m_Console);
        ASSERT_FALSE(HasFailure()) << "QUARN_TEST_SEED=" << m_Random.Seed() << ", step " << i << "\n" << history;
    }
}

} // namespace
