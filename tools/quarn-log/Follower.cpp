#include "Follower.h"

#include <cstring>

namespace Quarn::Logging::Tool {

namespace {

/// Half the numbers lie behind a number, the other half before it.
constexpr std::uint32_t HALF = 0x80000000;

} // namespace

Follower::Follower(InputFile& input, std::uint64_t offset, const RecordFilter& filter, Output& output)
    : m_Input(input)
    , m_Offset(offset)
    , m_Filter(filter)
    , m_Output(output)
    , m_FirstCopy(SLogQueueHeader::TOTAL_SIZE)
    , m_SecondCopy(SLogQueueHeader::TOTAL_SIZE)
{
}

bool Follower::Poll()
{
    SLogQueueHeader header{};
    const std::size_t got = m_Input.ReadAt(m_Offset, reinterpret_cast<unsigned char*>(&header), sizeof header);
    if (got != sizeof header || !header.HoldsQueue()) {
        return m_Input.Error() == 0; // a program may be about to make the region anew
    }
    if (IsAnotherRun(header)) {
        m_Output.Notice("the queue was started anew");
        m_Next.reset();
    }
    if (m_Next != header.m_Sequence) {
        if (!ReadBlock(m_FirstCopy) || !ReadBlock(m_SecondCopy)) {
            return false;
        }
        PrintNew(header);
        m_Next = header.m_Sequence;
    }
    m_Last = header;
    return true;
}

/// What the file does not have is zero.
bool Follower::ReadBlock(std::vector<unsigned char>& block)
{
    const std::size_t got = m_Input.ReadAt(m_Offset, block.data(), block.size());
    std::memset(block.data() + got, 0, block.size() - got);
    return m_Input.Error() == 0;
}

/// A start empties the queue, which begins to count again, and sets the start time. Bytes are compared, as it may be
/// anything, even what is not equal to itself.
bool Follower::IsAnotherRun(const SLogQueueHeader& header) const
{
    return m_Next && (header.m_Sequence - *m_Next >= HALF ||
                      std::memcmp(&header.m_StartTime, &m_Last.m_StartTime, sizeof header.m_StartTime) != 0);
}

void Follower::PrintNew(const SLogQueueHeader& header)
{
    const QueueReader queue(m_FirstCopy.data(), m_FirstCopy.size());
    const std::uint32_t expected = m_Next ? header.m_Sequence - *m_Next : HALF;
    std::uint32_t found = 0;
    for (const SRecordView& record : queue.All()) {
        const std::uint32_t age = header.m_Sequence - record.sequence; // 1: the newest
        if (!record.whole || age == 0 || age > expected || !queue.IsSameIn(m_SecondCopy.data(), record)) {
            continue;
        }
        ++found;
        if (m_Filter.Passes(record, header.m_StartTime)) {
            m_Output.WriteRecord(record, header, m_Offset);
        }
    }
    if (m_Next && found < expected) {
        m_Output.Notice(std::to_string(expected - found) + " records were overwritten before they could be read");
    }
}

} // namespace Quarn::Logging::Tool
