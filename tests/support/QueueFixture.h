#ifndef QUARN_LOGGING_TESTS_QUEUE_FIXTURE_H
#define QUARN_LOGGING_TESTS_QUEUE_FIXTURE_H

#include "CQLogQueue.h"
#include "QueueBlock.h"
#include "RecordingLogger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace QuarnTest {

/// Offsets in a record, written out once more on purpose.
enum RecordField : std::uint32_t {
    Begin = 0,
    RecordSequence = 4,
    End = 8,
    Level = 12,
    Category = 16,
    Time = 20,
    ThreadId = 28,
    Line = 32,
    FileLength = 36,
    TextLength = 40,
    RecordSize = 44,
    Next = 48,
    Text = 52
};

constexpr std::uint32_t BEGIN_WORD = 0x7B7B7B7B;
constexpr std::uint32_t END_WORD = 0x7D7D7D7D;

inline std::optional<SMessage> ReadFrom(Quarn::Logging::CQLogQueue& queue)
{
    SMessage message{};
    const char* file = nullptr;
    const wchar_t* text = nullptr;
    if (!queue.ReadMessage(message.level, message.category, message.time, message.threadId, file, message.line, text)) {
        return std::nullopt;
    }
    message.file = file;
    message.text = text;
    return message;
}

/// A queue in a block of its own, and words for what tests do to both.
class QueueFixture : public testing::Test
{
protected:
    ~QueueFixture() override { Stop(); }

    /// A fresh queue of full size.
    void Start()
    {
        Stop();
        m_pQueue = new (m_Block.Bytes()) Quarn::Logging::CQLogQueue(false);
    }
    /// A fresh queue of a small capacity. What the buffer held stays in it.
    void StartSmall(unsigned int capacity)
    {
        Stop();
        m_pQueue = new (m_Block.Bytes()) Quarn::Logging::CQLogQueue(capacity);
    }
    /// What a restart of the process does: a new queue in the old block.
    void Restart()
    {
        Stop();
        m_pQueue = new (m_Block.Bytes()) Quarn::Logging::CQLogQueue(true);
    }
    void Stop()
    {
        if (m_pQueue != nullptr) {
            m_pQueue->~CQLogQueue();
            m_pQueue = nullptr;
        }
    }

    void Write(const std::wstring& text) { m_pQueue->WriteMessage(1000, 1, 0.5, 7, "f", 3, text.c_str()); }

    /// Writes a record that takes exactly size bytes (a multiple of 4, 60 at least). The line tells it from others.
    void WriteSized(std::uint32_t size, int line = 0)
    {
        m_pQueue->WriteMessage(1000, 1, 0.5, 7, std::string(size - 60, 'f').c_str(), line, L"");
    }

    std::optional<SMessage> Read() { return ReadFrom(*m_pQueue); }

    /// The line numbers of all that can still be read.
    std::vector<int> ReadLines()
    {
        std::vector<int> lines;
        while (const std::optional<SMessage> message = Read()) {
            lines.push_back(message->line);
        }
        return lines;
    }
    std::vector<std::wstring> ReadTexts()
    {
        std::vector<std::wstring> texts;
        while (const std::optional<SMessage> message = Read()) {
            texts.push_back(message->text);
        }
        return texts;
    }

    std::uint32_t Header(std::uint32_t field) const { return m_Block.Get(field); }
    void SetHeader(std::uint32_t field, std::uint32_t value) { m_Block.Set(field, value); }
    std::uint32_t Record(std::uint32_t position, std::uint32_t field) const
    {
        return m_Block.GetRecord(position, field);
    }
    void SetRecord(std::uint32_t position, std::uint32_t field, std::uint32_t value)
    {
        m_Block.SetRecord(position, field, value);
    }

    /// Puts a whole record with two empty strings into the block by hand, 60 bytes long. Its line is its sequence
    /// number.
    void PutRecord(std::uint32_t position, std::uint32_t sequence)
    {
        for (std::uint32_t offset = 0; offset < 60; offset += 4) {
            SetRecord(position, offset, 0);
        }
        SetRecord(position, Begin, BEGIN_WORD);
        SetRecord(position, RecordSequence, sequence);
        SetRecord(position, End, END_WORD);
        SetRecord(position, Line, sequence);
        SetRecord(position, RecordSize, 60);
        SetRecord(position, Next, position + 60);
    }

    QueueBlock m_Block;
    Quarn::Logging::CQLogQueue* m_pQueue = nullptr;
};

} // namespace QuarnTest

#endif
