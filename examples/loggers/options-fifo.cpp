// Takes options strings for the log from a FIFO while the program runs, until one of them is "quit":
//
//     mkfifo control && options-fifo control &
//     echo 'linfo;o7D' >control; echo quit >control

#include <QuarnLogging/Log.h>

#include <chrono>
#include <condition_variable>
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

void ReadFifo(const char* name, OptionsInbox& inbox)
{
    std::string line;
    while (line != "quit") {
        std::ifstream fifo(name); // waits for a writer; where that ends, the file ends
        line = fifo.is_open() ? "" : "quit";
        while (line != "quit" && std::getline(fifo, line) && line != "quit") {
            inbox.Hand(std::wstring(line.begin(), line.end())); // ASCII
            QUARN_DEBUG(CATEGORY_CONTROL, L"log options: %s", line.c_str());
        }
    }
    inbox.Hand(L"quit");
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2) {
        return 2;
    }
    EnableAutologging(false);
    SetLogOptions(L"lwarning");
    OptionsInbox inbox;
    std::thread reader([&] { ReadFifo(arguments[1], inbox); });
    do {
        DispatchQueuedLogMessages();
    } while (inbox.ApplyNext());
    reader.join();
    DispatchQueuedLogMessages();
}
