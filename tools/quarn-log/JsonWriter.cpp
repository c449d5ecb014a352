#include "JsonText.h"
#include "LogLine.h"
#include "OutputFormats.h"
#include "RecordFilter.h"
#include "Utf8.h"

namespace Quarn::Logging::Tool {

namespace {

/// The undelivered records are the newest ones.
bool IsDelivered(const SRecordView& record, const SLogQueueHeader& header)
{
    return header.m_Sequence - 1 - record.sequence >= header.m_Count;
}

/// One object a line.
class JsonWriter : public RecordWriter
{
public:
    explicit JsonWriter(const SOutputStyle& style)
        : m_ToTerminal(style.toTerminal)
    {
    }

    std::string Format(const SRecordView& record, const SLogQueueHeader& header, std::uint64_t offset) const override
    {
        const auto wallTime = static_cast<double>(WallTimeOf(record, header.m_StartTime));
        const std::string json = ToText({{"queue", offset},
                                         {"sequence", record.sequence},
                                         {"level", record.level},
                                         {"level_name", ToUtf8(NameOfLevel(record.level))},
                                         {"category", record.category},
                                         {"monotonic_time", record.time},
                                         {"wall_time", wallTime},
                                         {"wall_time_iso", IsoOrNull(wallTime)},
                                         {"thread_id", record.threadId},
                                         {"file", CleanUtf8(record.file)},
                                         {"line", record.line},
                                         {"text", ToUtf8(record.text)},
                                         {"position", record.position},
                                         {"size", record.size},
                                         {"next", record.next},
                                         {"cut_off", record.cutOff},
                                         {"delivered", IsDelivered(record, header)}});
        return m_ToTerminal ? WithoutControls(json) : json; // JSON escapes some control characters, but not all
    }

private:
    bool m_ToTerminal;
};

} // namespace

std::unique_ptr<RecordWriter> MakeJsonWriter(const SOutputStyle& style) { return std::make_unique<JsonWriter>(style); }

} // namespace Quarn::Logging::Tool
