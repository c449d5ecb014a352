#include "CQLogQueue.h"

#include "GuardedMemory.h"
#include "QueueBlock.h"
#include "QueueReading.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

using namespace QuarnTest;
using Quarn::Logging::CQLogQueue;

namespace {

constexpr std::uint32_t BLOCK = 4096;
constexpr std::uint32_t CAPACITY = BLOCK - QueueBlock::HEADER;

/// A queue in use, on a block in which anything may change. Small, so that it is full and goes round after few steps.
class Run
{
public:
    Run(FuzzedDataProvider& data, GuardedMemory& memory)
        : m_Data(data)
        , m_Memory(memory)
        , m_pQueue(new (memory.Bytes()) CQLogQueue(CAPACITY))
    {
    }
    ~Run() { m_pQueue->~CQLogQueue(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void Step()
    {
        switch (m_Data.ConsumeIntegralInRange(0, 15)) {
        case 0:
            DamageHeader();
            break;
        case 1:
        case 2:
            DamageWord();
            break;
        case 3:
            DamageBytes();
            break;
        case 4:
            m_pQueue->ClearAll();
            break;
        case 5:
            ReadAll(*m_pQueue, m_Memory);
            break;
        case 6:
        case 7:
        case 8:
            static_cast<void>(ReadRecord(*m_pQueue, m_Memory));
            break;
        default:
            Write();
        }
    }

    void End() { ReadAll(*m_pQueue, m_Memory); }

private:
    void Write()
    {
        const std::string file(m_Data.ConsumeIntegralInRange<std::size_t>(0, m_Data.ConsumeBool() ? 10 : 4100), 'f');
        const std::wstring text(m_Data.ConsumeIntegralInRange<std::size_t>(0, 100), L't');
        m_pQueue->WriteMessage(1000, 1, 0.5, 7, file.c_str(), 3, text.c_str());
    }

    std::uint32_t WordAt(std::uint32_t offset) const
    {
        std::uint32_t word = 0;
        std::memcpy(&word, m_Memory.Bytes() + offset, sizeof word);
        return word;
    }
    void SetWord(std::uint32_t offset, std::uint32_t word)
    {
        std::memcpy(m_Memory.Bytes() + offset, &word, sizeof word);
    }

    std::uint32_t Word(std::uint32_t old)
    {
        static constexpr std::uint32_t LIMITS[] = {0,          4,          60,         CAPACITY,   CAPACITY - 60,
                                                   0x3FFFFFFF, 0x40000000, 0x80000000, 0xFFFFFFFF, 0xFFFFFFC0};
        switch (m_Data.ConsumeIntegralInRange(0, 3)) {
        case 0:
            return old ^ (1U << m_Data.ConsumeIntegralInRange(0, 31));
        case 1:
            return m_Data.PickValueInArray(LIMITS) + 4 * m_Data.ConsumeIntegralInRange<std::uint32_t>(0, 2) - 4;
        case 2:
            return m_Data.ConsumeIntegralInRange<std::uint32_t>(0, CAPACITY);
        default:
            return m_Data.ConsumeIntegral<std::uint32_t>();
        }
    }

    void DamageHeader()
    {
        static constexpr std::uint32_t FIELDS[] = {QueueBlock::WritePos, QueueBlock::ReadPos, QueueBlock::EndPos,
                                                   QueueBlock::Count};
        const std::uint32_t field = m_Data.PickValueInArray(FIELDS);
        SetWord(field, Word(WordAt(field)));
    }

    /// A field of the record that is read next, or any word of the buffer. Made to agree with the lengths if wanted, so
    /// that only the limits of the buffer tell that it is wrong.
    void DamageWord()
    {
        std::uint32_t record = QueueBlock::HEADER + WordAt(QueueBlock::ReadPos) % (CAPACITY - 60) / 4 * 4;
        if (m_Data.ConsumeIntegralInRange(0, 3) == 3) {
            record = QueueBlock::HEADER + m_Data.ConsumeIntegralInRange<std::uint32_t>(0, (CAPACITY - 60) / 4) * 4;
        }
        const std::uint32_t word = record + m_Data.ConsumeIntegralInRange<std::uint32_t>(0, 13) * 4;
        SetWord(word, Word(WordAt(word)));
        if (m_Data.ConsumeBool()) {
            const std::uint32_t size = (WordAt(record + 36) + 4 * WordAt(record + 40) + 60) / 4 * 4;
            SetWord(record + 44, size);
            SetWord(record + 48, m_Data.ConsumeBool() ? 0 : record - QueueBlock::HEADER + size);
        }
    }

    void DamageBytes()
    {
        const std::string bytes = m_Data.ConsumeRandomLengthString(64);
        const auto offset = m_Data.ConsumeIntegralInRange<std::size_t>(QueueBlock::HEADER, BLOCK - 64);
        std::memcpy(m_Memory.Bytes() + offset, bytes.data(), bytes.size());
    }

    FuzzedDataProvider& m_Data;
    GuardedMemory& m_Memory;
    CQLogQueue* m_pQueue; ///< Lives in the memory.
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static GuardedMemory memory(BLOCK);
    std::memset(memory.Bytes(), 0, BLOCK);
    FuzzedDataProvider data(bytes, size);
    Run run(data, memory);
    for (int steps = 0; steps < 300 && data.remaining_bytes() != 0; ++steps) {
        run.Step();
    }
    run.End();
    return 0;
}
