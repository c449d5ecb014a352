#include "FollowPrinter.h"

namespace Quarn::Logging::Tool {

void FollowPrinter::RunBegins(const SFollowedRun& run)
{
    m_Shown = 0;
    if (++m_Runs > 1) {
        m_Output.Notice("the queue was started anew");
    }
    if (run.first != 0) {
        m_Output.Notice("the first record is number " + std::to_string(run.first) + " of its run");
    }
}

void FollowPrinter::Record(const SRecordView& record, const SLogQueueHeader& header)
{
    if (m_Filter.Passes(record, header.m_StartTime)) {
        ++m_Shown;
        m_Output.WriteRecord(record, header, m_Offset);
    }
}

void FollowPrinter::Overwritten(std::uint32_t first, std::uint32_t last)
{
    m_Output.Notice(std::to_string(last - first + 1) + " records were overwritten before they could be read, " +
                    std::to_string(first) + " to " + std::to_string(last));
}

void FollowPrinter::Dropped(std::uint32_t count, const SFollowedRun& run)
{
    m_Output.Notice(std::to_string(count) + " messages were dropped by the writer, " + std::to_string(run.dropped) +
                    " in this run");
}

void FollowPrinter::RunEnds(const SFollowedRun& run)
{
    const SCounts counts = {run.read,    m_Shown, run.overwritten,
                            run.dropped, false,   run.droppedAtLeast || !m_IsStopping};
    std::string text = "end of the run: " + TextOf(counts);
    if (!m_IsStopping) {
        text += "; unknown from number " + std::to_string(run.next) + " on";
    }
    m_Output.Notice(text);
    m_Total.read += counts.read;
    m_Total.shown += counts.shown;
    m_Total.overwritten += counts.overwritten;
    m_Total.dropped += counts.dropped;
    m_Total.overwrittenAtLeast = m_Total.overwrittenAtLeast || !m_IsStopping;
    m_Total.droppedAtLeast = m_Total.droppedAtLeast || counts.droppedAtLeast;
    if (m_IsStopping && m_Runs > 1) {
        m_Output.Notice("in " + std::to_string(m_Runs) + " runs: " + TextOf(m_Total));
    }
}

std::string FollowPrinter::TextOf(const SCounts& counts)
{
    std::string text = std::to_string(counts.read) + " records read, ";
    if (counts.shown != counts.read) {
        text += std::to_string(counts.shown) + " of them shown, ";
    }
    return text + (counts.overwrittenAtLeast ? "at least " : "") + std::to_string(counts.overwritten) +
           " overwritten before they could be read, " + (counts.droppedAtLeast ? "at least " : "") +
           std::to_string(counts.dropped) + " messages dropped by the writer";
}

} // namespace Quarn::Logging::Tool
