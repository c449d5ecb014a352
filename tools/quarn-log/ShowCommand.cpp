#include "ImageRun.h"
#include "OutputFormats.h"
#include "ReadOptions.h"
#include "Subcommands.h"

#include <memory>

namespace Quarn::Logging::Tool {

namespace {

void SayWhatIsMissing(ImageRun& run, const QueueReader& queue, bool all)
{
    if (queue.GaveUp()) {
        run.Notice("records lie on top of each other, the rest is left out");
    }
    if (queue.Hidden() != 0 && !all) {
        run.Notice(std::to_string(queue.Hidden()) + " complete records are out of reach, --all shows them");
    }
    if (queue.Header().m_Dropped != 0) {
        run.Notice(std::to_string(queue.Header().m_Dropped) + " messages were dropped, the queue was full");
    }
}

Action AddTo(CLI::App& app)
{
    auto options = std::make_shared<SReadOptions>();
    AddImage(app, *options);
    AddFormat(app, *options, NamesOfFormats());
    AddFilter(app, *options);
    AddAll(app, *options);
    AddColor(app, *options);
    return [options](const std::string& program) { return Show(program, *options); };
}

} // namespace

const SSubcommand SHOW = {"show", "Print the log that an image holds, without changing it.", AddTo};

int Show(const std::string& program, const SReadOptions& options)
{
    ImageRun run(program, options);
    return run.ForEachQueue([&](const QueueReader& queue, std::uint64_t offset, std::size_t /*size*/) {
        for (const SRecordView& record : options.all ? queue.All() : queue.Chain()) {
            if (options.filter.Passes(record, queue.Header().m_StartTime)) {
                run.Printed().WriteRecord(record, queue.Header(), offset);
            }
        }
        SayWhatIsMissing(run, queue, options.all);
    });
}

} // namespace Quarn::Logging::Tool
