#include "CQAceLogger.h"

#include "FakePlatform.h"
#include "Require.h"
#include "RotationReference.h"
#include "WideInput.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

using namespace QuarnTest;
using Quarn::Logging::CQAceLogger;

namespace {

/// Everything in a line up to its text.
const std::string HEAD = "a.cpp:7: info: m=5 t=2024.05.17-13:45:09.000 tid=0x1a: ";

/// The longest line, in characters.
constexpr std::size_t LONGEST = 1999;

/// A logger and the reference, which do the same on files of their own.
class Run
{
public:
    explicit Run(FuzzedDataProvider& data)
        : m_Data(data)
    {
        for (int old = m_Data.ConsumeIntegralInRange(0, 5); old != 0; --old) {
            MakeStranger();
        }
    }

    void Step()
    {
        m_Platform.m_Unlinked.clear();
        switch (m_Data.ConsumeIntegralInRange(0, 9)) {
        case 0:
        case 1:
            Select();
            break;
        case 2:
            MoveClock();
            break;
        case 3:
            MakeStranger();
            break;
        case 4:
            Restart();
            break;
        default:
            Log();
        }
        Check();
    }

    void End()
    {
        m_Platform.m_Unlinked.clear();
        m_pLogger = nullptr;
        m_Reference.End();
        Check();
    }

private:
    void Select()
    {
        m_LastPattern = m_Pattern;
        m_Pattern = Pattern();
        const auto size = m_Data.ConsumeIntegralInRange<unsigned int>(0, 300);
        const auto count = m_Data.ConsumeIntegralInRange<unsigned int>(0, 4);
        m_pLogger->SetOutputStream(m_Pattern.c_str(), size, count);
        m_Reference.SetOutputStream(m_Pattern, size, count);
    }

    /// Made of what patterns are made of, since the fuzzer would take long to find "log/app-%T.txt".
    std::wstring Pattern()
    {
        static constexpr const wchar_t* PIECES[] = {
            L"log/", L"%T", L"-",   L".txt", L"app", L"/", L"\\", L".",
            L"..",   L"_",  L"log", L"b/c",  L"a",   L"%", L"T",  L"20240517-134509"};
        std::wstring pattern;
        for (int pieces = m_Data.ConsumeIntegralInRange(0, 8); pieces != 0; --pieces) {
            pattern += m_Data.PickValueInArray(PIECES);
        }
        if (m_Data.ConsumeIntegralInRange(0, 3) == 3) {
            pattern.insert(m_Data.ConsumeIntegralInRange<std::size_t>(0, pattern.size()), ConsumeWide(m_Data, 20));
        }
        if (m_Data.ConsumeIntegralInRange(0, 31) == 31) { // longer than names, or paths, can be
            pattern.append(m_Data.ConsumeIntegralInRange<std::size_t>(200, 4200), L'x');
        }
        return pattern;
    }

    void Log()
    {
        const std::string text(
            m_Data.ConsumeIntegralInRange<std::size_t>(0, m_Data.ConsumeIntegralInRange(0, 15) == 15 ? 2100 : 60), 'x');
        const bool isBad = m_Data.ConsumeIntegralInRange(0, 15) == 15; // no character of the locale "C"
        const std::string line = (HEAD + text + "\n").substr(0, LONGEST);
        m_pLogger->Log(2000, 5, 0.0, 0x1a, "a.cpp", 7,
                       (std::wstring(isBad ? 1 : 0, L'\x100') + std::wstring(text.begin(), text.end())).c_str());
        m_Reference.Log(line, isBad ? -1 : static_cast<int>(line.size()));
    }

    /// The wall clock, which may be set back.
    void MoveClock()
    {
        const std::int64_t by = m_Data.ConsumeIntegralInRange<std::int64_t>(-3000000, 5000000) * 1000;
        m_Platform.m_Now += by;
        m_Reference.m_Now += by;
    }

