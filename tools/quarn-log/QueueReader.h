#ifndef QUARN_TOOL_QUEUE_READER_H
#define QUARN_TOOL_QUEUE_READER_H

#include "CQLogQueue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Quarn::Logging::Tool {

/// A record in a QueueReader's copy. The strings live as long as the reader.
struct SRecordView
{
    std::uint32_t position; ///< Offset in the record buffer.
    std::uint32_t sequence;
    int level;
    int category;
    double time; ///< Monotonic seconds.
    unsigned int threadId;
    int line;
    std::uint32_t size; ///< Bytes.
    std::uint32_t next;
    bool whole;  ///< Whether it has its markers. The reader of a queue does not ask for them.
    bool cutOff; ///< Whether its end is missing from the image, and so that of its text or file name.
    const char* file;
    const wchar_t* text;
};

/// @brief Reads one queue out of a copy of its block with the queue's own code.
///
/// A queue that adopts a block changes it: the block is copied, and the header is kept as it was found.
class QueueReader
{
public:
    /// @param[in] bytes  the block, from its header on
    /// @param[in] size   how many there are; what is missing of the 2 MiB is taken as zero
    QueueReader(const unsigned char* bytes, std::size_t size);
    ~QueueReader();

    QueueReader(const QueueReader&) = delete;
    QueueReader& operator=(const QueueReader&) = delete;

    /// The header as it was found.
    const SLogQueueHeader& Header() const { return m_Header; }

    /// Whether the block held a queue's header. Without one there are no records.
    bool HoldsQueue() const { return m_Header.HoldsQueue(); }

    /// Records with both markers, well-formed or not; that many a start would try to print.
    unsigned int WholeRecords() const { return m_WholeRecords; }

    /// The records that a start of the library would print, in that order. A record may come twice: the reader of a
    /// queue whose records go beyond the last wrap begins again, and so does a start.
    const std::vector<SRecordView>& Chain() const { return m_Chain; }

    /// Those of the chain and all others that are complete, each once, in the order in which they were written.
    const std::vector<SRecordView>& All() const { return m_All; }

    /// Complete records that the chain does not lead to.
    std::size_t Hidden() const { return m_Hidden; }

    /// Whether the records overlap so much that reading them was given up: no queue wrote them.
    bool GaveUp() const { return m_GaveUp; }

    /// Whether a later copy of the same block has the same bytes where a record stands, so that no writer was at work
    /// on them in between. A record that had its markers then is not torn.
    bool IsSameIn(const unsigned char* laterCopy, const SRecordView& record) const;

private:
    /// Bytes of records that are handed out. The records of a queue do not overlap, so they are not more than its
    /// capacity, and a little for those that come twice; a damaged block could yield a terabyte.
    static constexpr std::uint64_t MAX_BYTES = 2 * std::uint64_t{SLogQueueHeader::MAX_CAPACITY};

    struct alignas(16) SBlock
    {
        unsigned char bytes[SLogQueueHeader::TOTAL_SIZE];
    };

    void CollectWhole();
    void ReadChain();
    void AddHiddenOfChain();
    void SortAll();
    SRecordView ViewOf(const SLogRecord& record);
    bool IsCutOff(std::size_t offset, const SLogRecord& record);

    std::unique_ptr<SBlock> m_pBlock;
    std::size_t m_Size; ///< Bytes of the block that there are.
    SLogQueueHeader m_Header;
    CQLogQueue* m_pQueue = nullptr; ///< Lives in the block.
    unsigned int m_WholeRecords = 0;
    std::vector<SRecordView> m_Chain;
    std::vector<SRecordView> m_All;
    std::size_t m_Hidden = 0;
    bool m_GaveUp = false;
};

} // namespace Quarn::Logging::Tool

#endif
