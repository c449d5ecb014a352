#include "CQLogQueue.h"

#include "CQQueueLock.h"
#include "LockGuard.h"
#include "RelaxedAccess.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace Quarn::Logging {

namespace {

// Everything that a writer stores in the block goes through the following functions, so that the stores happen in the
// order in which the code names them: the compiler keeps volatile accesses in order and does not turn them into calls
// of a copy routine, which may store the end before the beginning; and the processor makes stores visible in order. So
// the markers of every older record that a new one runs into are gone before anything else of that record is.

void StoreInOrder(std::uint32_t& word, std::uint32_t value) { static_cast<volatile std::uint32_t&>(word) = value; }

void StoreInOrder(std::int32_t& word, std::int32_t value) { static_cast<volatile std::int32_t&>(word) = value; }

/// Copies bytes in ascending order, in machine words as far as they go; a target of a word or more is 4-byte aligned.
unsigned char* CopyInOrder(unsigned char* target, const void* source, std::size_t bytes)
{
    // A word of the buffer may be part of a number, a wide character or file name bytes, and is aligned to 4 only.
    typedef std::size_t __attribute__((may_alias, aligned(4))) Word;
    const auto* from = static_cast<const unsigned char*>(source);
    for (; bytes >= sizeof(Word); bytes -= sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, from, sizeof word);
        *reinterpret_cast<volatile Word*>(target) = word;
        target += sizeof(Word);
        from += sizeof(Word);
    }
    for (; bytes != 0; --bytes) {
        *const_cast<volatile unsigned char*>(target++) = *from++;
    }
    return target;
}

/// Asks for the cache lines that a next record of the same size will fill. The ring is larger than the caches near the
/// processor, so that a writer would wait for nearly every line of its record. Addresses behind the block do no harm.
/// In assembler: g++ 12 removes a loop of its own prefetches, and no compiler has one for i686, whose processors pass
/// over the instruction if they do not know it.
void PrefetchForWriting(const char* memory, std::size_t bytes)
{
    constexpr std::size_t CACHE_LINE = 64;
    constexpr std::size_t MOST = 4096; // about what the longest text takes; the lock is held
    const std::size_t end = std::min(bytes, MOST) + CACHE_LINE;
    for (std::size_t offset = CACHE_LINE; offset < end; offset += CACHE_LINE) {
        asm volatile("prefetcht0 (%0)" : : "r"(memory + offset));
    }
}

/// Whether one record can end and the next begin at a position, as far as the position alone tells. Not so for 0, where
/// none ends.
bool IsBetweenRecords(std::uint32_t position, std::uint32_t capacity)
{
    return position >= SLogRecord::MIN_SIZE && position <= capacity && position % SLogRecord::ALIGNMENT == 0;
}

} // namespace

CQLogQueue::CQLogQueue(bool persistent)
{
    CQQueueLock::Create(this);
    if (persistent && HoldsQueue()) {
        AdoptPreviousRun();
        return;
    }
    Initialise(MAX_CAPACITY);
    m_StartTime = 0.0;
    std::memset(m_Buffer, 0, sizeof m_Buffer);
}

CQLogQueue::CQLogQueue(unsigned int size)
{
    if (size > MAX_CAPACITY) {
        throw -1;
    }
    CQQueueLock::Create(this);
    Initialise(size);
    m_StartTime = 0.0;
}

CQLogQueue::~CQLogQueue() { CQQueueLock::Destroy(this); }

void CQLogQueue::Initialise(std::uint32_t capacity)
{
    m_Magic1 = MAGIC1;
    m_Magic2 = MAGIC2;
    m_TotalSize = TOTAL_SIZE;
    m_Capacity = capacity;
    m_EndPos = capacity;
    m_WritePos = 0;
    m_ReadPos = 0;
    m_Count = 0;
    m_Dropped = 0;
    m_Sequence = 0;
}

/// The oldest record of a ring stands where the sequence numbers break for the last time in address order. All whole
/// records count, delivered or not: what was delivered may not have reached anyone.
void CQLogQueue::AdoptPreviousRun()
{
    m_Count = 0;
    m_ReadPos = 0;
    std::uint32_t previous = 0;
    ForEachWholeRecord([&](std::uint32_t position, const SLogRecord& record) {
        const std::uint32_t sequence = record.sequence;
        const bool stepsBack = sequence != 0 && sequence < previous && previous != 0xFFFFFFFF;
        const bool liesFarBehind = sequence - previous > 0x80000000;
        if (stepsBack || liesFarBehind) {
            m_ReadPos = position;
        }
        ++m_Count;
        previous = sequence;
    });
}