    /// A file or a directory of somebody else.
    void MakeStranger()
    {
        static constexpr const char* FOLDERS[] = {"", "log/", "b/", "log/b/"};
        static constexpr const char* NAMES[] = {"app-20200101-000000.txt",
                                                "app.txt",
                                                "app-20240517-134509.txt",
                                                "app-.txt",
                                                "log",
                                                "b",
                                                "c",
                                                "a",
                                                "20240517-134510",
                                                "x%T",
                                                ".txt",
                                                "app.txt20240517-134509"};
        const std::string name = std::string(m_Data.PickValueInArray(FOLDERS)) + m_Data.PickValueInArray(NAMES);
        if (m_Platform.m_Files.Exists(name)) {
            return;
        }
        if (m_Data.ConsumeIntegralInRange(0, 3) == 3) {
            m_Platform.m_Files.MakeDirectory(name);
            m_Reference.m_Files.MakeDirectory(name);
            return;
        }
        for (MemoryFileSystem* files : {&m_Platform.m_Files, &m_Reference.m_Files}) {
            if (const MemoryFileSystem::Content content = files->Create(name)) {
                *content = "stranger";
            }
        }
    }

    void Restart()
    {
        m_pLogger = nullptr;
        m_pLogger = std::make_unique<CQAceLogger>();
        m_Reference.End();
        RotationReference next(m_Reference.m_Now);
        next.m_Files = m_Reference.m_Files;
        next.m_Console = m_Reference.m_Console;
        m_Reference = next;
        m_LastPattern = m_Pattern;
        m_Pattern.clear();
    }

    void Check()
    {
        m_Platform.BringUpToDate();
        for (const std::string& path : m_Platform.m_Unlinked) {
            Require(IsIn(m_Pattern, path) || IsIn(m_LastPattern, path), "only files of the pattern's directory go");
        }
        Require(m_Platform.m_Now == m_Reference.m_Now, "both have waited as long");
        if (!(m_Platform.m_Files == m_Reference.m_Files)) {
            Show("files", m_Platform.m_Files);
            Show("expected", m_Reference.m_Files);
        }
        Require(m_Platform.m_Files == m_Reference.m_Files, "both have the same files");
        Require(m_Console.Text() == m_Reference.m_Console, "both have written the same to the console");
    }

    void Show(const char* what, const MemoryFileSystem& files) const
    {
        std::fprintf(stderr, "%s, with the pattern \"%.200s\":\n", what,
                     std::string(m_Pattern.begin(), m_Pattern.end()).c_str());
        for (const auto& [name, content] : files.Entries()) {
            std::fprintf(stderr, "  %s: %s\n", name.c_str(),
                         content == nullptr ? "directory" : std::to_string(content->size()).c_str());
        }
    }

    /// Whether a path is one of a file right in a pattern's directory, which a pattern may have written with "\".
    static bool IsIn(const std::wstring& pattern, const std::string& path)
    {
        std::string directory;
        for (const wchar_t character : pattern) {
            directory += static_cast<char>(character);
        }
        const char separator = directory.find('/') == std::string::npos ? '\\' : '/';
        directory.resize(directory.find(separator) == std::string::npos ? 0 : directory.rfind(separator));
        return !directory.empty() && path.find('/', directory.size() + 1) == std::string::npos &&
               path.compare(0, directory.size() + 1, directory + "/") == 0;
    }

    FuzzedDataProvider& m_Data;
    CapturedConsole m_Console;
    FakePlatform m_Platform;
    RotationReference m_Reference{m_Platform.m_Now};
    std::wstring m_Pattern;
    std::wstring m_LastPattern;
    std::unique_ptr<CQAceLogger> m_pLogger = std::make_unique<CQAceLogger>();
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    Run run(data);
    for (int steps = 0; steps < 40 && data.remaining_bytes() != 0; ++steps) {
        run.Step();
    }
    run.End();
    return 0;
}
