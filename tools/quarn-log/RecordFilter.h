#ifndef QUARN_TOOL_RECORD_FILTER_H
#define QUARN_TOOL_RECORD_FILTER_H

#include "QueueReader.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Quarn::Logging::Tool {

/// Wall-clock time of a record, seconds since the epoch. In extended precision, as the built-in logger adds.
long double WallTimeOf(const SRecordView& record, double startTime);

/// Which records are wanted. What is not set lets everything pass.
struct RecordFilter
{
    std::optional<int> level;            ///< The lowest one.
    std::vector<int> categories;         ///< Empty: all.
    std::optional<std::int64_t> sinceMs; ///< Milliseconds since the epoch, the first that passes.
    std::optional<std::int64_t> untilMs; ///< The last that passes.

    bool Passes(const SRecordView& record, double startTime) const;
};

} // namespace Quarn::Logging::Tool

#endif
