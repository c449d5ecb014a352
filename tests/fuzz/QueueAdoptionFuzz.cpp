#include "CQLogQueue.h"

#include "GuardedMemory.h"
#include "QueueBlock.h"
#include "QueuePainter.h"
#include "QueueReading.h"
#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <set>
#include <string>
#include <vector>

using namespace QuarnTest;
using Quarn::Logging::CQLogQueue;

namespace {

/// What a start finds in a block, once more: read from the bytes, by the offsets.
class Reference
{
public:
    explicit Reference(QueuePainter& block)
        : m_Block(block)
        , m_IsQueue(block.WordAt(32) == 0xDEADBEEF && block.WordAt(36) == 0x47110817 &&
                    block.WordAt(40) == QueueBlock::SIZE && block.WordAt(44) == QueueBlock::CAPACITY)
    {
    }

    /// Positions of the records that are read, in that order.
    std::vector<std::uint32_t> Chain()
    {
        Scan();
        std::vector<std::uint32_t> chain;
        for (std::uint32_t position = m_Oldest; chain.size() < m_Count && IsWellFormed(position);) {
            chain.push_back(position);
            const std::uint32_t next = Word(position, QueuePainter::Next);
            position = next >= m_Block.WordAt(QueueBlock::EndPos) ? 0 : next;
        }
        return chain;
    }

    std::uint32_t Count() const { return m_Count; }

    /// The words of the header that a queue is adopted with as they are; none if the block holds no queue.
    std::vector<std::uint32_t> KeptWords() const
    {
        std::vector<std::uint32_t> words;
        for (const std::uint32_t field : {QueueBlock::WritePos, QueueBlock::EndPos, QueueBlock::Dropped,
                                          QueueBlock::Sequence, QueueBlock::StartTime}) {
            words.push_back(m_IsQueue ? m_Block.WordAt(field) : 0);
        }
        words.push_back(m_IsQueue ? m_Block.WordAt(QueueBlock::StartTime + 4) : 0);
        return words;
    }

private:
    std::uint32_t Word(std::uint32_t position, std::uint32_t field) const
    {
        return m_Block.WordAt(QueueBlock::HEADER + position + field);
    }

    /// Only where something was painted is there a word that is not 0.
    void Scan()
    {
        std::set<std::uint32_t> places;
        for (const auto& [begin, end] : m_Block.Painted()) {
            for (std::uint32_t place = std::max(begin / 4 * 4, QueueBlock::HEADER); place < end; place += 4) {
                places.insert(place - QueueBlock::HEADER);
            }
        }
        std::uint32_t previous = 0;
        for (const std::uint32_t place : places) {
            if (!m_IsQueue || place >= QueueBlock::CAPACITY - 12 ||
                Word(place, QueuePainter::Begin) != QueuePainter::BEGIN_WORD ||
                Word(place, QueuePainter::End) != QueuePainter::END_WORD) {
                continue;
            }
            const std::uint32_t sequence = Word(place, QueuePainter::RecordSequence);
            if ((sequence != 0 && sequence < previous && previous != 0xFFFFFFFF) || sequence - previous > 0x80000000) {
                m_Oldest = place;
            }
            ++m_Count;
            previous = sequence;
        }
    }

    bool IsWellFormed(std::uint32_t position) const
    {
        if (position % 4 != 0 || position + 60 > QueueBlock::CAPACITY) {
            return false;
        }
        const std::uint64_t fileLength = Word(position, QueuePainter::FileLength);
        const std::uint64_t textLength = Word(position, QueuePainter::TextLength);
        const std::uint64_t size = (fileLength + 4 * textLength + 60) / 4 * 4;
        const std::uint64_t next = Word(position, QueuePainter::Next);
        if (next > QueueBlock::CAPACITY || Word(position, QueuePainter::RecordSize) != size ||
            position + size > QueueBlock::CAPACITY || (next != 0 && next < position + size)) {
            return false;
        }
        const auto text = static_cast<std::uint32_t>(position + 52 + 4 * textLength);
        const auto fileEnd = static_cast<std::uint32_t>(text + 4 + fileLength); // perhaps the last byte of the block
        return Word(text, 0) == 0 && (Word(fileEnd / 4 * 4, 0) >> fileEnd % 4 * 8 & 0xFF) == 0;
    }

    QueuePainter& m_Block;
    bool m_IsQueue;
    std::uint32_t m_Oldest = 0;
    std::uint32_t m_Count = 0;
};

/// The block of all runs, which is zero between them.
class Block
{
public:
    GuardedMemory m_Memory{QueueBlock::SIZE};

