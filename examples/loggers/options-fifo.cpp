// Takes options strings for the log from a FIFO while the program runs, until one of them is "quit":
//
//     mkfifo control && options-fifo control &
//     echo 'linfo;o7D' >control; echo quit >control
//
// Exit codes: 0 after "quit", 1 without a FIFO that can be read, 2 wrong usage.

#include <QuarnLogging/Log.h>

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <clocale>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace {

constexpr int CATEGORY_CONTROL = 7;

/// Brings options from the thread that reads them to the one that dispatches.
class OptionsInbox
{
public:
    /// Returns when the options are applied.
    void Hand(const std::wstring& options)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Options = options;
        m_Changed.notify_all();
        m_Changed.wait(lock, [this] { return m_Options.empty(); });
    }

    /// On the dispatching thread, between two dispatches: waits a while for options. False if they were "quit".
    bool ApplyNext()
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        if (!m_Changed.wait_for(lock, std::chrono::milliseconds(20), [this] { return !m_Options.empty(); })) {
            return true;
        }
        const std::wstring options = std::exchange(m_Options, std::wstring());
        if (options != L"quit") {
            DispatchQueuedLogMessages(); // what was logged under the old options goes out under them
            SetLogOptions(options.c_str());
        }
        m_Changed.notify_all();
        return options != L"quit";
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::wstring m_Options; ///< Empty: none wait to be applied.
};

/// Byte by byte: that is how the names of log files reach the file system again.
std::wstring OptionsOf(const std::string& line)
{
    std::wstring options;
    for (const char character : line) {
        options += static_cast<wchar_t>(static_cast<unsigned char>(character));
    }
    return options;
}

/// To be logged with %ls. A byte that is no text becomes a "?"; with %s it would cut the message off.
std::wstring TextOf(const std::string& line)
{
    std::wstring text;
    std::mbstate_t state{};
    for (std::size_t i = 0; i < line.size();) {
        wchar_t character = L'?';
        const std::size_t length = std::mbrtowc(&character, &line[i], line.size() - i, &state);
        const bool isText = length > 0 && length <= line.size();
        text += isText ? character : L'?';
        i += isText ? length : 1;
        state = isText ? state : std::mbstate_t{};
    }
    return text;
}

/// A file of another kind would be read over and over, without a wait.
bool IsFifo(const char* name)
{
    struct stat status
    {
    };
    const bool exists = stat(name, &status) == 0;
    if (!exists || !S_ISFIFO(status.st_mode)) {
        std::fprintf(stderr, "options-fifo: %s: %s\n", name,
                     exists ? "not a FIFO; mkfifo makes one" : std::strerror(errno));
        return false;
    }
    return true;
}

/// False if there was nothing to read from.
bool ReadFifo(const char* name, OptionsInbox& inbox)
{
    std::string line;
    while (line != "quit") {
        if (!IsFifo(name)) {
            return false;
        }
        std::ifstream fifo(name); // waits for a writer; where that ends, the file ends
        if (!fifo.is_open()) {
            std::fprintf(stderr, "options-fifo: %s: %s\n", name, std::strerror(errno));
            return false;
        }
        for (line.clear(); line != "quit" && std::getline(fifo, line) && line != "quit";) {
            inbox.Hand(OptionsOf(line));
            QUARN_DEBUG(CATEGORY_CONTROL, L"log options: %ls", TextOf(line).c_str());
        }
    }
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2 || arguments[1][0] == '-') {
        std::fprintf(stderr, "usage: options-fifo FIFO\n");
        return 2;
    }
    std::setlocale(LC_CTYPE, "C.UTF-8"); // the encoding of the lines, and of what comes from the FIFO
    EnableAutologging(false);
    SetLogOptions(L"lwarning");
    OptionsInbox inbox;
    bool isComplete = false;
    std::thread reader([&] {
        isComplete = ReadFifo(arguments[1], inbox);
        inbox.Hand(L"quit");
    });
    do {
        DispatchQueuedLogMessages();
    } while (inbox.ApplyNext());
    reader.join();
    DispatchQueuedLogMessages();
    return isComplete ? 0 : 1;
}
