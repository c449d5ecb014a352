#ifndef QUARN_LOGGING_TESTS_QUEUE_PAINTER_H
#define QUARN_LOGGING_TESTS_QUEUE_PAINTER_H

#include "QueueBlock.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace QuarnTest {

/// @brief Fills the 2 MiB of a queue as fuzz data says: a header, records at some places, damage to them.
///
/// Only what is painted is not zero, and that is remembered, so that a block need not be cleared as a whole.
class QueuePainter
{
public:
    static constexpr std::uint32_t BEGIN_WORD = 0x7B7B7B7B;
    static constexpr std::uint32_t END_WORD = 0x7D7D7D7D;

    /// Offsets in a record.
    enum Field : std::uint32_t {
        Begin = 0,
        RecordSequence = 4,
        End = 8,
        FileLength = 36,
        TextLength = 40,
        RecordSize = 44,
        Next = 48,
        Text = 52
    };

    using Range = std::pair<std::uint32_t, std::uint32_t>; ///< Begin and end, bytes from the header's beginning.

    QueuePainter(FuzzedDataProvider& data, unsigned char* block)
        : m_Data(data)
        , m_pBlock(block)
    {
    }

    void Paint()
    {
        while (m_Data.remaining_bytes() > 8 && m_Data.ConsumeIntegralInRange(0, 31) != 0) {
            switch (m_Data.ConsumeIntegralInRange(0, 7)) {
            case 0:
                m_Cursor = Position();
                break;
            case 1:
                m_Sequence = Word(m_Sequence);
                break;
            case 2:
                DamageRecord();
                break;
            case 3:
                PaintBytes();
                break;
            default:
                PaintRecord();
            }
        }
        PaintHeader();
    }

    const std::vector<Range>& Painted() const { return m_Painted; }

    /// A number that is likely to be wrong in an interesting way.
    std::uint32_t Word(std::uint32_t old)
    {
        static constexpr std::uint32_t LIMITS[] = {0,          4,          60,         QueueBlock::CAPACITY, 0x3FFFFFFF,
                                                   0x40000000, 0x80000000, 0xFFFFFFFF, BEGIN_WORD,           END_WORD};
        switch (m_Data.ConsumeIntegralInRange(0, 4)) {
        case 0:
            return old ^ (1U << m_Data.ConsumeIntegralInRange(0, 31));
        case 1:
            return m_Data.PickValueInArray(LIMITS) + 4 * m_Data.ConsumeIntegralInRange<std::uint32_t>(0, 2) - 4;
        case 2:
            return old + m_Data.ConsumeIntegral<std::uint8_t>() - 128;
        case 3:
            return Position();
        default:
            return m_Data.ConsumeIntegral<std::uint32_t>();
        }
    }

    std::uint32_t WordAt(std::uint32_t offset) const
    {
        std::uint32_t word = 0;
        std::memcpy(&word, m_pBlock + offset, sizeof word);
        return word;
    }

    void SetWord(std::uint32_t offset, std::uint32_t word) { Set(offset, &word, sizeof word); }

    /// What does not fit is left out.
    void Set(std::uint32_t offset, const void* bytes, std::size_t size)
    {
        if (offset >= QueueBlock::SIZE) {
            return;
        }
        size = std::min(size, std::size_t{QueueBlock::SIZE - offset});
        std::memcpy(m_pBlock + offset, bytes, size);
        Remember(offset, static_cast<std::uint32_t>(size));
    }

    /// What somebody else may write.
    void Remember(std::uint32_t offset, std::uint32_t size)
    {
        m_Painted.emplace_back(offset, std::min(offset + size, QueueBlock::SIZE));
    }

private:
    /// A multiple of 4 in the buffer, often near its ends or where a record is.
    std::uint32_t Position()
    {
        const auto words = std::uint32_t{m_Data.ConsumeIntegral<std::uint8_t>()};
        switch (m_Data.ConsumeIntegralInRange(0, 3)) {
        case 0:
            return 4 * words;
        case 1:
            return QueueBlock::CAPACITY - 4 * words;
        case 2:
            return m_Records.empty() ? 0 : m_Records[words % m_Records.size()];
        default:
            return m_Data.ConsumeIntegralInRange<std::uint32_t>(0, QueueBlock::CAPACITY / 4) * 4;
        }
    }

