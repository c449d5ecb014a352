#include "ExitCode.h"
#include "FollowPrinter.h"
#include "Follower.h"
#include "ImageRun.h"
#include "ImageScanner.h"
#include "OutputFormats.h"
#include "ReadOptions.h"
#include "Subcommands.h"

#include <CLI/CLI.hpp>

#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

namespace Quarn::Logging::Tool {

namespace {

constexpr double SHORTEST_WAIT = 0.01; // s, for what is not there yet

/// The signals that end the program. They are taken here alone, so that a line is never cut short.
class EndSignals
{
public:
    EndSignals()
    {
        sigemptyset(&m_Set);
        sigaddset(&m_Set, SIGINT);
        sigaddset(&m_Set, SIGTERM);
        sigprocmask(SIG_BLOCK, &m_Set, nullptr);
    }

    bool HaveCome() const
    {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGINT) == 1 || sigismember(&pending, SIGTERM) == 1;
    }

    /// Waits for so long, or until one has come.
    bool ComeWithin(double seconds) const
    {
        const auto nanoseconds = static_cast<std::int64_t>(seconds * 1e9);
        timespec wait{};
        wait.tv_sec = static_cast<time_t>(nanoseconds / 1000000000);
        wait.tv_nsec = static_cast<long>(nanoseconds % 1000000000);
        return sigtimedwait(&m_Set, nullptr, &wait) > 0;
    }

private:
    sigset_t m_Set{};
};

/// Whether what cannot be opened for this reason may be there later.
bool IsMissing(int error) { return error == ENOENT || error == ENOTDIR || error == ENXIO || error == ENODEV; }

/// One run of the subcommand.
class FollowSession
{
public:
    FollowSession(ImageRun& run, const SReadOptions& options)
        : m_Run(run)
        , m_Options(options)
        , m_Printer(options.filter, run.Printed())
    {
    }

    /// Follows one file after the other, if it is replaced; returns the exit code.
    int Run()
    {
        for (;;) {
            if (!WaitForQueue()) {
                if (m_IsCompressed) {
                    return EXIT_CANNOT_READ;
                }
                return m_IsStopping ? m_Run.EndByUser() : m_Run.End(false);
            }
            if (!FollowQueue()) {
                return m_Run.End(true);
            }
            m_Run.Notice("is another file now");
            m_Run.Reopen();
        }
    }

private:
    /// Sets m_Offset. False if the user does not want to wait any longer, or the image cannot be read.
    bool WaitForQueue()
    {
        bool saidMissing = false;
        bool saidEmpty = false;
        while (!FindQueue()) {
            const int error = m_Run.Input().Error();
            m_IsStopping = m_IsStopping || m_Signals.HaveCome();
            if (m_IsStopping || m_IsCompressed || (error != 0 && !IsMissing(error))) {
                return false;
            }
            bool& said = error != 0 ? saidMissing : saidEmpty;
            if (!said) {
                said = true;
                m_Run.Notice(error != 0 ? std::string(std::strerror(error)) + ", waiting for it"
                                        : "no queue found, waiting for one");
            }
            m_IsStopping = m_Signals.ComeWithin(std::max(m_Options.interval, SHORTEST_WAIT));
            m_Run.Reopen();
        }
        return true;
    }

    bool FindQueue()
    {
        bool found = false;
        ImageScanner scanner(m_Run.Input());
        scanner.SetStop([this] { return m_Signals.HaveCome(); });
        scanner.ForEachQueue([&](std::uint64_t offset, const unsigned char* /*bytes*/, std::size_t /*size*/) {
            m_Offset = offset;
            found = true;
            return false;
        });
        m_IsCompressed = !found && m_Run.ExplainCompressed(scanner.Start());
        return found;
    }

    /// True if the file was replaced by another.
    bool FollowQueue()
    {
        m_Printer.SetOffset(m_Offset);
        Follower follower(m_Run.Input(), m_Offset, m_Printer);
        bool isReplaced = false;
        bool goesOn = true;
        while (goesOn) {
            // Known before the look, so that the last one is at all that there was when the end came.
            isReplaced = m_Run.Input().IsReplaced(m_Options.image);
            const bool isLast = isReplaced || m_IsStopping;
            goesOn = follower.Poll() && m_Run.Printed().Flush() && !isLast;
            m_IsStopping = m_IsStopping || (goesOn && m_Signals.ComeWithin(m_Options.interval));
        }
        isReplaced = isReplaced && !m_IsStopping;
        if (!isReplaced) {
            m_Printer.SetStopping();
        }
        follower.End();
        return isReplaced;
    }

    ImageRun& m_Run;
    const SReadOptions& m_Options;
    FollowPrinter m_Printer;
    EndSignals m_Signals;
    std::uint64_t m_Offset = 0;
    bool m_IsStopping = false;
    bool m_IsCompressed = false;
};

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
    return FollowSession(run, options).Run();
}

} // namespace Quarn::Logging::Tool