void CQLogQueue::ClearAll()
{
    const LockGuard guard(CQQueueLock::Find(this));
    if (!guard.Locked()) {
        return;
    }
    m_Count = 0;
    m_Dropped = 0;
    m_WritePos = 0;
    m_ReadPos = 0;
    m_EndPos = m_Capacity;
    m_Sequence = 0;
    std::memset(m_Buffer, 0, Capacity());
}

/// Null if there is no room, else the place of size bytes: m_WritePos, or 0 if the writer has to wrap. Positions are
/// what an earlier run left, or were damaged meanwhile, so a write position where no record can begin counts as 0. Sums
/// are taken in 64 bits, so that none can overflow into the block's outside, and each position is read once, so that
/// what was checked is what is used.
char* CQLogQueue::GetNextWritePosition(unsigned int size)
{
    const std::uint32_t capacity = Capacity();
    const std::uint32_t readPos = LoadRelaxed(m_ReadPos);
    std::uint32_t writePos = LoadRelaxed(m_WritePos);
    if (!IsBetweenRecords(writePos, capacity)) {
        writePos = 0;
    }
    const std::uint64_t end = std::uint64_t{writePos} + size;
    const bool empty = LoadRelaxed(m_Count) == 0;
    if (!empty && readPos >= writePos) {
        if (end > std::min(readPos, capacity)) {
            return nullptr;
        }
    } else if (end > capacity) {
        const std::uint32_t roomAtFront = empty ? capacity : std::min(readPos, capacity);
        if (size > roomAtFront) {
            return nullptr;
        }
        StoreInOrder(m_EndPos, writePos);
        StoreInOrder(m_WritePos, 0);
        writePos = 0;
    }
    return reinterpret_cast<char*>(m_Buffer + writePos);
}

void CQLogQueue::WriteMessage(int level, int category, double time, unsigned int threadId, const char* file, int line,
                              const wchar_t* text)
{
    if (file == nullptr) {
        file = "";
    }
    const std::size_t fileLength = std::strlen(file);
    const std::size_t textLength = std::wcslen(text);
    const auto size = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(SLogRecord::SizeOf(fileLength, textLength), UINT32_MAX)); // which never fits

    const LockGuard guard(CQQueueLock::Find(this));
    if (!guard.Locked()) {
        return;
    }
    char* const room = GetNextWritePosition(size);
    if (room == nullptr) {
        StoreRelaxed(m_Dropped, m_Dropped + 1); // the dispatcher reads it without the lock
        return;
    }
    const auto position = static_cast<std::uint32_t>(reinterpret_cast<unsigned char*>(room) - m_Buffer);
    if (m_Count == 0) {
        BeginAnew(position);
    }
    WriteRecord(*reinterpret_cast<SLogRecord*>(room), position, level, category, time, threadId, file,
                static_cast<std::uint32_t>(fileLength), line, text, static_cast<std::uint32_t>(textLength), size);
    PrefetchForWriting(room + size, size);
}

/// The record that is about to be written will be the only one. A wrap point that no writer can have left, 0 for one,
/// would make the reader jump to the front before each next record until the writer wraps; with no record left of the
/// run that it was found with, it is given up.
void CQLogQueue::BeginAnew(std::uint32_t position)
{
    const std::uint32_t capacity = Capacity();
    if (!IsBetweenRecords(LoadRelaxed(m_EndPos), capacity)) {
        StoreInOrder(m_EndPos, capacity);
    }
    StoreInOrder(m_ReadPos, position);
}

void CQLogQueue::WriteRecord(SLogRecord& record, std::uint32_t position, int level, int category, double time,
                             unsigned int threadId, const char* file, std::uint32_t fileLength, int line,
                             const wchar_t* text, std::uint32_t textLength, std::uint32_t size)
{
    // Strictly upwards: an older record may begin at any word from here on, and loses its begin marker first.
    StoreInOrder(record.beginMarker, 0);
    StoreInOrder(record.sequence, 0);
    StoreInOrder(record.endMarker, 0);
    StoreInOrder(record.level, level);
    StoreInOrder(record.category, category);
    std::uint32_t timeWords[2];
    std::memcpy(timeWords, &time, sizeof timeWords);
    StoreInOrder(record.time[0], timeWords[0]);
    StoreInOrder(record.time[1], timeWords[1]);
    StoreInOrder(record.threadId, threadId);
    StoreInOrder(record.line, line);
    StoreInOrder(record.fileLength, fileLength);
    StoreInOrder(record.textLength, textLength);
    StoreInOrder(record.size, size);
    StoreInOrder(record.next, SLogRecord::NEXT_UNFINISHED);
    // The terminators are stored as such, not copied: the caller may be changing its strings.
    unsigned char* const textEnd = CopyInOrder(record.Text(), text, std::size_t{textLength} * sizeof(wchar_t));
    unsigned char* const fileStart = CopyInOrder(textEnd, L"", sizeof(wchar_t));
    unsigned char* const fileEnd = CopyInOrder(fileStart, file, fileLength);
    CopyInOrder(fileEnd, "", 1);

    // Complete from the end marker on, and not before: a restart would take a sequence number of 0 for the oldest.
    const std::uint32_t next = position + size >= Capacity() ? 0 : position + size;
    StoreInOrder(record.next, next);
    StoreInOrder(record.sequence, m_Sequence);
    StoreInOrder(record.beginMarker, SLogRecord::BEGIN_MARKER);
    StoreInOrder(record.endMarker, SLogRecord::END_MARKER);
    StoreInOrder(m_Count, m_Count + 1);
    StoreInOrder(m_Sequence, m_Sequence + 1);
    StoreInOrder(m_WritePos, next);
}

