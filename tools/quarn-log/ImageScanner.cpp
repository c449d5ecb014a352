#include "ImageScanner.h"

#include "SLogRecord.h"

#include <algorithm>
#include <cstring>

namespace Quarn::Logging::Tool {

namespace {

constexpr std::size_t BLOCK = SLogQueueHeader::TOTAL_SIZE;
constexpr std::size_t WINDOW = 2 * BLOCK;
constexpr std::size_t STEP = 4;

/// Bytes from the block's beginning to the end of what its header is known by.
constexpr std::size_t SIGNATURE_END = offsetof(SLogQueueHeader, m_Capacity) + sizeof(SLogQueueHeader::m_Capacity);

} // namespace

ImageScanner::ImageScanner(InputFile& input)
    : m_Input(input)
    , m_Window(WINDOW)
{
}

void ImageScanner::ForEachQueue(const Visitor& visitor)
{
    for (;;) {
        const bool found = FindHeader();
        if (found && (m_AtEnd || m_Place + BLOCK <= m_Filled)) {
            if (!Report(visitor)) {
                return;
            }
            m_Place += STEP;
        } else if (m_AtEnd || (m_Stop && m_Stop())) {
            return;
        } else {
            Refill(found);
        }
    }
}

/// Moves m_Place to the next header, or to where the window ends too early to tell.
bool ImageScanner::FindHeader()
{
    for (; m_Place + SIGNATURE_END <= m_Filled; m_Place += STEP) {
        std::uint32_t magic = 0;
        std::memcpy(&magic, &m_Window[m_Place + offsetof(SLogQueueHeader, m_Magic1)], sizeof magic);
        if (magic == SLogQueueHeader::MAGIC1 && IsHeader()) {
            return true;
        }
    }
    return false;
}

bool ImageScanner::IsHeader() const
{
    SLogQueueHeader header{};
    std::memcpy(&header, &m_Window[m_Place], SIGNATURE_END);
    return header.HoldsQueue();
}

bool ImageScanner::Report(const Visitor& visitor)
{
    const std::uint64_t offset = m_Start + m_Place;
    while (!m_Reported.empty() && m_Reported.front() + BLOCK <= offset) {
        m_Reported.pop_front();
    }
    if (m_Reported.size() == MAX_OVERLAPPING) {
        ++m_Skipped;
        return true;
    }
    m_Reported.push_back(offset);
    return visitor(offset, &m_Window[m_Place], std::min(BLOCK, m_Filled - m_Place));
}

/// Makes room by dropping what was searched, and reads on.
void ImageScanner::Refill(bool headerFound)
{
    std::copy(m_Window.begin() + static_cast<std::ptrdiff_t>(m_Place),
              m_Window.begin() + static_cast<std::ptrdiff_t>(m_Filled), m_Window.begin());
    m_Filled -= m_Place;
    m_Start += m_Place;
    m_Place = 0;
    if (!headerFound) {
        // A header may begin inside a hole, since its first 32 bytes are unused, but its signature does not end there.
        const std::uint64_t before = m_Input.Offset();
        m_Input.SkipHole(SIGNATURE_END);
        if (m_Input.Offset() != before) {
            m_Start = m_Input.Offset() / STEP * STEP;
            m_Filled = static_cast<std::size_t>(m_Input.Offset() - m_Start);
            std::fill_n(m_Window.begin(), m_Filled, static_cast<unsigned char>(0));
        }
    }
    const std::size_t wanted = WINDOW - m_Filled;
    const std::size_t got = m_Input.Read(&m_Window[m_Filled], wanted);
    if (m_Start == 0 && m_Filled == 0) {
        std::copy_n(m_Window.begin(), std::min(got, m_ImageStart.size()), m_ImageStart.begin());
    }
    m_Filled += got;
    m_AtEnd = got < wanted;
}

} // namespace Quarn::Logging::Tool
