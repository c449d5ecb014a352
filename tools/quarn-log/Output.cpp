#include "Output.h"

#include <utility>

namespace Quarn::Logging::Tool {

Output::Output(std::FILE* stream, std::string program, std::unique_ptr<RecordWriter> writer)
    : m_pStream(stream)
    , m_Program(std::move(program))
    , m_pWriter(std::move(writer))
{
}

void Output::WriteRecord(const SRecordView& record, const SLogQueueHeader& header, std::uint64_t offset)
{
    Write(m_pWriter->Format(record, header, offset));
}

void Output::Write(const std::string& text)
{
    m_Failed = std::fwrite(text.data(), 1, text.size(), m_pStream) != text.size() || m_Failed;
}

void Output::Notice(const std::string& text)
{
    Flush();
    std::fprintf(stderr, "%s: %s\n", m_Program.c_str(), text.c_str());
}

bool Output::Flush()
{
    m_Failed = std::fflush(m_pStream) != 0 || m_Failed;
    return !m_Failed;
}

} // namespace Quarn::Logging::Tool
