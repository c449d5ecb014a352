#ifndef QUARN_LOGGING_TESTS_TEMP_DIR_H
#define QUARN_LOGGING_TESTS_TEMP_DIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace QuarnTest {

/// A fresh folder, removed with everything in it at the end.
class TempDir
{
public:
    TempDir()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quarn-test-XXXXXX").string();
        m_Path = mkdtemp(name.data());
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::permissions(m_Path, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(m_Path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return m_Path; }
    std::string File(const std::string& name) const { return (m_Path / name).string(); }
    std::wstring Wide(const std::string& name) const { return (m_Path / name).wstring(); }

    void Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name), std::ios::binary) << content;
    }
    std::string Read(const std::string& name) const
    {
        std::ifstream stream(File(name), std::ios::binary);
        std::ostringstream content;
        content << stream.rdbuf();
        return content.str();
    }
    bool Has(const std::string& name) const { return std::filesystem::exists(m_Path / name); }

    /// The names in a folder below this one, "" being this one itself.
    std::set<std::string> Names(const std::string& folder = "") const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Path / folder)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

private:
    std::filesystem::path m_Path;
};

} // namespace QuarnTest

#endif
