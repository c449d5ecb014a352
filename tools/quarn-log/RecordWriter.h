#ifndef QUARN_TOOL_RECORD_WRITER_H
#define QUARN_TOOL_RECORD_WRITER_H

#include "QueueReader.h"

#include <cstdint>
#include <string>

namespace Quarn::Logging::Tool {

/// What a user may choose about a format's look.
struct SOutputStyle
{
    bool color = false;      ///< The built-in logger's colours, in formats that have any.
    bool toTerminal = false; ///< Keep control characters of the image from the terminal.
};

/// @brief Puts records into one output format, in UTF-8, whatever the user's locale.
class RecordWriter
{
public:
    RecordWriter() = default;
    virtual ~RecordWriter() = default;
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    /// The bytes of a record, with all that ends it.
    ///
    /// @param[in] header  of the queue that the record is from
    /// @param[in] offset  of that queue in the image
    virtual std::string Format(const SRecordView& record, const SLogQueueHeader& header,
                               std::uint64_t offset) const = 0;
};

} // namespace Quarn::Logging::Tool

#endif
