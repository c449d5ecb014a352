#ifndef QUARN_TOOL_OUTPUT_H
#define QUARN_TOOL_OUTPUT_H

#include "QueueReader.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace Quarn::Logging::Tool {

struct SOutputStyle
{
    bool json = false;       ///< One object a line instead of the built-in logger's lines.
    bool color = false;      ///< The built-in logger's colours. Not in JSON.
    bool toTerminal = false; ///< Keep control characters of the image from the terminal.
};

/// @brief Writes records and headers in UTF-8, whatever the user's locale.
///
/// Making one sets the process's character type to UTF-8, which the formatting of file names goes by.
class Output
{
public:
    Output(std::FILE* stream, const SOutputStyle& style);

    /// @param[in] header  of the queue that the record is from
    /// @param[in] offset  of that queue in the image
    void WriteRecord(const SRecordView& record, const SLogQueueHeader& header, std::uint64_t offset);

    /// @param[in] available  bytes of the queue's block that the image has
    void WriteInfo(const QueueReader& queue, std::uint64_t offset, std::size_t available);

    /// Says something on standard error, after what was written before.
    void Notice(const std::string& text);

    /// Hands everything to the system. False if anything could not be written since the beginning.
    bool Flush();

private:
    std::string LineOf(const SRecordView& record, double startTime) const;
    std::string FileNameOf(const SRecordView& record) const;
    void Write(const std::string& text);

    std::FILE* m_pStream;
    SOutputStyle m_Style;
    bool m_HasUtf8; ///< Whether the C library can convert UTF-8.
    bool m_Failed = false;
};

} // namespace Quarn::Logging::Tool

#endif
