#include "QueueModel.h"

#include <algorithm>
#include <cstring>

namespace QuarnTest {

QueueModel::QueueModel()
    : bytes(BLOCK_SIZE)
{
}

void QueueModel::MakeFull()
{
    Initialise(FULL_CAPACITY);
    for (std::uint32_t offset = HEADER_SIZE; offset < BLOCK_SIZE; ++offset) {
        bytes[offset] = 0;
    }
}

void QueueModel::Clear()
{
    SetWord(COUNT, 0);
    SetWord(DROPPED, 0);
    SetWord(WRITE_POS, 0);
    SetWord(READ_POS, 0);
    SetWord(END_POS, Word(CAPACITY));
    SetWord(SEQUENCE, 0);
    for (std::uint32_t i = 0; i < Word(CAPACITY); ++i) {
        bytes[HEADER_SIZE + i] = 0;
    }
}

void QueueModel::Write(const SMessage& message)
{
    const std::uint32_t size = SizeFor(message);
    const std::optional<std::uint32_t> place = FindRoom(size);
    if (!place) {
        SetWord(DROPPED, Word(DROPPED) + 1);
        return;
    }
    if (Word(COUNT) == 0) {
        SetWord(READ_POS, *place);
        if (!IsBetweenRecords(Word(END_POS)) && Word(END_POS) != Word(CAPACITY)) {
            SetWord(END_POS, Word(CAPACITY));
            ++branches.givesUpEndPos;
        }
    }
    std::uint32_t next = *place + size;
    if (next >= Word(CAPACITY)) {
        next = 0;
        ++branches.endsAtCapacity;
    }
    PutRecord(HEADER_SIZE + *place, message, size, next);
    SetWord(COUNT, Word(COUNT) + 1);
    SetWord(SEQUENCE, Word(SEQUENCE) + 1);
    SetWord(WRITE_POS, next);
}

std::optional<SMessage> QueueModel::Read()
{
    if (Word(COUNT) == 0) {
        ++branches.nothingToRead;
        return std::nullopt;
    }
    const std::uint32_t position = Word(READ_POS);
    const bool tooMany = Word(COUNT) > Word(CAPACITY) / 4;
    branches.tooMany += tooMany ? 1 : 0;
    if (tooMany || !IsValid(position)) {
        ++branches.givesUp;
        SetWord(COUNT, 0);
        SetWord(READ_POS, Word(WRITE_POS));
        return std::nullopt;
    }
    SetWord(COUNT, Word(COUNT) - 1);
    const std::uint32_t next = Word(HEADER_SIZE + position + 48);
    SetWord(READ_POS, next);
    if (next >= Word(END_POS)) {
        SetWord(READ_POS, 0);
        ++(next == Word(END_POS) ? branches.wrapsAtEndPos : branches.jumpsFromBeyondEndPos);
    } else {
        ++(next == 0 ? branches.followsNextToZero : branches.followsNext);
    }
    return MessageAt(position);
}

void QueueModel::Adopt()
{
    SetWord(COUNT, 0);
    SetWord(READ_POS, 0);
    std::uint32_t previous = 0;
    for (std::uint32_t position = 0; position < 0x1FFFA4; position += 4) {
        if (!IsComplete(position)) {
            continue;
        }
        const std::uint32_t sequence = Word(HEADER_SIZE + position + 4);
        if ((sequence != 0 && sequence < previous && previous != 0xFFFFFFFF) ||
            std::uint32_t(sequence - previous) > 0x80000000) {
            SetWord(READ_POS, position);
            ++branches.breaksFound;
        }
        SetWord(COUNT, Word(COUNT) + 1);
        previous = sequence;
    }
}

std::vector<SMessage> QueueModel::ReadAll()
{
    std::vector<SMessage> messages;
    while (const std::optional<SMessage> message = Read()) {
        messages.push_back(*message);
    }
    return messages;
}

bool QueueModel::IsComplete(std::uint32_t position) const
{
    return Word(HEADER_SIZE + position) == 0x7B7B7B7B && Word(HEADER_SIZE + position + 8) == 0x7D7D7D7D;
}

std::uint32_t QueueModel::Word(std::uint32_t offset) const
{
    return bytes[offset] + 0x100U * bytes[offset + 1] + 0x10000U * bytes[offset + 2] + 0x1000000U * bytes[offset + 3];
}

void QueueModel::SetWord(std::uint32_t offset, std::uint32_t value)
{
    for (std::uint32_t i = 0; i < 4; ++i) {
        bytes[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

void QueueModel::Initialise(std::uint32_t capacity)
{
    const std::uint32_t fields[] = {0xDEADBEEF, 0x47110817, 0x200000, capacity, 0, 0, capacity, 0, 0, 0, 0, 0};
    std::uint32_t offset = 32;
    for (const std::uint32_t field : fields) {
        SetWord(offset, field);
        offset += 4;
    }
}

std::uint32_t QueueModel::SizeFor(const SMessage& message)
{
    const std::size_t used = message.file.size() + 4 * message.text.size() + 57;
    return static_cast<std::uint32_t>(used % 4 == 0 ? used : used + 4 - used % 4);
}

std::optional<std::uint32_t> QueueModel::FindRoom(std::uint32_t size)
{
    if (Word(WRITE_POS) != 0 && !IsBetweenRecords(Word(WRITE_POS))) {
        ++branches.beginsAtFront;
    }
    if (Word(COUNT) == 0) {
        return FindRoomWhenEmpty(size);
    }
    return Word(READ_POS) >= Writer() ? FindRoomBehindReader(size) : FindRoomAheadOfReader(size);
}

std::optional<std::uint32_t> QueueModel::FindRoomWhenEmpty(std::uint32_t size)
{
    if (Writer() + size <= Word(CAPACITY)) {
        ++branches.emptyFits;
        return Writer();
    }
    if (size > Word(CAPACITY)) {
        ++branches.emptyTooLarge;
        return std::nullopt;
    }
    ++branches.emptyWraps;
    return Wrap();
}

std::optional<std::uint32_t> QueueModel::FindRoomBehindReader(std::uint32_t size)
{
    const std::uint32_t limit = std::min(Word(READ_POS), Word(CAPACITY));
    const std::uint32_t room = std::max(limit, Writer()) - Writer();
    if (size > room) {
        ++(room == 0 ? branches.full : branches.behindNoRoom);
        return std::nullopt;
    }
    ++(size == room ? branches.behindFitsExactly : branches.behindFits);
    return Writer();
}

std::optional<std::uint32_t> QueueModel::FindRoomAheadOfReader(std::uint32_t size)
{
    if (Writer() + size <= Word(CAPACITY)) {
        ++branches.aheadFits;
        return Writer();
    }
    if (size > Word(READ_POS)) {
        ++branches.aheadNoRoom;
        return std::nullopt;
    }
    ++(size == Word(READ_POS) ? branches.aheadWrapsExactly : branches.aheadWraps);
    return Wrap();
}

std::uint32_t QueueModel::Wrap()
{
    SetWord(END_POS, Word(WRITE_POS));
    SetWord(WRITE_POS, 0);
    return 0;
}

void QueueModel::PutRecord(std::uint32_t offset, const SMessage& message, std::uint32_t size, std::uint32_t next)
{
    SetWord(offset, 0x7B7B7B7B);
    SetWord(offset + 4, Word(SEQUENCE));
    SetWord(offset + 8, 0x7D7D7D7D);
    SetWord(offset + 12, static_cast<std::uint32_t>(message.level));
    SetWord(offset + 16, static_cast<std::uint32_t>(message.category));
    std::memcpy(&bytes[offset + 20], &message.time, 8);
    SetWord(offset + 28, message.threadId);
    SetWord(offset + 32, static_cast<std::uint32_t>(message.line));
    SetWord(offset + 36, static_cast<std::uint32_t>(message.file.size()));
    SetWord(offset + 40, static_cast<std::uint32_t>(message.text.size()));
    SetWord(offset + 44, size);
    SetWord(offset + 48, next);
    std::uint32_t at = offset + 52;
    for (const wchar_t character : message.text) {
        SetWord(at, static_cast<std::uint32_t>(character));
        at += 4;
    }
    SetWord(at, 0);
    at += 4;
    for (const char character : message.file) {
        bytes[at++] = static_cast<unsigned char>(character);
    }
    bytes[at] = 0;
}

bool QueueModel::IsValid(std::uint64_t position) const
{
    const std::uint64_t capacity = Word(CAPACITY);
    if (position % 4 != 0 || position + 60 > capacity) {
        return false;
    }
    const auto offset = static_cast<std::uint32_t>(HEADER_SIZE + position);
    const std::uint64_t fileLength = Word(offset + 36);
    const std::uint64_t textLength = Word(offset + 40);
    const std::uint64_t size = Word(offset + 44);
    const std::uint64_t next = Word(offset + 48);
    if (next > capacity || size != (fileLength + 4 * textLength + 60) / 4 * 4 || position + size > capacity) {
        return false;
    }
    if (next != 0 && next < position + size) {
        return false;
    }
    // Inside the block from here on, so 32 bits hold it.
    const auto textEnd = static_cast<std::uint32_t>(offset + 52 + 4 * textLength);
    return Word(textEnd) == 0 && bytes[textEnd + 4 + static_cast<std::uint32_t>(fileLength)] == 0;
}

SMessage QueueModel::MessageAt(std::uint32_t position) const
{
    const std::uint32_t offset = HEADER_SIZE + position;
    SMessage message{};
    message.level = static_cast<int>(Word(offset + 12));
    message.category = static_cast<int>(Word(offset + 16));
    std::memcpy(&message.time, &bytes[offset + 20], 8);
    message.threadId = Word(offset + 28);
    message.line = static_cast<int>(Word(offset + 32));
    // As their user sees them, up to the first 0.
    for (std::uint32_t at = offset + 52; Word(at) != 0; at += 4) {
        message.text += static_cast<wchar_t>(Word(at));
    }
    for (std::uint32_t at = offset + 56 + 4 * Word(offset + 40); bytes[at] != 0; ++at) {
        message.file += static_cast<char>(bytes[at]);
    }
    return message;
}

bool QueueModel::IsBetweenRecords(std::uint32_t position) const
{
    return position >= 60 && position <= Word(CAPACITY) && position % 4 == 0;
}

std::uint32_t QueueModel::Writer() const { return IsBetweenRecords(Word(WRITE_POS)) ? Word(WRITE_POS) : 0; }

} // namespace QuarnTest