/// Nothing here trusts the block: every sum is taken in 64 bits, and nothing is read that the checks before it have not
/// placed inside the buffer, or read twice: another process on the same block may write while this one looks.
bool CQLogQueue::IsWellFormed(std::uint32_t position) const
{
    const std::uint32_t capacity = Capacity();
    // No record begins at an odd place, and readers may rely on aligned wide characters.
    if (position % SLogRecord::ALIGNMENT != 0 || position + std::uint64_t{SLogRecord::MIN_SIZE} > capacity) {
        return false;
    }
    const SLogRecord& record = *RecordAt(position);
    const std::uint32_t fileLength = LoadRelaxed(record.fileLength);
    const std::uint32_t textLength = LoadRelaxed(record.textLength);
    const std::uint32_t size = LoadRelaxed(record.size);
    const std::uint32_t next = LoadRelaxed(record.next);
    const std::uint64_t end = std::uint64_t{position} + size;
    if (next > capacity || size != SLogRecord::SizeOf(fileLength, textLength) || end > capacity ||
        (next != 0 && next < end)) {
        return false;
    }
    const unsigned char* const file = record.Text() + SLogRecord::FileOffset(textLength);
    std::uint32_t textTerminator = 0;
    std::memcpy(&textTerminator, file - sizeof textTerminator, sizeof textTerminator);
    return textTerminator == 0 && file[fileLength] == 0;
}

/// Null if there is no record, or none that is well-formed; what is left is then given up. So it is if there are more
/// records than words, for a reader would go round and round.
SLogRecord* CQLogQueue::GetNextReadPosition()
{
    const std::uint32_t count = LoadRelaxed(m_Count);
    if (count == 0) {
        return nullptr;
    }
    const std::uint32_t position = LoadRelaxed(m_ReadPos);
    if (count > Capacity() / SLogRecord::ALIGNMENT || !IsWellFormed(position)) {
        m_Count = 0;
        m_ReadPos = m_WritePos;
        return nullptr;
    }
    return RecordAt(position);
}

/// A record's file name. Empty if the name no longer lies in the block: the record was well-formed a moment ago, but
/// another process on the same block may have written over it since.
const char* CQLogQueue::FileOf(const SLogRecord& record) const
{
    const unsigned char* const text = record.Text();
    const std::uint64_t offset = SLogRecord::FileOffset(LoadRelaxed(record.textLength));
    return offset < static_cast<std::uint64_t>(m_Buffer + sizeof m_Buffer - text)
               ? reinterpret_cast<const char*>(text + offset)
               : "";
}

bool CQLogQueue::ReadMessage(int& level, int& category, double& time, unsigned int& threadId, const char*& file,
                             int& line, const wchar_t*& text)
{
    const SLogRecord* record = nullptr;
    {
        const LockGuard guard(CQQueueLock::Find(this));
        if (!guard.Locked()) {
            return false;
        }
        record = GetNextReadPosition();
    }
    if (record == nullptr) {
        return false;
    }
    level = record->level;
    category = record->category;
    time = record->Time();
    threadId = record->threadId;
    line = record->line;
    text = reinterpret_cast<const wchar_t*>(record->Text());
    file = FileOf(*record);

    const LockGuard guard(CQQueueLock::Find(this));
    if (!guard.Locked()) {
        return false;
    }
    if (const std::uint32_t count = LoadRelaxed(m_Count)) {
        StoreInOrder(m_Count, count - 1);
        const std::uint32_t next = LoadRelaxed(record->next);
        m_ReadPos = next >= m_EndPos ? 0 : next;
    }
    return true;
}

} // namespace Quarn::Logging
