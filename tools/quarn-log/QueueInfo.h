#ifndef QUARN_TOOL_QUEUE_INFO_H
#define QUARN_TOOL_QUEUE_INFO_H

#include "QueueReader.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Quarn::Logging::Tool {

/// A queue as the info subcommand shows it.
struct SQueueInfo
{
    const QueueReader& queue;
    std::uint64_t offset;  ///< In the image.
    std::size_t available; ///< Bytes of the queue's block that the image has.
};

/// A line for each field of the header.
std::string TextOf(const SQueueInfo& info);

/// The same as one object, on one line.
std::string JsonOf(const SQueueInfo& info);

} // namespace Quarn::Logging::Tool

#endif
