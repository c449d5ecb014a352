#include "Follower.h"
#include "ImageRun.h"
#include "ImageScanner.h"
#include "OutputFormats.h"
#include "ReadOptions.h"
#include "Subcommands.h"

#include <CLI/CLI.hpp>

#include <signal.h>
#include <time.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace Quarn::Logging::Tool {

namespace {

std::optional<std::uint64_t> OffsetOfFirstQueue(InputFile& input)
{
    std::optional<std::uint64_t> first;
    ImageScanner(input).ForEachQueue([&](std::uint64_t offset, const unsigned char* /*bytes*/, std::size_t /*size*/) {
        first = offset;
        return false;
    });
    return first;
}

/// Waits for the interval, or less if a signal asks for the end.
bool IsOver(const sigset_t& signals, double interval)
{
    const auto nanoseconds = static_cast<std::int64_t>(interval * 1e9);
    timespec wait{};
    wait.tv_sec = static_cast<time_t>(nanoseconds / 1000000000);
    wait.tv_nsec = static_cast<long>(nanoseconds % 1000000000);
    return sigtimedwait(&signals, nullptr, &wait) > 0;
}

Action AddTo(CLI::App& app)
{
    auto options = std::make_shared<SReadOptions>();
    AddImage(app, *options);
    app.get_option("image")->description("Device or file that a process is using")->check([](const std::string& image) {
        return image == "-" ? std::string("standard input cannot be read again") : std::string();
    });
    AddFormat(app, *options, NamesOfFormats());
    AddFilter(app, *options);
    AddInterval(app, *options, "Seconds between two looks");
    AddColor(app, *options);
    return [options](const std::string& program) { return Follow(program, *options); };
}

} // namespace

const SSubcommand FOLLOW = {"follow", "Print the records of a live region as they appear, until interrupted.", AddTo};

int Follow(const std::string& program, const SReadOptions& options)
{
    ImageRun run(program, options);
    const std::optional<std::uint64_t> offset = OffsetOfFirstQueue(run.Input());
    if (!offset) {
        return run.End(false);
    }
    // Taken by sigtimedwait() alone, so that a line is never cut short.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    Follower follower(run.Input(), *offset, options.filter, run.Printed());
    while (follower.Poll() && run.Printed().Flush() && !IsOver(signals, options.interval)) {
    }
    return run.End(true);
}

} // namespace Quarn::Logging::Tool
