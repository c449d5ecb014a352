#include "Compression.h"

#include <cstring>

namespace Quarn::Logging::Tool {

namespace {

struct SFormat
{
    const char* program;
    std::size_t size; ///< Bytes of the magic number.
    const char* magic;
};

constexpr SFormat FORMATS[] = {
    {"zstd", 4, "\x28\xB5\x2F\xFD"},
    {"xz", 6, "\xFD\x37zXZ\x00"},
    {"gzip", 3, "\x1F\x8B\x08"},
    {"lz4", 4, "\x04\x22\x4D\x18"},
};

/// A file name as one word for the shell.
std::string ShellWord(const std::string& name)
{
    constexpr const char* PLAIN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@%=";
    if (name.find_first_not_of(PLAIN) == std::string::npos) {
        return name;
    }
    std::string word = "'";
    for (const char character : name) {
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return word + "'";
}

} // namespace

std::string PipeFor(const ImageStart& start, const std::string& image, const std::string& subcommand)
{
    for (const SFormat& format : FORMATS) {
        if (std::memcmp(start.data(), format.magic, format.size) == 0) {
            return std::string(format.program) + " -dc " + (image == "-" ? "" : ShellWord(image) + " ") +
                   "| quarn-log " + subcommand + " -";
        }
    }
    return {};
}

} // namespace Quarn::Logging::Tool
