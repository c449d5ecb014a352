#ifndef QUARN_LOGGING_TESTS_ROTATION_REFERENCE_H
#define QUARN_LOGGING_TESTS_ROTATION_REFERENCE_H

#include "MemoryFileSystem.h"

#include <cstdint>
#include <string>

namespace QuarnTest {

/// @brief What the built-in logger does with its files, once more, on files of its own.
///
/// The documented rules one by one, for patterns of any kind, and without a care for speed or failing memory.
class RotationReference
{
public:
    explicit RotationReference(std::int64_t now)
        : m_Now(now)
    {
    }

    void SetOutputStream(const std::wstring& name, std::uint32_t size, std::uint32_t count);

    /// A line, and what printf says to it: -1 if it cannot be converted, and is then not written.
    void Log(const std::string& line, int result);

    /// The end of the logger.
    void End();

    MemoryFileSystem m_Files;
    std::string m_Console;
    std::int64_t m_Now; ///< Nanoseconds.

private:
    void Split();
    void Open();
    void OpenLate();
    void MakeDirectory();
    void MoveAside();
    void Remove();
    std::wstring StampedName() const;

    bool m_IsConsole = true;
    MemoryFileSystem::Content m_File; ///< Null in console mode and after a failed open.
    std::wstring m_Pattern;
    std::wstring m_Name;
    std::wstring m_Prefix;
    std::wstring m_Suffix;
    std::uint32_t m_MaxSize = 0;
    std::uint32_t m_Written = 0;
    std::uint32_t m_MaxOldFiles = 0;
};

} // namespace QuarnTest

#endif
