#ifndef QUARN_LOGGING_TESTS_QUEUE_MODEL_H
#define QUARN_LOGGING_TESTS_QUEUE_MODEL_H

#include "RecordingLogger.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QuarnTest {

/// @brief The log queue once more, as plainly as it can be said: one array of bytes, and numbers at fixed places in it.
///
/// It shares nothing with the queue itself, and knows nothing of locks, of the order of stores or of speed.
class QueueModel
{
public:
    static constexpr std::uint32_t BLOCK_SIZE = 0x200000;
    static constexpr std::uint32_t HEADER_SIZE = 80;
    static constexpr std::uint32_t FULL_CAPACITY = 0x1FFFB0;

    /// How often each case was met.
    struct SBranches
    {
        int emptyFits = 0;
        int emptyWraps = 0;
        int emptyTooLarge = 0;
        int behindFits = 0;
        int behindFitsExactly = 0;
        int behindNoRoom = 0;
        int full = 0;
        int aheadFits = 0;
        int aheadWraps = 0;
        int aheadWrapsExactly = 0;
        int aheadNoRoom = 0;
        int endsAtCapacity = 0;
        int followsNext = 0;
        int followsNextToZero = 0;
        int wrapsAtEndPos = 0;
        int jumpsFromBeyondEndPos = 0;
        int nothingToRead = 0;
        int givesUp = 0;
        int breaksFound = 0;
        int beginsAtFront = 0;
        int givesUpEndPos = 0;
        int tooMany = 0;
    };

    QueueModel();

    void MakeFull();
    void MakeSmall(std::uint32_t capacity) { Initialise(capacity); }
    void Clear();
    void Write(const SMessage& message);
    std::optional<SMessage> Read();

    /// What a restart does with a block of full size that holds a valid header.
    void Adopt();

    /// Everything that can still be read.
    std::vector<SMessage> ReadAll();

    /// Whether both markers of a record stand at a buffer offset.
    bool IsComplete(std::uint32_t position) const;

    void SetHeader(std::uint32_t field, std::uint32_t value) { SetWord(field, value); }
    std::uint32_t WritePos() const { return Word(WRITE_POS); }
    std::uint32_t ReadPos() const { return Word(READ_POS); }
    std::uint32_t EndPos() const { return Word(END_POS); }
    std::uint32_t Count() const { return Word(COUNT); }
    std::uint32_t Capacity() const { return Word(CAPACITY); }

    std::vector<unsigned char> bytes;
    SBranches branches;

private:
    static constexpr std::uint32_t CAPACITY = 44;
    static constexpr std::uint32_t WRITE_POS = 48;
    static constexpr std::uint32_t READ_POS = 52;
    static constexpr std::uint32_t END_POS = 56;
    static constexpr std::uint32_t COUNT = 60;
    static constexpr std::uint32_t DROPPED = 64;
    static constexpr std::uint32_t SEQUENCE = 68;

    std::uint32_t Word(std::uint32_t offset) const;
    void SetWord(std::uint32_t offset, std::uint32_t value);
    void Initialise(std::uint32_t capacity);
    static std::uint32_t SizeFor(const SMessage& message);
    std::optional<std::uint32_t> FindRoom(std::uint32_t size);
    std::optional<std::uint32_t> FindRoomWhenEmpty(std::uint32_t size);
    std::optional<std::uint32_t> FindRoomBehindReader(std::uint32_t size);
    std::optional<std::uint32_t> FindRoomAheadOfReader(std::uint32_t size);
    std::uint32_t Wrap();
    void PutRecord(std::uint32_t offset, const SMessage& message, std::uint32_t size, std::uint32_t next);

    /// The checks of a stored record, in 64 bits throughout.
    bool IsValid(std::uint64_t position) const;

    SMessage MessageAt(std::uint32_t position) const;
    bool IsBetweenRecords(std::uint32_t position) const;

    /// The write position, or 0 in place of one where no record can begin.
    std::uint32_t Writer() const;
};

} // namespace QuarnTest

#endif
