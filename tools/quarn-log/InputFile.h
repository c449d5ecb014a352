#ifndef QUARN_TOOL_INPUT_FILE_H
#define QUARN_TOOL_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace Quarn::Logging::Tool {

/// @brief An image, opened for reading only: a file of any size, a device, a pipe.
///
/// Its size is what reading yields; a device tells none. A device that can be mapped but not read, as the reserved
/// memory's may be, is mapped as the library does it: SLogQueueHeader::TOTAL_SIZE bytes.
class InputFile
{
public:
    /// Opens a file; "-" is standard input.
    explicit InputFile(const std::string& name);
    ~InputFile();

    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// Continues where the last Read() ended. Fewer bytes than asked for only at the end or after an error.
    std::size_t Read(unsigned char* target, std::size_t bytes);

    /// Reads at an offset and leaves Read()'s place alone. Not for pipes.
    std::size_t ReadAt(std::uint64_t offset, unsigned char* target, std::size_t bytes);

    /// If nothing but a hole of a sparse file follows up to an offset, moves Read()'s place there, less a margin.
    void SkipHole(std::uint64_t margin);

    /// Whether the name stands for another file by now. Not if it stands for none.
    bool IsReplaced(const std::string& name) const;

    /// Bytes from the beginning to where the next Read() continues.
    std::uint64_t Offset() const { return m_Offset; }

    /// errno of what failed first, opening included; 0 while nothing has.
    int Error() const { return m_Error; }

private:
    template <class ReadSome>
    std::size_t Fill(std::uint64_t offset, unsigned char* target, std::size_t bytes, ReadSome readSome);
    bool MapInstead();
    std::size_t CopyFromMapping(std::uint64_t offset, unsigned char* target, std::size_t bytes) const;

    int m_Fd;
    int m_Error = 0;
    std::uint64_t m_Offset = 0;
    void* m_pMapping = nullptr; ///< SLogQueueHeader::TOTAL_SIZE bytes; null unless the device had to be mapped.
};

} // namespace Quarn::Logging::Tool

#endif
