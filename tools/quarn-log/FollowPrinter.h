#ifndef QUARN_TOOL_FOLLOW_PRINTER_H
#define QUARN_TOOL_FOLLOW_PRINTER_H

#include "Follower.h"
#include "Output.h"
#include "RecordFilter.h"

#include <cstdint>
#include <string>

namespace Quarn::Logging::Tool {

/// @brief Prints what a Follower finds out: records that pass a filter, and on standard error the losses.
class FollowPrinter : public FollowSink
{
public:
    FollowPrinter(const RecordFilter& filter, Output& output)
        : m_Filter(filter)
        , m_Output(output)
    {
    }

    /// Where the queue lies that is followed from here on.
    void SetOffset(std::uint64_t offset) { m_Offset = offset; }

    /// What is said of a run that ends from here on: whether the user, not another run, ends it.
    void SetStopping() { m_IsStopping = true; }

    void RunBegins(const SFollowedRun& run) override;
    void Record(const SRecordView& record, const SLogQueueHeader& header) override;
    void Overwritten(std::uint32_t first, std::uint32_t last) override;
    void Dropped(std::uint32_t count, const SFollowedRun& run) override;
    void RunEnds(const SFollowedRun& run) override;

private:
    struct SCounts
    {
        std::uint64_t read = 0;
        std::uint64_t shown = 0;
        std::uint64_t overwritten = 0;
        std::uint64_t dropped = 0;
        bool overwrittenAtLeast = false;
        bool droppedAtLeast = false;
    };

    static std::string TextOf(const SCounts& counts);

    const RecordFilter& m_Filter;
    Output& m_Output;
    std::uint64_t m_Offset = 0;
    bool m_IsStopping = false;
    unsigned int m_Runs = 0;
    std::uint64_t m_Shown = 0; ///< Of the run.
    SCounts m_Total;           ///< Of the runs that have ended.
};

} // namespace Quarn::Logging::Tool

#endif
