#ifndef QUARN_LOGGING_SLOG_RECORD_H
#define QUARN_LOGGING_SLOG_RECORD_H

#include <cstddef>
#include <cstdint>
#include <cstring>

// The persistent format of the log queue: what stands in the 2 MiB block, byte for byte the same on every word size, so
// that a block written by one program is read by any other. docs/queue-format.md tells it in words and pictures.

namespace Quarn::Logging {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the queue format is little-endian");
static_assert(sizeof(wchar_t) == 4, "texts are stored as UTF-32");
static_assert(sizeof(double) == 8 && sizeof(int) == 4, "times are IEEE-754 doubles, numbers have 32 bits");

/// Head of the block. The positions are offsets into the record buffer that follows it.
struct SLogQueueHeader
{
    static constexpr std::uint32_t MAGIC1 = 0xDEADBEEF;     ///< With MAGIC2: the block holds a queue.
    static constexpr std::uint32_t MAGIC2 = 0x47110817;     ///< Two of them, since one word may match by chance.
    static constexpr std::uint32_t TOTAL_SIZE = 0x200000;   ///< Bytes in the block, header included.
    static constexpr std::uint32_t MAX_CAPACITY = 0x1FFFB0; ///< Bytes behind the header.

    /// Room for a process-local lock. Unused, never read and never written: the lock stands outside the block.
    unsigned char m_Reserved[32];
    std::uint32_t m_Magic1;
    std::uint32_t m_Magic2;
    std::uint32_t m_TotalSize; ///< Bytes.
    std::uint32_t m_Capacity;  ///< Bytes in the record buffer.
    std::uint32_t m_WritePos;  ///< Where the next record goes.
    std::uint32_t m_ReadPos;   ///< The oldest undelivered record.
    std::uint32_t m_EndPos;    ///< Where the writer last wrapped; the reader wraps to 0 on reaching it.
    std::uint32_t m_Count;     ///< Undelivered records.
    std::uint32_t m_Dropped;   ///< Messages dropped for want of space.
    std::uint32_t m_Sequence;  ///< Sequence number of the next record.
    double m_StartTime;        ///< Seconds since the epoch at which the monotonic clock read zero.

    /// Whether this is the header of a queue that fills its block, as a previous run or another program left it.
    bool HoldsQueue() const
    {
        return m_TotalSize == TOTAL_SIZE && m_Magic1 == MAGIC1 && m_Magic2 == MAGIC2 && m_Capacity == MAX_CAPACITY;
    }
};

static_assert(offsetof(SLogQueueHeader, m_Magic1) == 32);
static_assert(offsetof(SLogQueueHeader, m_Magic2) == 36);
static_assert(offsetof(SLogQueueHeader, m_TotalSize) == 40);
static_assert(offsetof(SLogQueueHeader, m_Capacity) == 44);
static_assert(offsetof(SLogQueueHeader, m_WritePos) == 48);
static_assert(offsetof(SLogQueueHeader, m_ReadPos) == 52);
static_assert(offsetof(SLogQueueHeader, m_EndPos) == 56);
static_assert(offsetof(SLogQueueHeader, m_Count) == 60);
static_assert(offsetof(SLogQueueHeader, m_Dropped) == 64);
static_assert(offsetof(SLogQueueHeader, m_Sequence) == 68);
static_assert(offsetof(SLogQueueHeader, m_StartTime) == 72);
static_assert(sizeof(SLogQueueHeader) == 80);
static_assert(sizeof(SLogQueueHeader) + SLogQueueHeader::MAX_CAPACITY == SLogQueueHeader::TOTAL_SIZE);

/// Head of a record. Behind it stand the text with a terminating 0, right behind that the file name with its 0, and
/// up to 3 bytes of padding that are not cleared.
struct SLogRecord
{
    static constexpr std::uint32_t ALIGNMENT = 4;                ///< Of every record's offset and size.
    static constexpr std::uint32_t BEGIN_MARKER = 0x7B7B7B7B;    ///< "{{{{": with the other one, a whole record.
    static constexpr std::uint32_t END_MARKER = 0x7D7D7D7D;      ///< "}}}}"
    static constexpr std::uint32_t NEXT_UNFINISHED = 0xFFFFFFFF; ///< next while the record is being written.
    static constexpr std::uint32_t MIN_SIZE = 60;                ///< Of a record with two empty strings.

    std::uint32_t beginMarker; ///< BEGIN_MARKER once the record is complete, 0 while it is being written.
    std::uint32_t sequence;    ///< The queue's m_Sequence at the time of writing, 0 while being written.
    std::uint32_t endMarker;   ///< END_MARKER once complete, 0 while being written.
    std::int32_t level;
    std::int32_t category;
    std::uint32_t time[2];  ///< A double, monotonic seconds; two words, because only 4-byte alignment is given.
    std::uint32_t threadId; ///< pthread_self() of the logging thread, cut to 32 bits.
    std::int32_t line;
    std::uint32_t fileLength; ///< Bytes, without terminator.
    std::uint32_t textLength; ///< Wide characters, without terminator.
    std::uint32_t size;       ///< Bytes, padding included.
    std::uint32_t next;       ///< Offset of the following record; 0 if this record reaches the end of the buffer.

    /// Bytes that a record of these lengths takes. In 64 bits, where lengths out of a damaged block cannot overflow.
    static constexpr std::uint64_t SizeOf(std::uint64_t fileLength, std::uint64_t textLength)
    {
        return (fileLength + 4 * textLength + 57 + (ALIGNMENT - 1)) / ALIGNMENT * ALIGNMENT;
    }

    /// The record in front of a text that CQLogQueue::ReadMessage() handed over.
    static const SLogRecord& OfText(const wchar_t* text) { return reinterpret_cast<const SLogRecord*>(text)[-1]; }

    unsigned char* Text() { return reinterpret_cast<unsigned char*>(this + 1); }
    const unsigned char* Text() const { return reinterpret_cast<const unsigned char*>(this + 1); }

    /// Offset of the file name from the text.
    static constexpr std::uint64_t FileOffset(std::uint64_t textLength) { return 4 * (textLength + 1); }

    /// Whether both markers are there, which a writer sets last and takes away first.
    bool IsWhole() const { return beginMarker == BEGIN_MARKER && endMarker == END_MARKER; }

    double Time() const
    {
        double seconds = 0;
        std::memcpy(&seconds, time, sizeof seconds);
        return seconds;
    }
};

static_assert(offsetof(SLogRecord, beginMarker) == 0);
static_assert(offsetof(SLogRecord, sequence) == 4);
static_assert(offsetof(SLogRecord, endMarker) == 8);
static_assert(offsetof(SLogRecord, level) == 12);
static_assert(offsetof(SLogRecord, category) == 16);
static_assert(offsetof(SLogRecord, time) == 20);
static_assert(offsetof(SLogRecord, threadId) == 28);
static_assert(offsetof(SLogRecord, line) == 32);
static_assert(offsetof(SLogRecord, fileLength) == 36);
static_assert(offsetof(SLogRecord, textLength) == 40);
static_assert(offsetof(SLogRecord, size) == 44);
static_assert(offsetof(SLogRecord, next) == 48);
static_assert(sizeof(SLogRecord) == 52 && alignof(SLogRecord) == SLogRecord::ALIGNMENT);
static_assert(SLogRecord::SizeOf(0, 0) == SLogRecord::MIN_SIZE);

} // namespace Quarn::Logging

#endif
