#ifndef QUARN_TOOL_IMAGE_SCANNER_H
#define QUARN_TOOL_IMAGE_SCANNER_H

#include "Compression.h"
#include "InputFile.h"

#include <deque>
#include <functional>
#include <utility>
#include <vector>

namespace Quarn::Logging::Tool {

/// @brief Finds the queues in an image by their headers, at every offset that is a multiple of 4.
///
/// Reads the image once, from front to end, through a window of 4 MiB, so that its size does not matter and a pipe will
/// do.
class ImageScanner
{
public:
    /// Headers whose blocks overlap at one place. A heap leaves one queue in the remains of another at most, and
    /// each costs a copy of 2 MiB: an image made of headers must not take for ever.
    static constexpr std::size_t MAX_OVERLAPPING = 16;

    /// A queue's header at an offset in the image, and the bytes from there that the image has, 2 MiB at most. They
    /// stay during the call only. False ends the scan.
    using Visitor = std::function<bool(std::uint64_t offset, const unsigned char* bytes, std::size_t size)>;

    explicit ImageScanner(InputFile& input);

    /// Has the scan end where a function says so, which is asked now and then.
    void SetStop(std::function<bool()> stop) { m_Stop = std::move(stop); }

    /// Calls visitor for each queue in the order of the image.
    void ForEachQueue(const Visitor& visitor);

    /// What the image begins with; zeros where it is shorter.
    const ImageStart& Start() const { return m_ImageStart; }

    /// Headers that MAX_OVERLAPPING left out.
    unsigned int Skipped() const { return m_Skipped; }

private:
    bool FindHeader();
    bool IsHeader() const;
    bool Report(const Visitor& visitor);
    void Refill(bool headerFound);

    InputFile& m_Input;
    std::function<bool()> m_Stop;
    ImageStart m_ImageStart{};
    std::vector<unsigned char> m_Window;
    std::size_t m_Filled = 0;             ///< Bytes in the window.
    std::size_t m_Place = 0;              ///< Where the search has come to in the window.
    std::uint64_t m_Start = 0;            ///< Offset of the window in the image.
    bool m_AtEnd = false;                 ///< Nothing follows what is in the window.
    std::deque<std::uint64_t> m_Reported; ///< Offsets of the last queues, MAX_OVERLAPPING at most.
    unsigned int m_Skipped = 0;
};

} // namespace Quarn::Logging::Tool

#endif
