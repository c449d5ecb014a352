#ifndef QUARN_TOOL_FOLLOWER_H
#define QUARN_TOOL_FOLLOWER_H

#include "InputFile.h"
#include "QueueReader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Quarn::Logging::Tool {

/// @brief What has become of the records of one run: first, first + 1, ... up to next, which is not one of them.
///
/// A run begins when the queue is emptied. The numbers go round at 2^32, the counts do not. read + overwritten is
/// next - first, unless two processes that write to one queue have used a number twice.
struct SFollowedRun
{
    double startTime = 0;          ///< As the header has it. Final when there is a record.
    std::uint32_t first = 0;       ///< 0 but for a run that was joined: what was before may be gone.
    std::uint32_t next = 0;        ///< What the run wrote from this number on is not accounted for.
    std::uint64_t read = 0;        ///< Records that were handed out.
    std::uint64_t overwritten = 0; ///< Records that were not there any more.
    std::uint64_t dropped = 0;     ///< Messages that the writer had no room for, since the run began.
    bool droppedAtLeast = false;   ///< The writer's count went back, which only damage does.
};

/// @brief Gets what a Follower finds out, in this order: a run begins, its records and losses, it ends.
class FollowSink
{
public:
    FollowSink() = default;
    virtual ~FollowSink() = default;
    FollowSink(const FollowSink&) = delete;
    FollowSink& operator=(const FollowSink&) = delete;

    virtual void RunBegins(const SFollowedRun& run) = 0;

    /// The next record. The view is valid during the call.
    virtual void Record(const SRecordView& record, const SLogQueueHeader& header) = 0;

    /// The records from first to last, both included, were overwritten before they could be read.
    virtual void Overwritten(std::uint32_t first, std::uint32_t last) = 0;

    /// The writer dropped so many more messages. They have no numbers.
    virtual void Dropped(std::uint32_t count, const SFollowedRun& run) = 0;

    /// The queue was emptied, or is no longer followed. What the run did after the last look, nobody can know.
    virtual void RunEnds(const SFollowedRun& run) = 0;
};

/// @brief Reads the records of a queue that is in use as they appear, and accounts for each that it cannot read.
///
/// It takes no lock, since the queue's lies in another process, and copies the block while writers are at work. A
/// record is handed out if it is certain that it is not torn:
///  - the header is copied first, and the record's sequence number is below the header's: it was complete by then;
///  - two copies of the whole block, taken one after the other, have the same bytes where it stands, markers included:
///    no later record, whose writer takes the markers away first, had begun to run into it.
/// A record below the header's number that is not found so was overwritten and will not come back.
///
/// Whether the queue was emptied since the last look is told by the records first, as only that makes them disappear
/// from where no other stands, or stand with other bytes: a record with a number that was accounted for has the bytes
/// that it had, or the queue was emptied. Where no such record is left, the header tells: another start time, or counts
/// that went back. So a run goes unnoticed only if it began within a quarter of a microsecond of the one before, on the
/// scale of the start time, and has written a whole ring and more records than that one since the last look.
///
/// A header that cannot be, given the records, is looked at again, up to PATIENCE times: a start may be under way.
class Follower
{
public:
    static constexpr int PATIENCE = 10; ///< Looks.

    /// @param[in] offset  of the queue in the input
    Follower(InputFile& input, std::uint64_t offset, FollowSink& sink);

    /// Looks once; the first time, all that is there is new. False if the input cannot be read any more.
    bool Poll();

    /// Ends the run that is followed, if there is one.
    void End();

private:
    enum class Relation { SAME, ANEW, UNCLEAR };

    struct SIntactRecord
    {
        SRecordView view;
        bool known; ///< Accounted for by an earlier look.
    };

    /// What was found between two readings of the header.
    struct SLook
    {
        SLogQueueHeader before;
        SLogQueueHeader after;
        std::vector<SIntactRecord> records; ///< In the order of the buffer.
        bool hasKnown = false;
        bool contradiction = false; ///< A record with an old number is another one now.
    };

    bool ReadHeader(SLogQueueHeader& header);
    std::size_t ReadBlock(std::vector<unsigned char>& block);
    SLook LookAt(const QueueReader& queue, const SLogQueueHeader& before, const SLogQueueHeader& after) const;
    static bool LiesInside(const SLook& look, const SRecordView& record);
    Relation RelationOf(const SLook& look) const;
    bool IsBelievable(const SLook& look) const;
    void Account(const SLook& look);
    static std::uint32_t OldestIn(const SLook& look);
    void Begin(const SLogQueueHeader& header, std::uint32_t first);
    void YieldRecords(const SLook& look);
    void YieldDrops(const SLogQueueHeader& header);
    void SkipTo(std::uint32_t next);

    InputFile& m_Input;
    std::uint64_t m_Offset;
    FollowSink& m_Sink;
    std::optional<SFollowedRun> m_Run; ///< Nothing before the first look.
    SLogQueueHeader m_Last{};          ///< The header that was accounted for last.
    std::uint32_t m_Reached = 0;       ///< The run's sequence number, as far as it was seen in a header.
    int m_Unclear = 0;                 ///< Looks in a row that told nothing.
    std::vector<unsigned char> m_FirstCopy;
    std::vector<unsigned char> m_SecondCopy;
    std::vector<unsigned char> m_LastCopy; ///< That of the last look.
    std::vector<std::uint32_t> m_Known;    ///< Positions in it of records that are accounted for, in ascending order.
};

} // namespace Quarn::Logging::Tool

#endif
