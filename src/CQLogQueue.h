#ifndef QUARN_LOGGING_CQ_LOG_QUEUE_H
#define QUARN_LOGGING_CQ_LOG_QUEUE_H

#include "RelaxedAccess.h"
#include "SLogRecord.h"

namespace Quarn::Logging {

/// @brief Ring buffer of log records in a fixed 2 MiB block; the object is the block.
///
/// The block may lie in memory that outlives the process. A queue made in such a block finds the whole records that an
/// earlier one left and offers them once more. Writers never wait for room: a message that does not fit is counted.
///
///     a lap in the middle:                          just wrapped, the older records behind the reader still unread:
///
///     |  free  |#### unread ####|     free     |    |## unread ##| free |##### unread #####|  gap  |
///     0        ReadPos          WritePos  Capacity  0            WritePos ReadPos          EndPos  Capacity
///
///     empty: Count = 0, whatever the positions        full: Count > 0 and ReadPos = WritePos
///
/// Records never wrap: one that does not fit before the end of the buffer goes to 0, and EndPos says where the gap
/// begins. EndPos stays until the next wrap. A lap whose records go beyond it makes the reader jump to 0 there; the
/// positions meet again once the queue is empty, since the next write then sets ReadPos. That is meant:
/// what reads a block after a restart follows the same rule.
///
/// @par Threads  any number of writers, and one reader at a time; all positions are under the queue's mutex
class CQLogQueue : private SLogQueueHeader
{
public:
    /// Makes a queue in the block that this occupies. If persistent is true and the block holds a queue's header, that
    /// queue is adopted: all its whole records become unread, the oldest one first.
    explicit CQLogQueue(bool persistent);

    /// Makes an empty queue whose buffer has size bytes, without touching them. The block is at least 80 + size bytes
    /// long. Throws the int -1 if size is more than MAX_CAPACITY.
    explicit CQLogQueue(unsigned int size);

    /// Destroys the lock; header and records stay in the block as they are.
    ~CQLogQueue();

    CQLogQueue(const CQLogQueue&) = delete;
    CQLogQueue& operator=(const CQLogQueue&) = delete;

    /// Empties the queue, resets all counters and zeroes the buffer. The start time stays.
    void ClearAll();

    /// @brief Appends a record, or counts the message as dropped if there is no room for it.
    ///
    /// A null file is stored as an empty name. Whatever the instruction at which the process ends in here, a restart
    /// finds every older record either whole or not at all, and the new one only when it is whole.
    ///
    /// @par Real time  yes: no heap, no output; the strings are copied under the lock
    /// @par Failure    a lock that cannot be taken makes the call a no-op
    void WriteMessage(int level, int category, double time, unsigned int threadId, const char* file, int line,
                      const wchar_t* text);

    /// @brief Takes the oldest record. False if there is none.
    ///
    /// The strings are handed over without a copy and their room is free at once: they stay intact until writers have
    /// gone round the whole ring. A record that is not well-formed empties the queue: the rest is given up.
    [[nodiscard]] bool ReadMessage(int& level, int& category, double& time, unsigned int& threadId, const char*& file,
                                   int& line, const wchar_t*& text);

    /// @brief Calls visitor(position, record) for every whole record in the buffer, in address order, whether delivered
    /// or not and whatever the chain of records says. Takes no lock: for a queue that nobody else uses.
    ///
    /// Whole means that both markers are there. Nothing else of the record is checked; IsWellFormed() does that.
    template <class Visitor>
    void ForEachWholeRecord(Visitor visitor) const
    {
        const std::uint32_t capacity = Capacity();
        constexpr std::uint32_t LEADING = offsetof(SLogRecord, level); // all three leading words fit
        for (std::uint32_t position = 0; position + LEADING < capacity; position += SLogRecord::ALIGNMENT) {
            const SLogRecord& record = *RecordAt(position);
            if (record.IsWhole()) {
                visitor(position, record);
            }
        }
    }

    /// Whether a record can be read at a position: aligned, inside the buffer, with lengths that agree, terminated.
    [[nodiscard]] bool IsWellFormed(std::uint32_t position) const;

    /// Undelivered records.
    unsigned int GetCount() const { return m_Count; }

    /// Messages dropped since the queue was made or cleared; adopted queues keep counting.
    unsigned int GetDropped() const { return LoadRelaxed(m_Dropped); }

    /// Seconds since the epoch at which the monotonic clock read zero.
    double GetStartTime() const { return m_StartTime; }
    void SetStartTime(double seconds) { m_StartTime = seconds; }

private:
    void Initialise(std::uint32_t capacity);
    void AdoptPreviousRun();

    // The caller of these holds the mutex.
    [[nodiscard]] char* GetNextWritePosition(unsigned int size);
    void BeginAnew(std::uint32_t position);
    [[nodiscard]] SLogRecord* GetNextReadPosition();
    [[nodiscard]] const char* FileOf(const SLogRecord& record) const;
    void WriteRecord(SLogRecord& record, std::uint32_t position, int level, int category, double time,
                     unsigned int threadId, const char* file, std::uint32_t fileLength, int line, const wchar_t* text,
                     std::uint32_t textLength, std::uint32_t size);

    /// m_Capacity, but never more than the block has: another process on the same block may write anything there.
    std::uint32_t Capacity() const
    {
        const std::uint32_t capacity = LoadRelaxed(m_Capacity);
        return capacity < MAX_CAPACITY ? capacity : MAX_CAPACITY;
    }

    SLogRecord* RecordAt(std::uint32_t position) { return reinterpret_cast<SLogRecord*>(m_Buffer + position); }
    const SLogRecord* RecordAt(std::uint32_t position) const
    {
        return reinterpret_cast<const SLogRecord*>(m_Buffer + position);
    }

    alignas(SLogRecord) unsigned char m_Buffer[MAX_CAPACITY];
};

static_assert(sizeof(CQLogQueue) == SLogQueueHeader::TOTAL_SIZE);

} // namespace Quarn::Logging

#endif
