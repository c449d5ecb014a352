#ifndef QUARN_TOOL_IMAGE_RUN_H
#define QUARN_TOOL_IMAGE_RUN_H

#include "Compression.h"
#include "InputFile.h"
#include "Output.h"
#include "QueueReader.h"
#include "ReadOptions.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Quarn::Logging::Tool {

/// @brief One run of a subcommand over one image: what it reads, where it prints, what it says and how it ends.
class ImageRun
{
public:
    /// A queue that was found, its offset in the image and the bytes of its block that the image has.
    using Visitor = std::function<void(const QueueReader& queue, std::uint64_t offset, std::size_t size)>;

    /// The options must live as long as the run.
    ImageRun(const std::string& program, const SReadOptions& options);

    /// Visits each queue in the order of the image, with what there is to say of it, and ends the run.
    int ForEachQueue(const Visitor& visitor);

    /// The exit code, and what there is to say with it.
    int End(bool found);

    /// The same if the user has ended the run, which then went well but for what could not be printed.
    int EndByUser();

    /// Whether an image without a queue is a compressed one; says how to read it then.
    bool ExplainCompressed(const ImageStart& start);

    /// Opens the image again.
    void Reopen() { m_Input.emplace(m_Options.image); }

    /// Says something about the image on standard error.
    void Notice(const std::string& text);

    InputFile& Input() { return *m_Input; }
    Output& Printed() { return m_Output; }

private:
    const SReadOptions& m_Options;
    std::string m_PipeReader; ///< The subcommand for an image that comes through a pipe.
    Output m_Output;
    std::optional<InputFile> m_Input;
};

} // namespace Quarn::Logging::Tool

#endif
