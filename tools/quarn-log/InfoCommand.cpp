#include "ImageRun.h"
#include "QueueInfo.h"
#include "ReadOptions.h"
#include "Subcommands.h"

#include <memory>

namespace Quarn::Logging::Tool {

namespace {

Action AddTo(CLI::App& app)
{
    auto options = std::make_shared<SReadOptions>();
    AddImage(app, *options);
    AddFormat(app, *options, {"text", "json"});
    return [options](const std::string& program) { return ShowInfo(program, *options); };
}

} // namespace

const SSubcommand INFO = {"info", "Print the headers of the queues in an image.", AddTo};

int ShowInfo(const std::string& program, const SReadOptions& options)
{
    ImageRun run(program, options);
    return run.ForEachQueue([&](const QueueReader& queue, std::uint64_t offset, std::size_t size) {
        const SQueueInfo info = {queue, offset, size};
        run.Printed().Write(options.format == "json" ? JsonOf(info) : TextOf(info));
    });
}

} // namespace Quarn::Logging::Tool
