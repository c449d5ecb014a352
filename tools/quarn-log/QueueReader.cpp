#include "QueueReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace Quarn::Logging::Tool {

namespace {

bool IsEarlierInBuffer(const SRecordView& a, const SRecordView& b) { return a.position < b.position; }

} // namespace

QueueReader::QueueReader(const unsigned char* bytes, std::size_t size)
    : m_pBlock(std::make_unique<SBlock>())
    , m_Size(std::min(size, sizeof m_pBlock->bytes))
{
    std::memcpy(m_pBlock->bytes, bytes, m_Size);
    std::memcpy(&m_Header, m_pBlock->bytes, sizeof m_Header);
    m_pQueue = new (m_pBlock->bytes) CQLogQueue(true);
    m_WholeRecords = m_pQueue->GetCount();
    CollectWhole();
    ReadChain();
    AddHiddenOfChain();
    SortAll();
}

QueueReader::~QueueReader() { m_pQueue->~CQLogQueue(); }

/// What is missing of a record reads as zero, which ends its strings. A character of which only the first bytes are
/// there would be another one, and is zeroed, too.
bool QueueReader::IsCutOff(std::size_t offset, const SLogRecord& record)
{
    const std::size_t text = offset + sizeof record;
    const std::uint64_t file = text + SLogRecord::FileOffset(record.textLength);
    if (file + record.fileLength + 1 <= m_Size) {
        return false;
    }
    if (m_Size > text && m_Size < file) {
        const std::size_t partial = (m_Size - text) % sizeof(wchar_t);
        std::memset(m_pBlock->bytes + m_Size - partial, 0, partial);
    }
    return true;
}

SRecordView QueueReader::ViewOf(const SLogRecord& record)
{
    const auto* const address = reinterpret_cast<const unsigned char*>(&record);
    const auto offset = static_cast<std::size_t>(address - m_pBlock->bytes);
    return {static_cast<std::uint32_t>(offset - sizeof(SLogQueueHeader)),
            record.sequence,
            record.level,
            record.category,
            record.Time(),
            record.threadId,
            record.line,
            record.size,
            record.next,
            record.IsWhole(),
            IsCutOff(offset, record),
            reinterpret_cast<const char*>(record.Text() + SLogRecord::FileOffset(record.textLength)),
            reinterpret_cast<const wchar_t*>(record.Text())};
}

void QueueReader::CollectWhole()
{
    std::uint64_t bytes = 0;
    m_pQueue->ForEachWholeRecord([&](std::uint32_t position, const SLogRecord& record) {
        if (!m_pQueue->IsWellFormed(position)) {
            return;
        }
        bytes += record.size;
        if (bytes > MAX_BYTES) {
            m_GaveUp = true;
            return;
        }
        m_All.push_back(ViewOf(record));
    });
}

void QueueReader::ReadChain()
{
    int level = 0;
    int category = 0;
    double time = 0;
    unsigned int threadId = 0;
    const char* file = nullptr;
    int line = 0;
    const wchar_t* text = nullptr;
    std::uint64_t bytes = 0;
    while (m_pQueue->ReadMessage(level, category, time, threadId, file, line, text)) {
        const SRecordView record = ViewOf(SLogRecord::OfText(text));
        bytes += record.size;
        if (bytes > MAX_BYTES) {
            m_GaveUp = true;
            return;
        }
        m_Chain.push_back(record);
    }
}

/// Brings the two together: the reader does not look at the markers, so the chain may have records that m_All has not.
void QueueReader::AddHiddenOfChain()
{
    std::vector<SRecordView> chain = m_Chain;
    std::sort(chain.begin(), chain.end(), IsEarlierInBuffer);
    const auto end = std::unique(chain.begin(), chain.end(),
                                 [](const SRecordView& a, const SRecordView& b) { return a.position == b.position; });
    std::vector<SRecordView> all;
    std::set_union(m_All.begin(), m_All.end(), chain.begin(), end, std::back_inserter(all), IsEarlierInBuffer);
    m_Hidden = all.size() - static_cast<std::size_t>(end - chain.begin());
    m_All = std::move(all);
}

/// By sequence number. The numbers go round: the oldest is the one behind the widest gap, which needs no header.
void QueueReader::SortAll()
{
    if (m_All.empty()) {
        return;
    }
    const auto isLower = [](const SRecordView& a, const SRecordView& b) { return a.sequence < b.sequence; };
    std::stable_sort(m_All.begin(), m_All.end(), isLower);
    auto oldest = m_All.begin();
    std::uint32_t widest = m_All.front().sequence - m_All.back().sequence;
    for (auto record = m_All.begin() + 1; record != m_All.end(); ++record) {
        const std::uint32_t gap = record->sequence - (record - 1)->sequence;
        if (gap > widest) {
            widest = gap;
            oldest = record;
        }
    }
    std::rotate(m_All.begin(), oldest, m_All.end());
}

bool QueueReader::IsSameIn(const unsigned char* laterCopy, const SRecordView& record) const
{
    const std::size_t place = sizeof(SLogQueueHeader) + record.position;
    return std::memcmp(m_pBlock->bytes + place, laterCopy + place, record.size) == 0;
}

} // namespace Quarn::Logging::Tool
