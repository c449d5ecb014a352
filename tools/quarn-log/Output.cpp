#include "Output.h"

#include "LogLine.h"
#include "RecordFilter.h"
#include "TimeText.h"
#include "Utf8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <clocale>
#include <cwchar>

namespace Quarn::Logging::Tool {

namespace {

using Json = nlohmann::ordered_json;

std::string ToText(const Json& object) { return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"; }

/// Null for a time that has no date.
Json IsoOrNull(double wallTime)
{
    const std::string text = ToIso8601(wallTime);
    return text.empty() ? Json(nullptr) : Json(text);
}

/// The undelivered records are the newest ones.
bool IsDelivered(const SRecordView& record, const SLogQueueHeader& header)
{
    return header.m_Sequence - 1 - record.sequence >= header.m_Count;
}

std::string JsonOf(const SRecordView& record, const SLogQueueHeader& header, std::uint64_t offset)
{
    const auto wallTime = static_cast<double>(WallTimeOf(record, header.m_StartTime));
    return ToText({{"queue", offset},
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
                   {"delivered", IsDelivered(record, header)}});
}

Json InfoOf(const QueueReader& queue, std::uint64_t offset, std::size_t available)
{
    const SLogQueueHeader& header = queue.Header();
    const unsigned int whole = queue.WholeRecords();
    return {{"queue", offset},
            {"bytes_in_image", available},
            {"start_time", header.m_StartTime},
            {"start_time_iso", IsoOrNull(header.m_StartTime)},
            {"whole_records", whole},
            {"undelivered", header.m_Count},
            {"delivered", whole - std::min(whole, header.m_Count)},
            {"readable_records", queue.Chain().size()},
            {"hidden_records", queue.Hidden()},
            {"dropped", header.m_Dropped},
            {"next_sequence", header.m_Sequence},
            {"write_position", header.m_WritePos},
            {"read_position", header.m_ReadPos},
            {"end_position", header.m_EndPos},
            {"capacity", header.m_Capacity}};
}

std::string InfoTextOf(const Json& info)
{
    std::string text;
    for (const auto& [key, value] : info.items()) {
        std::string name = key;
        std::replace(name.begin(), name.end(), '_', ' ');
        name.resize(18, ' ');
        text += name + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
    return text;
}

} // namespace

Output::Output(std::FILE* stream, const SOutputStyle& style)
    : m_pStream(stream)
    , m_Style(style)
    , m_HasUtf8(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr)
{
}

void Output::WriteRecord(const SRecordView& record, const SLogQueueHeader& header, std::uint64_t offset)
{
    if (!m_Style.json) {
        Write(LineOf(record, header.m_StartTime));
        return;
    }
    const std::string json = JsonOf(record, header, offset);
    Write(m_Style.toTerminal ? WithoutControls(json) : json); // JSON escapes some control characters, but not all
}

void Output::WriteInfo(const QueueReader& queue, std::uint64_t offset, std::size_t available)
{
    const Json info = InfoOf(queue, offset, available);
    Write(m_Style.json ? ToText(info) : InfoTextOf(info));
}

/// The built-in logger's line, but always one line: a text that is cut loses the line end and the colour's end.
std::string Output::LineOf(const SRecordView& record, double startTime) const
{
    const std::wstring text = m_Style.toTerminal ? WithoutControls(record.text) : record.text;
    wchar_t buffer[LOG_LINE_BUFFER_SIZE];
    FormatLogLine(buffer, {m_Style.color, record.level, record.category, WallTimeOf(record, startTime), record.threadId,
                           FileNameOf(record).c_str(), record.line, text.c_str()});
    std::string line = ToUtf8(buffer);
    if (line.empty() || line.back() != '\n') {
        line += m_Style.color ? "\x1b[0m\n" : "\n";
    }
    return line;
}

std::string Output::FileNameOf(const SRecordView& record) const
{
    std::string name = m_Style.toTerminal ? WithoutControls(std::string_view(record.file)) : CleanUtf8(record.file);
    if (!m_HasUtf8) { // the line would end at the first character that the C library cannot convert
        std::replace_if(
            name.begin(), name.end(), [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; }, '?');
    }
    return name;
}

void Output::Write(const std::string& text)
{
    m_Failed = std::fwrite(text.data(), 1, text.size(), m_pStream) != text.size() || m_Failed;
}

void Output::Notice(const std::string& text)
{
    Flush();
    std::fprintf(stderr, "quarn-logdump: %s\n", text.c_str());
}

bool Output::Flush()
{
    m_Failed = std::fflush(m_pStream) != 0 || m_Failed;
    return !m_Failed;
}

} // namespace Quarn::Logging::Tool
