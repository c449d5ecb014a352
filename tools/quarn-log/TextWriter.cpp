#include "LogLine.h"
#include "OutputFormats.h"
#include "RecordFilter.h"
#include "Utf8.h"

#include <algorithm>
#include <clocale>
#include <string_view>

namespace Quarn::Logging::Tool {

namespace {

/// @brief The built-in logger's lines.
///
/// Making one sets the process's character type to UTF-8, which the formatting of file names goes by.
class TextWriter : public RecordWriter
{
public:
    explicit TextWriter(const SOutputStyle& style)
        : m_Style(style)
        , m_HasUtf8(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr)
    {
    }

    /// Always one line: a text that is cut loses the line end and the colour's end.
    std::string Format(const SRecordView& record, const SLogQueueHeader& header,
                       std::uint64_t /*offset*/) const override
    {
        std::wstring text = m_Style.toTerminal ? WithoutControls(record.text) : record.text;
        if (record.cutOff) {
            text += L" [cut off by the end of the image]";
        }
        wchar_t buffer[LOG_LINE_BUFFER_SIZE];
        FormatLogLine(buffer, {m_Style.color, record.level, record.category, WallTimeOf(record, header.m_StartTime),
                               record.threadId, FileNameOf(record).c_str(), record.line, text.c_str()});
        std::string line = ToUtf8(buffer);
        if (line.empty() || line.back() != '\n') {
            line += m_Style.color ? "\x1b[0m\n" : "\n";
        }
        return line;
    }

private:
    std::string FileNameOf(const SRecordView& record) const
    {
        std::string name = m_Style.toTerminal ? WithoutControls(std::string_view(record.file)) : CleanUtf8(record.file);
        if (!m_HasUtf8) { // the line would end at the first character that the C library cannot convert
            std::replace_if(
                name.begin(), name.end(), [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; }, '?');
        }
        return name;
    }

    SOutputStyle m_Style;
    bool m_HasUtf8; ///< Whether the C library can convert UTF-8.
};

} // namespace

std::unique_ptr<RecordWriter> MakeTextWriter(const SOutputStyle& style) { return std::make_unique<TextWriter>(style); }

} // namespace Quarn::Logging::Tool
