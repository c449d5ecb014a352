#include "QueueImage.h"

#include <cstring>
#include <fstream>

namespace QuarnTest {

bool SImageRecord::operator==(const SImageRecord& other) const
{
    return offset == other.offset && sequence == other.sequence && level == other.level && category == other.category &&
           std::memcmp(&time, &other.time, sizeof time) == 0 && threadId == other.threadId && line == other.line &&
           text == other.text && file == other.file;
}

QueueImage::QueueImage()
{
    Set(Magic1, 0xDEADBEEF);
    Set(Magic2, 0x47110817);
    Set(TotalSize, 0x200000);
    Set(Capacity, CAPACITY);
    Set(EndPos, CAPACITY);
}

QueueImage::QueueImage(const std::string& file)
{
    std::ifstream(file, std::ios::binary).read(reinterpret_cast<char*>(Bytes()), SIZE);
}

void QueueImage::Save(const std::string& file) const
{
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(Bytes()), SIZE);
}

void QueueImage::Append(std::int32_t level, std::int32_t category, double time, std::uint32_t threadId,
                        const std::string& file, std::int32_t line, const std::wstring& text)
{
    const std::uint32_t position = Get(WritePos);
    const std::uint32_t start = HEADER + position;
    const auto fileLength = static_cast<std::uint32_t>(file.size());
    const auto textLength = static_cast<std::uint32_t>(text.size());
    const std::uint32_t size = (fileLength + 4 * textLength + 57 + 3) / 4 * 4;
    Set(start, 0x7B7B7B7B);
    Set(start + 4, Get(Sequence));
    Set(start + 8, 0x7D7D7D7D);
    Store(start + 12, level);
    Store(start + 16, category);
    Store(start + 20, time);
    Set(start + 28, threadId);
    Store(start + 32, line);
    Set(start + 36, fileLength);
    Set(start + 40, textLength);
    Set(start + 44, size);
    Set(start + 48, position + size);
    std::memcpy(Bytes() + start + 52, text.c_str(), 4 * (text.size() + 1));
    std::memcpy(Bytes() + start + 56 + 4 * textLength, file.c_str(), file.size() + 1);
    Set(WritePos, position + size);
    Set(Count, Get(Count) + 1);
    Set(Sequence, Get(Sequence) + 1);
}

std::vector<SImageRecord> QueueImage::WholeRecords() const
{
    std::vector<SImageRecord> records;
    for (std::uint32_t offset = 0; offset < CAPACITY - 12; offset += 4) {
        if (IsWhole(offset)) {
            records.push_back(RecordAt(offset));
        }
    }
    return records;
}

std::vector<SImageRecord> QueueImage::RecordsOfNextDump() const
{
    auto [count, position] = Scan();
    std::vector<SImageRecord> records;
    for (; count != 0 && IsValid(position); --count) {
        records.push_back(RecordAt(position));
        const std::uint32_t next = GetRecord(position, 48);
        position = next >= Get(EndPos) ? 0 : next;
    }
    return records;
}

std::pair<std::uint32_t, std::uint32_t> QueueImage::Scan() const
{
    std::uint32_t count = 0;
    std::uint32_t oldest = 0;
    std::uint32_t previous = 0;
    for (std::uint32_t offset = 0; offset < CAPACITY - 12; offset += 4) {
        if (!IsWhole(offset)) {
            continue;
        }
        const std::uint32_t sequence = GetRecord(offset, 4);
        if ((sequence != 0 && sequence < previous && previous != 0xFFFFFFFF) || sequence - previous > 0x80000000) {
            oldest = offset;
        }
        ++count;
        previous = sequence;
    }
    return {count, oldest};
}

bool QueueImage::IsWhole(std::uint32_t offset) const
{
    return GetRecord(offset, 0) == 0x7B7B7B7B && GetRecord(offset, 8) == 0x7D7D7D7D;
}

bool QueueImage::IsValid(std::uint32_t offset) const
{
    if (offset + 60 > CAPACITY) {
        return false;
    }
    const std::uint64_t fileLength = GetRecord(offset, 36);
    const std::uint64_t textLength = GetRecord(offset, 40);
    const std::uint64_t size = GetRecord(offset, 44);
    const std::uint32_t next = GetRecord(offset, 48);
    if (next > CAPACITY || size != (fileLength + 4 * textLength + 57 + 3) / 4 * 4 || offset + size > CAPACITY ||
        (next != 0 && next < offset + size)) {
        return false;
    }
    const auto textEnd = static_cast<std::uint32_t>(HEADER + offset + 52 + 4 * textLength);
    return Get(textEnd) == 0 && Bytes()[textEnd + 4 + static_cast<std::uint32_t>(fileLength)] == '\0';
}

SImageRecord QueueImage::RecordAt(std::uint32_t offset) const
{
    const std::uint32_t start = HEADER + offset;
    std::wstring text;
    for (std::uint32_t at = start + 52; at + 4 <= SIZE && Get(at) != 0; at += 4) {
        text += static_cast<wchar_t>(Get(at));
    }
    // In 64 bits and cut at the block's end: what only looks like a record may have any lengths.
    const std::uint64_t fileStart = start + 56 + std::uint64_t{4} * Get(start + 40);
    std::string file;
    for (std::uint64_t at = fileStart; at < SIZE && at < fileStart + Get(start + 36); ++at) {
        file += static_cast<char>(Bytes()[at]);
    }
    return {offset,
            Get(start + 4),
            Load<std::int32_t>(start + 12),
            Load<std::int32_t>(start + 16),
            Load<double>(start + 20),
            Get(start + 28),
            Load<std::int32_t>(start + 32),
            text,
            file};
}

} // namespace QuarnTest
