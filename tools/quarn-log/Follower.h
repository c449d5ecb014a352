#ifndef QUARN_TOOL_FOLLOWER_H
#define QUARN_TOOL_FOLLOWER_H

#include "InputFile.h"
#include "Output.h"
#include "RecordFilter.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Quarn::Logging::Tool {

/// @brief Prints the records of a queue that is in use as they appear.
///
/// It takes no lock, since the queue's lies in another process, and copies the block while writers are at work. A
/// record is printed if it is certain that it is not torn:
///  - the header is copied first, and the record's sequence number is below the header's: it was complete by then;
///  - two copies of the whole block, taken one after the other, have the same bytes where it stands, markers included:
///    no later record, whose writer takes the markers away first, had begun to run into it.
/// A record below the header's number that is not found so was overwritten and will not come back.
class Follower
{
public:
    /// @param[in] offset  of the queue in the input
    Follower(InputFile& input, std::uint64_t offset, const RecordFilter& filter, Output& output);

    /// Prints what is new; the first time, everything. False if the input cannot be read any more.
    bool Poll();

private:
    bool ReadBlock(std::vector<unsigned char>& block);
    bool IsAnotherRun(const SLogQueueHeader& header) const;
    void PrintNew(const SLogQueueHeader& header);

    InputFile& m_Input;
    std::uint64_t m_Offset;
    const RecordFilter& m_Filter;
    Output& m_Output;
    SLogQueueHeader m_Last{};            ///< The header that was last seen.
    std::optional<std::uint32_t> m_Next; ///< Sequence number behind the last one printed; nothing at first.
    std::vector<unsigned char> m_FirstCopy;
    std::vector<unsigned char> m_SecondCopy;
};

} // namespace Quarn::Logging::Tool

#endif
