#include "FormatCall.h"

#include "RecordingLogger.h"
#include "Require.h"

#include <QuarnLogging/Logging.h>

#include <cerrno>
#include <clocale>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>

using namespace QuarnTest;

namespace {

constexpr std::size_t TEXT_SIZE = 1000; ///< Wide characters of a message, terminator included.

/// A logger of the process's own facade, which gets everything.
RecordingLogger& TheLogger()
{
    static RecordingLogger logger;
    static const bool isRegistered = [] {
        const Quarn::Logging::SLevelDef all = {-1, 0};
        RegisterLogger(&logger, 1, &all);
        return true;
    }();
    static_cast<void>(isRegistered);
    return logger;
}

/// The text that a logger gets.
std::wstring ByLibrary(int error, const wchar_t* format, ...)
{
    TheLogger().m_Messages.clear();
    va_list args;
    va_start(args, format);
    errno = error;
    g_pLogFunc(1000, 5, "a.cpp", 7, format, args);
    Require(errno == error, "a log call leaves errno alone");
    va_end(args);
    Require(TheLogger().m_Messages.size() == 1, "every message arrives, once");
    return TheLogger().m_Messages.front().text;
}

/// What the C library makes of it. The buffer is full of something else before, as a stack is.
std::wstring ByReference(int error, const wchar_t* format, ...)
{
    std::wstring text(TEXT_SIZE, L'\x2592');
    va_list args;
    va_start(args, format);
    errno = error;
    std::vswprintf(text.data(), TEXT_SIZE, format, args);
    va_end(args);
    text[TEXT_SIZE - 1] = L'\0';
    return text.c_str();
}

void Show(const char* what, const std::wstring& text)
{
    std::fprintf(stderr, "%s (%zu): \"", what, text.size());
    for (const wchar_t character : text) {
        if (character >= L' ' && character < 127) {
            std::fputc(static_cast<int>(character), stderr);
        } else {
            std::fprintf(stderr, "\\x%x\"\"", static_cast<unsigned int>(character));
        }
    }
    std::fputs("\"\n", stderr);
}

/// Makes the call both ways, each argument of the type that its conversion takes.
template <class... Bound>
void Compare(const FormatCall& call, std::size_t next, Bound... bound)
{
    if (next == call.Arguments().size()) {
        const std::wstring received = ByLibrary(call.Error(), call.Format(), bound...);
        const std::wstring expected = ByReference(call.Error(), call.Format(), bound...);
        if (received != expected) {
            Show("format  ", call.Format());
            call.ShowArguments();
            Show("received", received);
            Show("expected", expected);
        }
        Require(received == expected, "a message is formatted as vswprintf does it");
        return;
    }
    if constexpr (sizeof...(bound) < FormatCall::MAX_ARGUMENTS) {
        const FormatCall::SArgument& argument = call.Arguments()[next];
        switch (argument.kind) {
        case FormatCall::Kind::Int:
            return Compare(call, next + 1, bound..., static_cast<int>(argument.integer));
        case FormatCall::Kind::LongLong:
            return Compare(call, next + 1, bound..., argument.integer);
        case FormatCall::Kind::Double:
            return Compare(call, next + 1, bound..., static_cast<double>(argument.real));
        case FormatCall::Kind::LongDouble:
            return Compare(call, next + 1, bound..., argument.real);
        case FormatCall::Kind::Pointer:
            return Compare(call, next + 1, bound..., argument.pointer);
        }
    }
}

} // namespace

/// A log call with any format and arguments that go with it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const char* const locale = data.ConsumeBool() ? "C.UTF-8" : "C";
    Require(std::setlocale(LC_ALL, locale) != nullptr, "the locale is there");
    const FormatCall call(data);
    Compare(call, 0);
    return 0;
}
