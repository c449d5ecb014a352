#ifndef QUARN_TOOL_COMPRESSION_H
#define QUARN_TOOL_COMPRESSION_H

#include <array>
#include <string>

namespace Quarn::Logging::Tool {

/// The first bytes of an image, as many as tell a compressed one.
using ImageStart = std::array<unsigned char, 6>;

/// @brief How to read an image that is compressed, as a command line; empty for one that is not.
///
/// Compressed images are read through a pipe: the decompressors' own programs do it, and none of their libraries has to
/// be there to read the device.
/// @param[in] subcommand  the one that is to read the pipe
std::string PipeFor(const ImageStart& start, const std::string& image, const std::string& subcommand);

} // namespace Quarn::Logging::Tool

#endif
