#include "Arguments.h"
#include "Follower.h"
#include "ImageScanner.h"
#include "InputFile.h"
#include "Output.h"
#include "QueueReader.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;

namespace {

/// One run of the program over one image.
class Program
{
public:
    explicit Program(const SArguments& arguments)
        : m_Arguments(arguments)
        , m_Output(stdout, StyleOf(arguments))
        , m_Input(arguments.image)
    {
    }

    int Run()
    {
        if (m_Input.Error() != 0) {
            return CannotRead();
        }
        return m_Arguments.follow ? Follow() : Print();
    }

private:
    static SOutputStyle StyleOf(const SArguments& arguments)
    {
        SOutputStyle style;
        style.json = arguments.json;
        style.toTerminal = isatty(STDOUT_FILENO) == 1;
        style.color = arguments.color == "always" || (arguments.color == "auto" && style.toTerminal);
        return style;
    }

    int Print()
    {
        ImageScanner scanner(m_Input);
        unsigned int queues = 0;
        scanner.ForEachQueue([&](std::uint64_t offset, const unsigned char* bytes, std::size_t size) {
            if (++queues > 1) {
                Notice("another queue, at offset " + std::to_string(offset) + ":");
            }
            PrintQueue(QueueReader(bytes, size), offset, size);
            return m_Output.Flush();
        });
        if (scanner.Skipped() != 0) {
            Notice(std::to_string(scanner.Skipped()) + " headers left out, too many lie on top of each other");
        }
        return EndOf(queues != 0);
    }

    void PrintQueue(const QueueReader& queue, std::uint64_t offset, std::size_t size)
    {
        if (size < SLogQueueHeader::TOTAL_SIZE) {
            Notice("ends after " + std::to_string(size) + " of the 2097152 bytes of the queue at offset " +
                   std::to_string(offset));
        }
        if (m_Arguments.info) {
            m_Output.WriteInfo(queue, offset, size);
            return;
        }
        for (const SRecordView& record : m_Arguments.all ? queue.All() : queue.Chain()) {
            if (m_Arguments.filter.Passes(record, queue.Header().m_StartTime)) {
                m_Output.WriteRecord(record, queue.Header(), offset);
            }
        }
        SayWhatIsMissing(queue);
    }

    void SayWhatIsMissing(const QueueReader& queue)
    {
        if (queue.GaveUp()) {
            Notice("records lie on top of each other, the rest is left out");
        }
        if (queue.Hidden() != 0 && !m_Arguments.all) {
            Notice(std::to_string(queue.Hidden()) + " complete records are out of reach, --all shows them");
        }
        if (queue.Header().m_Dropped != 0) {
            Notice(std::to_string(queue.Header().m_Dropped) + " messages were dropped, the queue was full");
        }
    }

    int Follow()
    {
        std::uint64_t offset = 0;
        bool found = false;
        ImageScanner(m_Input).ForEachQueue(
            [&](std::uint64_t place, const unsigned char* /*bytes*/, std::size_t /*size*/) {
                offset = place;
                found = true;
                return false;
            });
        if (!found) {
            return EndOf(false);
        }
        // Taken by sigtimedwait() alone, so that a line is never cut short.
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        Follower follower(m_Input, offset, m_Arguments.filter, m_Output);
        while (follower.Poll() && m_Output.Flush() && !IsOver(signals)) {
        }
        return EndOf(true);
    }

    /// Waits for the interval, or less if a signal asks for the end.
    bool IsOver(const sigset_t& signals) const
    {
        timespec wait{};
        wait.tv_sec = static_cast<time_t>(m_Arguments.interval.count() / 1000000000);
        wait.tv_nsec = static_cast<long>(m_Arguments.interval.count() % 1000000000);
        return sigtimedwait(&signals, nullptr, &wait) > 0;
    }

    int EndOf(bool found)
    {
        if (!m_Output.Flush()) {
            Notice("standard output did not take everything");
            return EXIT_CANNOT_WRITE;
        }
        if (m_Input.Error() != 0) {
            return CannotRead();
        }
        if (!found) {
            Notice("no queue found");
        }
        return found ? EXIT_FOUND : EXIT_NO_QUEUE;
    }

    int CannotRead()
    {
        Notice(std::strerror(m_Input.Error()));
        return EXIT_CANNOT_READ;
    }

    void Notice(const std::string& text) { m_Output.Notice(m_Arguments.image + ": " + text); }

    const SArguments& m_Arguments;
    Output m_Output;
    InputFile m_Input;
};

} // namespace

int main(int argc, char** argv)
{
    try {
        SArguments arguments;
        if (const std::optional<int> exitCode = ParseArguments(argc, argv, arguments)) {
            return *exitCode;
        }
        return Program(arguments).Run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quarn-logdump: %s\n", error.what());
        return EXIT_CANNOT_READ;
    }
}
