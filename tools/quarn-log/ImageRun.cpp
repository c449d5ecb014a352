#include "ImageRun.h"

#include "ExitCode.h"
#include "ImageScanner.h"
#include "OutputFormats.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Quarn::Logging::Tool {

namespace {

/// Whether the user wants no colours of any program.
bool IsColorUnwanted()
{
    const char* const value = std::getenv("NO_COLOR");
    return value != nullptr && *value != '\0';
}

SOutputStyle StyleOf(const SReadOptions& options)
{
    SOutputStyle style;
    style.toTerminal = isatty(STDOUT_FILENO) == 1;
    style.color = options.color == "always" || (options.color == "auto" && style.toTerminal && !IsColorUnwanted());
    return style;
}

} // namespace

ImageRun::ImageRun(const std::string& program, const SReadOptions& options)
    : m_Options(options)
    , m_PipeReader(program == "quarn-log info" ? "info" : "show")
    , m_Output(stdout, program, MakeWriter(options.format, StyleOf(options)))
{
    Reopen();
}

int ImageRun::ForEachQueue(const Visitor& visitor)
{
    ImageScanner scanner(*m_Input);
    unsigned int queues = 0;
    scanner.ForEachQueue([&](std::uint64_t offset, const unsigned char* bytes, std::size_t size) {
        if (++queues > 1) {
            Notice("another queue, at offset " + std::to_string(offset) + ":");
        }
        if (size < SLogQueueHeader::TOTAL_SIZE) {
            Notice("ends after " + std::to_string(size) + " of the 2097152 bytes of the queue at offset " +
                   std::to_string(offset));
        }
        visitor(QueueReader(bytes, size), offset, size);
        return m_Output.Flush();
    });
    if (scanner.Skipped() != 0) {
        Notice(std::to_string(scanner.Skipped()) + " headers left out, too many lie on top of each other");
    }
    const bool found = queues != 0;
    return !found && ExplainCompressed(scanner.Start()) ? EXIT_CANNOT_READ : End(found);
}

int ImageRun::End(bool found)
{
    const int exitCode = EndByUser();
    if (exitCode != EXIT_FOUND) {
        return exitCode;
    }
    if (m_Input->Error() != 0) {
        Notice(std::strerror(m_Input->Error()));
        return EXIT_CANNOT_READ;
    }
    if (!found) {
        Notice("no queue found");
    }
    return found ? EXIT_FOUND : EXIT_NO_QUEUE;
}

bool ImageRun::ExplainCompressed(const ImageStart& start)
{
    const std::string pipe = PipeFor(start, m_Options.image, m_PipeReader);
    if (!pipe.empty()) {
        Notice("is compressed, read it with: " + pipe);
    }
    return !pipe.empty();
}

int ImageRun::EndByUser()
{
    if (m_Output.Flush()) {
        return EXIT_FOUND;
    }
    Notice("standard output did not take everything");
    return EXIT_CANNOT_WRITE;
}

void ImageRun::Notice(const std::string& text) { m_Output.Notice(m_Options.image + ": " + text); }

} // namespace Quarn::Logging::Tool
