#include "OutputFormats.h"

#include <stdexcept>

namespace Quarn::Logging::Tool {

namespace {

struct SOutputFormat
{
    const char* name;
    std::unique_ptr<RecordWriter> (*makeWriter)(const SOutputStyle& style);
};

constexpr SOutputFormat FORMATS[] = {
    {"text", MakeTextWriter},
    {"json", MakeJsonWriter},
};

} // namespace

std::vector<std::string> NamesOfFormats()
{
    std::vector<std::string> names;
    for (const SOutputFormat& format : FORMATS) {
        names.emplace_back(format.name);
    }
    return names;
}

std::unique_ptr<RecordWriter> MakeWriter(const std::string& format, const SOutputStyle& style)
{
    for (const SOutputFormat& known : FORMATS) {
        if (format == known.name) {
            return known.makeWriter(style);
        }
    }
    throw std::invalid_argument("no such output format: " + format);
}

} // namespace Quarn::Logging::Tool
