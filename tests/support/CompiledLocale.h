#ifndef QUARN_LOGGING_TESTS_COMPILED_LOCALE_H
#define QUARN_LOGGING_TESTS_COMPILED_LOCALE_H

#include "Subprocess.h"
#include "TempDir.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace QuarnTest {

/// A locale that need not be installed, only its source. It is the process's while the object lives.
class CompiledLocale
{
public:
    /// Such as "de_DE" and "UTF-8".
    CompiledLocale(const std::string& source, const std::string& charset)
    {
        const std::string name = source + "." + charset;
        // What it says is warnings, with which its exit code is 1.
        RunCommand("localedef --no-warnings=all -i " + source + " -f " + charset + " " + Quoted(m_Dir.File(name)) +
                   " 2>&1");
        setenv("LOCPATH", m_Dir.Path().c_str(), 1);
        m_IsSet = std::setlocale(LC_ALL, name.c_str()) != nullptr;
    }
    ~CompiledLocale()
    {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }
    CompiledLocale(const CompiledLocale&) = delete;
    CompiledLocale& operator=(const CompiledLocale&) = delete;

    bool IsSet() const { return m_IsSet; }

    /// Whether there is such a source at all. Without it a test can only say so and be skipped.
    static bool HasSource(const std::string& source)
    {
        return std::filesystem::exists("/usr/share/i18n/locales/" + source);
    }

private:
    TempDir m_Dir;
    bool m_IsSet = false;
};

} // namespace QuarnTest

#endif