    void Clear(const std::vector<QueuePainter::Range>& painted)
    {
        std::memset(m_Memory.Bytes(), 0, QueueBlock::HEADER);
        for (const auto& [begin, end] : painted) {
            std::memset(m_Memory.Bytes() + begin, 0, end - begin);
        }
        if (++m_Runs % 1024 == 0) { // one run must not be another's input
            Require(std::all_of(m_Memory.Bytes(), m_Memory.Bytes() + QueueBlock::SIZE,
                                [](unsigned char byte) { return byte == 0; }),
                    "the block is zero again");
        }
    }

private:
    unsigned int m_Runs = 0;
};

/// The places that a message of some lengths may go to: where the writer is, or the front.
void Write(CQLogQueue& queue, QueuePainter& painter, const std::string& file, const std::wstring& text)
{
    const auto size = static_cast<std::uint32_t>(file.size() + 4 * text.size() + 60);
    const std::uint32_t writePos = std::min(painter.WordAt(QueueBlock::WritePos), QueueBlock::CAPACITY);
    painter.Remember(QueueBlock::HEADER + writePos, size);
    painter.Remember(QueueBlock::HEADER, size);
    queue.WriteMessage(2000, 6, 1.5, 9, file.c_str(), 11, text.c_str());
}

/// The next message must come out as it went in: the queue is empty, so there is always room.
void WriteAndRead(CQLogQueue& queue, QueuePainter& painter, GuardedMemory& memory, const std::string& file,
                  const std::wstring& text)
{
    Write(queue, painter, file, text);
    const std::optional<SReadRecord> record = ReadRecord(queue, memory);
    Require(record && record->level == 2000 && record->category == 6 && record->time == 1.5 && record->threadId == 9 &&
                record->line == 11 && record->file == file && record->text == text,
            "a message comes out of an empty queue as it went in");
    Require(!ReadRecord(queue, memory), "and only once");
}

/// Messages that are queued together must come out in order, whatever the positions were when the queue became empty.
/// An older wrap point that a queue may have left is not in their way only if they stay in front of it.
void WriteAndReadTogether(CQLogQueue& queue, QueuePainter& painter, GuardedMemory& memory, const std::string& file)
{
    Write(queue, painter, file, L"0");
    const std::uint32_t endPos = painter.WordAt(QueueBlock::EndPos);
    Require(endPos % 4 == 0 && endPos >= 60 && endPos <= QueueBlock::CAPACITY,
            "the first record of an empty queue makes good the wrap point");
    Write(queue, painter, file, L"1");
    Write(queue, painter, file, L"2");
    if (endPos == QueueBlock::CAPACITY) {
        for (const wchar_t* const text : {L"0", L"1", L"2"}) {
            const std::optional<SReadRecord> record = ReadRecord(queue, memory);
            Require(record && record->text == std::wstring(text), "messages come out in order");
        }
    }
    ReadAll(queue, memory);
}

/// A process that runs on the same device may write anything at any time.
void DamageInUse(QueuePainter& painter, FuzzedDataProvider& data)
{
    static constexpr std::uint32_t FIELDS[] = {QueueBlock::Capacity, QueueBlock::WritePos, QueueBlock::ReadPos,
                                               QueueBlock::EndPos};
    const std::uint32_t field = data.PickValueInArray(FIELDS);
    painter.SetWord(field, painter.Word(painter.WordAt(field)));
}

void Use(CQLogQueue& queue, QueuePainter& painter, GuardedMemory& memory, FuzzedDataProvider& data)
{
    const int lengths = data.ConsumeIntegralInRange(0, 200);
    const std::string file(static_cast<std::size_t>(lengths), 'f');
    const std::wstring text(static_cast<std::size_t>(lengths % 60), L't');
    if (data.ConsumeBool()) {
        WriteAndReadTogether(queue, painter, memory, file);
    }
    WriteAndRead(queue, painter, memory, file, text);
    for (int steps = data.ConsumeIntegralInRange(0, 8); steps != 0; --steps) {
        if (data.ConsumeIntegralInRange(0, 3) == 0) {
            DamageInUse(painter, data);
        }
        Write(queue, painter, file, text);
        if (data.ConsumeBool()) {
            static_cast<void>(ReadRecord(queue, memory));
        }
    }
    ReadAll(queue, memory);
}

} // namespace

/// A block with anything in it, a start over it, and the run after that.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static Block block;
    FuzzedDataProvider data(bytes, size);
    QueuePainter painter(data, block.m_Memory.Bytes());
    painter.Paint();
    Reference reference(painter);
    const std::vector<std::uint32_t> expected = reference.Chain();

    const std::vector<std::uint32_t> kept = reference.KeptWords();

    auto* const queue = new (block.m_Memory.Bytes()) CQLogQueue(true);
    Require(reference.KeptWords() == kept, "the header keeps what is kept");
    Require(queue->GetCount() == reference.Count(), "every whole record counts");
    std::vector<std::uint32_t> read;
    while (const std::optional<SReadRecord> record = ReadRecord(*queue, block.m_Memory)) {
        read.push_back(record->position);
        Require(read.size() <= expected.size(), "no more is read than there is");
    }
    Require(read == expected, "the oldest record is read first, then along the links");
    Use(*queue, painter, block.m_Memory, data);
    queue->~CQLogQueue();

    block.Clear(painter.Painted());
    return 0;
}