    /// A whole record behind the last one.
    void PaintRecord()
    {
        const std::string file = m_Data.ConsumeRandomLengthString(12);
        const auto textLength = m_Data.ConsumeIntegralInRange<std::uint32_t>(0, 20);
        const auto fileLength = static_cast<std::uint32_t>(file.size());
        const std::uint32_t size = (fileLength + 4 * textLength + 60) / 4 * 4;
        const bool isLast = m_Cursor + size >= QueueBlock::CAPACITY || m_Data.ConsumeIntegralInRange(0, 15) == 15;
        const std::uint32_t words[] = {BEGIN_WORD,
                                       m_Sequence++,
                                       END_WORD,
                                       1000,
                                       5,
                                       0,
                                       m_Data.ConsumeIntegral<std::uint32_t>(), // any time
                                       0x1A2B,
                                       7,
                                       fileLength,
                                       textLength,
                                       size,
                                       isLast ? 0 : m_Cursor + size};
        const std::uint32_t record = QueueBlock::HEADER + m_Cursor;
        Set(record, words, sizeof words);
        for (std::uint32_t i = 0; i < textLength; ++i) {
            SetWord(record + 52 + 4 * i, m_Data.ConsumeBool() ? 'x' : m_Data.ConsumeIntegral<std::uint32_t>());
        }
        Set(record + 56 + 4 * textLength, file.data(), file.size());
        m_Records.push_back(m_Cursor);
        m_Cursor = isLast ? 0 : m_Cursor + size;
    }

    /// One of the words that markers, lengths and links are in.
    void DamageRecord()
    {
        static constexpr std::uint32_t FIELDS[] = {Begin,      RecordSequence, End,  FileLength,
                                                   TextLength, RecordSize,     Next, Text};
        if (m_Records.empty()) {
            return;
        }
        const std::uint32_t record =
            QueueBlock::HEADER + m_Records[m_Data.ConsumeIntegral<std::uint8_t>() % m_Records.size()];
        const std::uint32_t word = record + m_Data.PickValueInArray(FIELDS);
        if (word + 4 <= QueueBlock::SIZE) {
            SetWord(word, Word(WordAt(word)));
        }
        if (m_Data.ConsumeBool() && record + 52 <= QueueBlock::SIZE) { // so that only the buffer's limits tell
            const std::uint32_t size = (WordAt(record + FileLength) + 4 * WordAt(record + TextLength) + 60) / 4 * 4;
            SetWord(record + RecordSize, size);
            SetWord(record + Next, m_Data.ConsumeBool() ? 0 : record - QueueBlock::HEADER + size);
        }
    }

    void PaintBytes()
    {
        const std::uint32_t offset =
            QueueBlock::HEADER + Position() + m_Data.ConsumeIntegralInRange<std::uint32_t>(0, 3);
        const std::string bytes = m_Data.ConsumeRandomLengthString(80);
        Set(offset, bytes.data(), bytes.size());
    }

    void PaintHeader()
    {
        const std::uint32_t words[] = {
            0xDEADBEEF, 0x47110817, QueueBlock::SIZE, QueueBlock::CAPACITY, m_Cursor, 0, QueueBlock::CAPACITY, 0, 0,
            m_Sequence, 0,          0x41D991A0};
        Set(QueueBlock::Magic1, words, sizeof words);
        static constexpr std::uint32_t FIELDS[] = {
            QueueBlock::WritePos, QueueBlock::WritePos,  QueueBlock::EndPos,   QueueBlock::EndPos,
            QueueBlock::ReadPos,  QueueBlock::Count,     QueueBlock::Dropped,  QueueBlock::Sequence,
            QueueBlock::Magic1,   QueueBlock::TotalSize, QueueBlock::Capacity, QueueBlock::StartTime + 4};
        for (int damages = m_Data.ConsumeIntegralInRange(0, 3); damages != 0; --damages) {
            const std::uint32_t field = m_Data.PickValueInArray(FIELDS);
            SetWord(field, Word(WordAt(field)));
        }
    }

    FuzzedDataProvider& m_Data;
    unsigned char* m_pBlock;
    std::vector<Range> m_Painted;
    std::vector<std::uint32_t> m_Records; ///< Their positions.
    std::uint32_t m_Cursor = 0;
    std::uint32_t m_Sequence = 1;
};

} // namespace QuarnTest

#endif
