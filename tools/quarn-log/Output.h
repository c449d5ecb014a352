#ifndef QUARN_TOOL_OUTPUT_H
#define QUARN_TOOL_OUTPUT_H

#include "RecordWriter.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace Quarn::Logging::Tool {

/// @brief Where a subcommand prints, and what it says beside that on standard error.
class Output
{
public:
    /// @param[in] program  what everything on standard error begins with
    /// @param[in] writer   the format of the records
    Output(std::FILE* stream, std::string program, std::unique_ptr<RecordWriter> writer);

    /// @param[in] header  of the queue that the record is from
    /// @param[in] offset  of that queue in the image
    void WriteRecord(const SRecordView& record, const SLogQueueHeader& header, std::uint64_t offset);

    void Write(const std::string& text);

    /// Says something on standard error, after what was written before.
    void Notice(const std::string& text);

    /// Hands everything to the system. False if anything could not be written since the beginning.
    bool Flush();

private:
    std::FILE* m_pStream;
    std::string m_Program;
    std::unique_ptr<RecordWriter> m_pWriter;
    bool m_Failed = false;
};

} // namespace Quarn::Logging::Tool

#endif
