#ifndef QUARN_LOGGING_TESTS_QUEUE_BLOCK_H
#define QUARN_LOGGING_TESTS_QUEUE_BLOCK_H

#include <cstdint>
#include <cstring>
#include <vector>

namespace QuarnTest {

/// The 2 MiB in which a queue lives, seen as bytes. The offsets are written out here once more on purpose: tests do not
/// take them from the code under test.
class QueueBlock
{
public:
    static constexpr std::uint32_t SIZE = 0x200000;
    static constexpr std::uint32_t HEADER = 80;
    static constexpr std::uint32_t CAPACITY = 0x1FFFB0;

    enum Field : std::uint32_t {
        Magic1 = 32,
        Magic2 = 36,
        TotalSize = 40,
        Capacity = 44,
        WritePos = 48,
        ReadPos = 52,
        EndPos = 56,
        Count = 60,
        Dropped = 64,
        Sequence = 68,
        StartTime = 72
    };

    QueueBlock()
        : m_Words(SIZE / 8)
    {
    }

    unsigned char* Bytes() { return reinterpret_cast<unsigned char*>(m_Words.data()); }
    const unsigned char* Bytes() const { return reinterpret_cast<const unsigned char*>(m_Words.data()); }
    bool operator==(const QueueBlock& other) const { return m_Words == other.m_Words; }

    std::uint32_t Get(std::uint32_t offset) const
    {
        std::uint32_t word = 0;
        std::memcpy(&word, Bytes() + offset, sizeof word);
        return word;
    }
    void Set(std::uint32_t offset, std::uint32_t word) { std::memcpy(Bytes() + offset, &word, sizeof word); }

    /// Words of the record buffer.
    std::uint32_t GetRecord(std::uint32_t position, std::uint32_t offset) const
    {
        return Get(HEADER + position + offset);
    }
    void SetRecord(std::uint32_t position, std::uint32_t offset, std::uint32_t word)
    {
        Set(HEADER + position + offset, word);
    }

private:
    std::vector<std::uint64_t> m_Words; // 64 bits wide for the alignment of a double
};

} // namespace QuarnTest

#endif
