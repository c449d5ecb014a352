#include "Recorder.h"

#include "SourceLookup.h"

#include <QuarnLogging/CQAllocationInfo.h>
#include <QuarnLogging/Logging.h>

#include <sched.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <mutex>
#include <new>
#include <string>
#include <vector>

using Quarn::Logging::CQAllocationInfo;

namespace AllocationFeeder {

namespace {

struct SMessage
{
    int level;
    int category;
    const char* file;
    int line;
    std::wstring text;
};

// Allocations are made before this library is initialised and after its end, so all of this is plain data that is there
// from the first instruction of the process to the last.
alignas(CQAllocationInfo) unsigned char g_RegistryMemory[sizeof(CQAllocationInfo)];
std::atomic<CQAllocationInfo*> g_pRegistry{nullptr};
std::atomic<int> g_Visitors{0};
std::atomic<Quarn::Logging::LogFunc> g_NextLogFunc{nullptr};
std::mutex g_LifeMutex; ///< one Start() or Stop() at a time

// The model saves the look-up of a thread's variable, which may itself have to allocate.
#define FEEDER_THREAD_LOCAL thread_local __attribute__((tls_model("initial-exec")))

/// Whether this thread is in the registry, whose containers allocate and free while its mutex is held.
FEEDER_THREAD_LOCAL bool t_Inside = false;
/// Where the messages of the report that this thread is making are kept.
FEEDER_THREAD_LOCAL std::vector<SMessage>* t_pReport = nullptr;

/// Keeps a thread's allocations out of the registry.
class Guard
{
public:
    Guard() { t_Inside = true; }
    ~Guard() { t_Inside = false; }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

/// Keeps the registry alive.
class Visit
{
public:
    Visit()
    {
        // Counted first and looked up then: Stop() does the two in the opposite order, so that one sees the other.
        g_Visitors.fetch_add(1);
        m_pRegistry = g_pRegistry.load();
    }
    ~Visit() { g_Visitors.fetch_sub(1); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    CQAllocationInfo* Registry() const { return m_pRegistry; }

private:
    CQAllocationInfo* m_pRegistry;
};

template <class Operation>
void WithRegistry(Operation operation) noexcept
{
    if (t_Inside || g_pRegistry.load(std::memory_order_relaxed) == nullptr) {
        return;
    }
    const Guard guard;
    const Visit visit;
    if (visit.Registry() != nullptr) {
        operation(*visit.Registry());
    }
}

/// The whole text: what a buffer of fixed size would cut may be a dump that is asked for.
std::wstring Format(const wchar_t* format, va_list args)
{
    wchar_t* text = nullptr;
    std::size_t length = 0;
    FILE* stream = open_wmemstream(&text, &length);
    if (stream == nullptr) {
        return L"no memory for a message of the report";
    }
    std::vfwprintf(stream, format, args);
    std::fclose(stream);
    std::wstring whole(text, length);
    std::free(text);
    return whole;
}

void LogThroughFeeder(int level, int category, const char* file, int line, const wchar_t* format, va_list args)
{
    if (t_pReport != nullptr) {
        t_pReport->push_back({level, category, file, line, Format(format, args)});
    } else if (const Quarn::Logging::LogFunc next = g_NextLogFunc.load()) {
        next(level, category, file, line, format, args);
    }
}

void PassOn(const SMessage* message, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    LogThroughFeeder(message->level, message->category, message->file, message->line, format, args);
    va_end(args);
}

/// Ends recording while the process can still do it in order. Objects that are released later are no more looked up.
struct SExit
{
    ~SExit() { Stop(); }
} g_Exit;

} // namespace

void Start()
{
    const std::lock_guard<std::mutex> lock(g_LifeMutex);
    if (g_pRegistry.load() != nullptr) {
        return;
    }
    const Guard guard;
    auto* registry = new (g_RegistryMemory) CQAllocationInfo;
    registry->EnableAddInfo(true);
    if (g_pLogFunc != &LogThroughFeeder) {
        g_NextLogFunc = g_pLogFunc;
        SetLogFunc(&LogThroughFeeder);
    }
    g_pRegistry.store(registry);
}

void Stop()
{
    const std::lock_guard<std::mutex> lock(g_LifeMutex);
    CQAllocationInfo* registry = g_pRegistry.exchange(nullptr);
    if (registry == nullptr) {
        return;
    }
    while (g_Visitors.load() != 0) {
        sched_yield();
    }
    if (g_pLogFunc == &LogThroughFeeder) {
        SetLogFunc(g_NextLogFunc.load());
    }
    registry->~CQAllocationInfo();
}

void DumpObjectsOfLine(unsigned int line)
{
    WithRegistry([=](CQAllocationInfo& registry) { registry.AddLineNumberUsedForMemoryDump(line); });
}

void DumpObjectsOfSize(unsigned int size)
{
    WithRegistry([=](CQAllocationInfo& registry) { registry.AddObjectSizeUsedForMemoryDump(size); });
}

// The report is collected first and logged when the registry is unlocked again. Logged at once it would run the loggers
// under the registry's mutex: a thread that dispatches, and allocates in a logger, would wait for the registry while
// the report waits to dispatch. It also leaves the loggers free to allocate and release as at any other time, and it is
// the place where addresses become source positions.
void Report(int category)
{
    std::vector<SMessage> messages;
    WithRegistry([&](CQAllocationInfo& registry) {
        t_pReport = &messages;
        registry.DumpInfo(category);
        t_pReport = nullptr;
        SourceLookup lookup;
        for (SMessage& message : messages) {
            message.text = lookup.Translate(message.text);
        }
    });
    for (const SMessage& message : messages) {
        PassOn(&message, L"%ls", message.text.c_str());
    }
}

void RecordAt(const SSite& site, void* object, std::size_t size) noexcept
{
    WithRegistry([&](CQAllocationInfo& registry) {
        registry.AddInfo(site.file, site.line, object, static_cast<unsigned int>(size));
    });
}

// Such an object gets a site of its own making, with the address as the file's name. Nothing is looked up here: which
// module an address belongs to is known to the dynamic linker only, whose lock has no place in an allocation, and file
// and line cost file accesses. At the time of the report both do no harm.
void RecordCaller(const void* returnAddress, void* object, std::size_t size) noexcept
{
    WithRegistry([&](CQAllocationInfo& registry) {
        wchar_t name[SourceLookup::SITE_NAME_SIZE];
        SourceLookup::WriteSiteName(reinterpret_cast<std::uintptr_t>(returnAddress), name);
        registry.AddInfo(name, 0, object, static_cast<unsigned int>(size));
    });
}

void Forget(void* object) noexcept
{
    if (object != nullptr) {
        WithRegistry([&](CQAllocationInfo& registry) { registry.TryRemoveInfo(object); });
    }
}

} // namespace AllocationFeeder
