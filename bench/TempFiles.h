#ifndef QUARN_BENCH_TEMP_FILES_H
#define QUARN_BENCH_TEMP_FILES_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace QuarnBench {

/// A directory of its own for the files of a run, removed with all of them at the end.
class TempFiles
{
public:
    explicit TempFiles(const std::string& parent)
        : m_Directory(std::filesystem::absolute(parent).string() + "/quarn-bench-XXXXXX")
    {
        std::filesystem::create_directories(parent);
        if (mkdtemp(m_Directory.data()) == nullptr) {
            std::perror(m_Directory.c_str());
            std::exit(1);
        }
    }
    ~TempFiles()
    {
        std::error_code error;
        std::filesystem::remove_all(m_Directory, error);
    }
    TempFiles(const TempFiles&) = delete;
    TempFiles& operator=(const TempFiles&) = delete;

    const std::string& Directory() const { return m_Directory; }

    /// Of all files there together.
    std::string Contents() const
    {
        std::ostringstream contents;
        for (const auto& entry : std::filesystem::directory_iterator(m_Directory)) {
            contents << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        }
        return contents.str();
    }

    void Clear() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(m_Directory)) {
            std::filesystem::remove_all(entry.path());
        }
    }

private:
    std::string m_Directory;
};

} // namespace QuarnBench

#endif
