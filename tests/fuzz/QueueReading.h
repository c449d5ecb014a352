#ifndef QUARN_LOGGING_TESTS_QUEUE_READING_H
#define QUARN_LOGGING_TESTS_QUEUE_READING_H

#include "CQLogQueue.h"
#include "GuardedMemory.h"
#include "QueueBlock.h"
#include "Require.h"

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string>

namespace QuarnTest {

/// What a read hands out. The strings are still in the block.
struct SReadRecord
{
    std::uint32_t position; ///< In the record buffer.
    int level = 0;
    int category = 0;
    double time = 0;
    unsigned int threadId = 0;
    const char* file = nullptr;
    int line = 0;
    const wchar_t* text = nullptr;
};

/// Reads one record. Its strings must begin and end in the block.
inline std::optional<SReadRecord> ReadRecord(Quarn::Logging::CQLogQueue& queue, GuardedMemory& memory)
{
    SReadRecord record{};
    if (!queue.ReadMessage(record.level, record.category, record.time, record.threadId, record.file, record.line,
                           record.text)) {
        return std::nullopt;
    }
    const auto begin = reinterpret_cast<std::uintptr_t>(memory.Bytes()) + QueueBlock::HEADER;
    const auto end = reinterpret_cast<std::uintptr_t>(memory.Bytes()) + memory.Size();
    const auto text = reinterpret_cast<std::uintptr_t>(record.text);
    const auto file = reinterpret_cast<std::uintptr_t>(record.file);
    Require(text >= begin + 52 && text < end && file > text && file < end, "the strings begin in the block");
    Require(reinterpret_cast<std::uintptr_t>(record.text + std::wcslen(record.text)) < end,
            "the text ends in the block");
    Require(file + std::strlen(record.file) < end, "the file name ends in the block");
    record.position = static_cast<std::uint32_t>(text - begin - 52);
    return record;
}

/// Reads until there is nothing left, which must be after as many records at most as there are said to be.
inline std::uint32_t ReadAll(Quarn::Logging::CQLogQueue& queue, GuardedMemory& memory)
{
    const std::uint32_t count = queue.GetCount();
    std::uint32_t read = 0;
    while (ReadRecord(queue, memory)) {
        Require(++read <= count, "no more is read than there is");
    }
    Require(queue.GetCount() == 0, "what is left counts for nothing");
    return read;
}

} // namespace QuarnTest

#endif
