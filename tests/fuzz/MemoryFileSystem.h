#ifndef QUARN_LOGGING_TESTS_MEMORY_FILE_SYSTEM_H
#define QUARN_LOGGING_TESTS_MEMORY_FILE_SYSTEM_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QuarnTest {

/// Files and directories in memory, with the rules of POSIX: no links, no permissions. The working directory is the
/// root. A file that is open stays as long as somebody holds its content.
class MemoryFileSystem
{
public:
    using Content = std::shared_ptr<std::string>;

    /// As fopen with "w+": an empty file, new or not. Null if there can be none.
    Content Create(const std::string& path);

    /// As fopen with "a+": a file that is there keeps its bytes.
    Content CreateOrContinue(const std::string& path);
    bool Rename(const std::string& from, const std::string& to);
    bool Unlink(const std::string& path);
    bool MakeDirectory(const std::string& path);
    bool Exists(const std::string& path) const;

    /// Names in a directory, "." and ".." included, in no useful order; nothing if it is none.
    std::optional<std::vector<std::string>> Names(const std::string& path) const;

    /// All paths without a leading "/", in the order of their characters. A directory has no content.
    const std::map<std::string, Content>& Entries() const { return m_Entries; }

    /// Whether both hold the same names, and the same bytes under them.
    bool operator==(const MemoryFileSystem& other) const;

private:
    /// The one name of an entry, there or not; nothing if a directory on the way to it is missing.
    std::optional<std::string> Resolve(const std::string& path) const;
    bool IsDirectory(const std::string& name) const;
    bool IsFile(const std::string& name) const;
    bool IsEmpty(const std::string& directory) const;
    void Move(const std::string& from, const std::string& to);

    std::map<std::string, Content> m_Entries;
};

} // namespace QuarnTest

#endif
