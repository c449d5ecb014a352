#ifndef QUARN_TOOL_OUTPUT_FORMATS_H
#define QUARN_TOOL_OUTPUT_FORMATS_H

#include "RecordWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace Quarn::Logging::Tool {

// Each format's writer is a source of its own; OutputFormats.cpp has the table of their names.

std::unique_ptr<RecordWriter> MakeTextWriter(const SOutputStyle& style);
std::unique_ptr<RecordWriter> MakeJsonWriter(const SOutputStyle& style);

/// Names of the formats, as --output takes them.
std::vector<std::string> NamesOfFormats();

/// The writer of a format that NamesOfFormats() has.
std::unique_ptr<RecordWriter> MakeWriter(const std::string& format, const SOutputStyle& style);

} // namespace Quarn::Logging::Tool

#endif
