#include "Follower.h"

#include <algorithm>
#include <cstring>

namespace Quarn::Logging::Tool {

namespace {

/// Half the numbers lie behind a number, the other half before it.
constexpr std::uint32_t HALF = 0x80000000;

/// More than a ring has room for, twice over.
constexpr std::uint32_t MANY = 2 * (SLogQueueHeader::MAX_CAPACITY / SLogRecord::MIN_SIZE);

bool IsBefore(std::uint32_t a, std::uint32_t b) { return a - b >= HALF; }

/// Bytes are compared, as it may be anything, even what is not equal to itself.
bool HaveSameStart(const SLogQueueHeader& a, const SLogQueueHeader& b)
{
    return std::memcmp(&a.m_StartTime, &b.m_StartTime, sizeof a.m_StartTime) == 0;
}

/// Whether a queue with the earlier header may have come to the later one without being emptied.
bool MayFollow(const SLogQueueHeader& earlier, const SLogQueueHeader& later)
{
    return HaveSameStart(earlier, later) && !IsBefore(later.m_Sequence, earlier.m_Sequence) &&
           !IsBefore(later.m_Dropped, earlier.m_Dropped);
}

/// Whether nothing was written or dropped in between. What a dispatch changes does not count.
bool IsUnchanged(const SLogQueueHeader& earlier, const SLogQueueHeader& later)
{
    return HaveSameStart(earlier, later) && earlier.m_Sequence == later.m_Sequence &&
           earlier.m_Dropped == later.m_Dropped && earlier.m_WritePos == later.m_WritePos &&
           earlier.m_EndPos == later.m_EndPos;
}

} // namespace

Follower::Follower(InputFile& input, std::uint64_t offset, FollowSink& sink)
    : m_Input(input)
    , m_Offset(offset)
    , m_Sink(sink)
    , m_FirstCopy(SLogQueueHeader::TOTAL_SIZE)
    , m_SecondCopy(SLogQueueHeader::TOTAL_SIZE)
    , m_LastCopy(SLogQueueHeader::TOTAL_SIZE)
{
}

bool Follower::Poll()
{
    SLogQueueHeader before{};
    SLogQueueHeader after{};
    if (!ReadHeader(before)) {
        return m_Input.Error() == 0; // a program may be about to make the region anew
    }
    if (m_Run && IsUnchanged(m_Last, before)) {
        return true;
    }
    const std::size_t size = ReadBlock(m_FirstCopy);
    ReadBlock(m_SecondCopy);
    if (m_Input.Error() != 0) {
        return false;
    }
    if (!ReadHeader(after)) {
        return m_Input.Error() == 0;
    }
    if (!MayFollow(before, after)) { // emptied while it was copied
        if (m_Run && MayFollow(m_Last, before)) {
            m_Reached = before.m_Sequence;
        }
        return true;
    }
    const QueueReader queue(m_FirstCopy.data(), size);
    Account(LookAt(queue, before, after));
    return true;
}

void Follower::End()
{
    if (m_Run) {
        SkipTo(m_Reached);
        m_Sink.RunEnds(*m_Run);
        m_Run.reset();
    }
}

bool Follower::ReadHeader(SLogQueueHeader& header)
{
    const std::size_t got = m_Input.ReadAt(m_Offset, reinterpret_cast<unsigned char*>(&header), sizeof header);
    return got == sizeof header && header.HoldsQueue();
}

/// Bytes that the file has; what it does not have is zero.
std::size_t Follower::ReadBlock(std::vector<unsigned char>& block)
{
    const std::size_t got = m_Input.ReadAt(m_Offset, block.data(), block.size());
    std::memset(block.data() + got, 0, block.size() - got);
    return got;
}

Follower::SLook Follower::LookAt(const QueueReader& queue, const SLogQueueHeader& before,
                                 const SLogQueueHeader& after) const
{
    SLook look{before, after, {}};
    std::vector<SRecordView> records = queue.All();
    std::sort(records.begin(), records.end(),
              [](const SRecordView& a, const SRecordView& b) { return a.position < b.position; });
    for (const SRecordView& record : records) {
        if (!record.whole || LiesInside(look, record) || !queue.IsSameIn(m_SecondCopy.data(), record)) {
            continue;
        }
        const bool isOld = queue.IsSameIn(m_LastCopy.data(), record);
        const bool isKnown = isOld && std::binary_search(m_Known.begin(), m_Known.end(), record.position);
        look.records.push_back({record, isKnown});
        look.hasKnown = look.hasKnown || isKnown;
        look.contradiction = look.contradiction || (m_Run && !isOld && IsBefore(record.sequence, m_Run->next));
    }
    return look;
}

/// Whether a record begins in the one found before: it is a text that looks like a record.
bool Follower::LiesInside(const SLook& look, const SRecordView& record)
{
    if (look.records.empty()) {
        return false;
    }
    const SRecordView& before = look.records.back().view;
    return record.position < before.position + before.size; // both in the buffer, so the sum is, too
}

Follower::Relation Follower::RelationOf(const SLook& look) const
{
    const SLogQueueHeader& header = look.before;
    const bool goesBack = IsBefore(header.m_Sequence, m_Reached);
    if (look.hasKnown) { // not emptied, or not yet completely
        return goesBack || !IsBelievable(look) ? Relation::UNCLEAR : Relation::SAME;
    }
    if (goesBack || look.contradiction || IsBefore(header.m_Dropped, m_Last.m_Dropped)) {
        return Relation::ANEW;
    }
    // A start empties the queue first and sets the start time then: a look may fall in between.
    if (!HaveSameStart(m_Last, header) && m_Last.m_Sequence != 0) {
        return Relation::ANEW;
    }
    return IsBelievable(look) ? Relation::SAME : Relation::UNCLEAR;
}

/// Whether there are records near the header's sequence number, if it says that there are many new ones. A header that
/// is damaged would have billions taken for lost.
bool Follower::IsBelievable(const SLook& look) const
{
    if (look.before.m_Sequence - m_Run->next <= MANY) {
        return true;
    }
    return std::any_of(look.records.begin(), look.records.end(), [&look](const SIntactRecord& record) {
        return look.after.m_Sequence - record.view.sequence <= MANY;
    });
}

void Follower::Account(const SLook& look)
{
    const SLogQueueHeader& header = look.before;
    const Relation relation = m_Run ? RelationOf(look) : Relation::ANEW;
    if (relation == Relation::UNCLEAR && ++m_Unclear < PATIENCE) {
        return;
    }
    if (!m_Run) {
        Begin(header, OldestIn(look));
    } else if (relation != Relation::SAME) {
        End();
        // A number that nothing supports is gone on from.
        Begin(header, relation == Relation::UNCLEAR || header.m_Sequence >= HALF ? header.m_Sequence : 0);
    }
    m_Unclear = 0;
    m_Run->startTime = header.m_StartTime;
    YieldRecords(look);
    YieldDrops(header);
    m_Last = header;
    m_LastCopy.swap(m_FirstCopy);
}

/// The number of the oldest record that is there, or that of the next one if there is none.
std::uint32_t Follower::OldestIn(const SLook& look)
{
    std::uint32_t oldest = 0;
    for (const SIntactRecord& record : look.records) {
        const std::uint32_t age = look.before.m_Sequence - record.view.sequence; // 1: the newest
        oldest = age <= HALF ? std::max(oldest, age) : oldest;
    }
    return look.before.m_Sequence - oldest;
}

void Follower::Begin(const SLogQueueHeader& header, std::uint32_t first)
{
    m_Run.emplace();
    m_Run->startTime = header.m_StartTime;
    m_Run->first = first;
    m_Run->next = first;
    m_Reached = first;
    m_Last = header;
    m_Last.m_Dropped = 0;
    m_Sink.RunBegins(*m_Run);
}

/// Hands out what is new and complete, in the order of the numbers, with what is missing in between.
void Follower::YieldRecords(const SLook& look)
{
    const std::uint32_t begin = m_Run->next;
    const std::uint32_t count = look.before.m_Sequence - begin;
    std::vector<const SIntactRecord*> records;
    m_Known.clear();
    for (const SIntactRecord& record : look.records) {
        const bool isDue = record.view.sequence - begin < count;
        if (isDue) {
            records.push_back(&record);
        }
        if (isDue || record.known) {
            m_Known.push_back(record.view.position);
        }
    }
    std::stable_sort(records.begin(), records.end(), [begin](const SIntactRecord* a, const SIntactRecord* b) {
        return a->view.sequence - begin < b->view.sequence - begin;
    });
    for (const SIntactRecord* const record : records) {
        SkipTo(record->view.sequence);
        m_Run->next = record->view.sequence + 1;
        ++m_Run->read;
        if (!record->known) { // only a header that was damaged and is right again has such a one due once more
            m_Sink.Record(record->view, look.before);
        }
    }
    SkipTo(look.before.m_Sequence);
    m_Reached = m_Run->next;
}

void Follower::YieldDrops(const SLogQueueHeader& header)
{
    if (IsBefore(header.m_Dropped, m_Last.m_Dropped)) {
        m_Run->droppedAtLeast = true;
        return;
    }
    const std::uint32_t count = header.m_Dropped - m_Last.m_Dropped;
    if (count != 0) {
        m_Run->dropped += count;
        m_Sink.Dropped(count, *m_Run);
    }
}

/// What is before a number and was not read is lost.
void Follower::SkipTo(std::uint32_t next)
{
    if (m_Run->next == next || IsBefore(next, m_Run->next)) {
        return;
    }
    m_Run->overwritten += next - m_Run->next;
    m_Sink.Overwritten(m_Run->next, next - 1);
    m_Run->next = next;
}

} // namespace Quarn::Logging::Tool
