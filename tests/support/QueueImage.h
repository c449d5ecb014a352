#ifndef QUARN_LOGGING_TESTS_QUEUE_IMAGE_H
#define QUARN_LOGGING_TESTS_QUEUE_IMAGE_H

#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace QuarnTest {

/// A record as its bytes tell it, read without the library's own definitions.
struct SImageRecord
{
    std::uint32_t offset; ///< In the record buffer.
    std::uint32_t sequence;
    std::int32_t level;
    std::int32_t category;
    double time;
    std::uint32_t threadId;
    std::int32_t line;
    std::wstring text;
    std::string file;

    bool operator==(const SImageRecord& other) const
    {
        return offset == other.offset && sequence == other.sequence && level == other.level &&
               category == other.category && std::memcmp(&time, &other.time, sizeof time) == 0 &&
               threadId == other.threadId && line == other.line && text == other.text && file == other.file;
    }
};

/// @brief The 2 MiB of a reserved memory, as bytes: made by hand, or read from a file and looked through.
///
/// Knows the layout by its numbers only, so that a change of the library's layout shows.
class QueueImage
{
public:
    static constexpr std::size_t SIZE = 0x200000;
    static constexpr std::size_t HEADER_SIZE = 80;
    static constexpr std::uint32_t CAPACITY = 0x1FFFB0;

    enum EField : std::size_t {
        MAGIC1 = 32,
        MAGIC2 = 36,
        TOTAL_SIZE = 40,
        BUFFER_SIZE = 44,
        WRITE_POS = 48,
        READ_POS = 52,
        END_POS = 56,
        COUNT = 60,
        DROPPED = 64,
        SEQUENCE = 68,
        START_TIME = 72
    };

    /// An empty queue.
    QueueImage()
        : m_Bytes(SIZE, '\0')
    {
        Set(MAGIC1, 0xDEADBEEF);
        Set(MAGIC2, 0x47110817);
        Set(TOTAL_SIZE, 0x200000);
        Set(BUFFER_SIZE, CAPACITY);
        Set(END_POS, CAPACITY);
    }
    explicit QueueImage(const std::string& file)
    {
        std::ostringstream content;
        content << std::ifstream(file, std::ios::binary).rdbuf();
        m_Bytes = content.str();
        m_Bytes.resize(SIZE);
    }

    void Save(const std::string& file) const { std::ofstream(file, std::ios::binary) << m_Bytes; }
    const std::string& Bytes() const { return m_Bytes; }

    std::uint32_t Get(std::size_t offset) const { return Load<std::uint32_t>(offset); }
    void Set(std::size_t offset, std::uint32_t value) { Store(offset, value); }
    double StartTime() const { return Load<double>(START_TIME); }
    void SetStartTime(double seconds) { Store(START_TIME, seconds); }

    /// Appends a record where the last one ended, as a writer that was never disturbed.
    void Append(std::int32_t level, std::int32_t category, double time, std::uint32_t threadId, const std::string& file,
                std::int32_t line, const std::wstring& text)
    {
        const std::uint32_t position = Get(WRITE_POS);
        const std::size_t start = HEADER_SIZE + position;
        const auto size = static_cast<std::uint32_t>((file.size() + 4 * text.size() + 57 + 3) / 4 * 4);
        Set(start, 0x7B7B7B7B);
        Set(start + 4, Get(SEQUENCE));
        Set(start + 8, 0x7D7D7D7D);
        Store(start + 12, level);
        Store(start + 16, category);
        Store(start + 20, time);
        Set(start + 28, threadId);
        Store(start + 32, line);
        Set(start + 36, static_cast<std::uint32_t>(file.size()));
        Set(start + 40, static_cast<std::uint32_t>(text.size()));
        Set(start + 44, size);
        Set(start + 48, position + size);
        std::memcpy(&m_Bytes[start + 52], text.c_str(), 4 * (text.size() + 1));
        std::memcpy(&m_Bytes[start + 56 + 4 * text.size()], file.c_str(), file.size() + 1);
        Set(WRITE_POS, position + size);
        Set(COUNT, Get(COUNT) + 1);
        Set(SEQUENCE, Get(SEQUENCE) + 1);
    }

    /// Every whole record in the buffer, in address order.
    std::vector<SImageRecord> WholeRecords() const
    {
        std::vector<SImageRecord> records;
        for (std::uint32_t offset = 0; offset < CAPACITY - 12; offset += 4) {
            if (Word(offset) == 0x7B7B7B7B && Word(offset + 8) == 0x7D7D7D7D) {
                records.push_back(RecordAt(offset));
            }
        }
        return records;
    }

    /// What a start over this memory reads: as many records as are whole, along the links from the oldest one, to the
    /// first that cannot be one.
    std::vector<SImageRecord> RecordsOfNextDump() const
    {
        auto [count, position] = Scan();
        std::vector<SImageRecord> records;
        for (; count != 0 && IsValid(position); --count) {
            records.push_back(RecordAt(position));
            const std::uint32_t next = Word(position + 48);
            position = next >= Get(END_POS) ? 0 : next;
        }
        return records;
    }

private:
    template <class T>
    T Load(std::size_t offset) const
    {
        T value{};
        std::memcpy(&value, &m_Bytes[offset], sizeof value);
        return value;
    }
    template <class T>
    void Store(std::size_t offset, T value)
    {
        std::memcpy(&m_Bytes[offset], &value, sizeof value);
    }
    std::uint32_t Word(std::uint32_t offset) const { return Get(HEADER_SIZE + offset); }

    /// Number of whole records and the place of the oldest.
    std::pair<std::uint32_t, std::uint32_t> Scan() const
    {
        std::uint32_t count = 0;
        std::uint32_t oldest = 0;
        std::uint32_t previous = 0;
        for (std::uint32_t offset = 0; offset < CAPACITY - 12; offset += 4) {
            if (Word(offset) != 0x7B7B7B7B || Word(offset + 8) != 0x7D7D7D7D) {
                continue;
            }
            const std::uint32_t sequence = Word(offset + 4);
            if ((sequence != 0 && sequence < previous && previous != 0xFFFFFFFF) || sequence - previous > 0x80000000) {
                oldest = offset;
            }
            ++count;
            previous = sequence;
        }
        return {count, oldest};
    }

    bool IsValid(std::uint32_t offset) const
    {
        if (offset + 60 > CAPACITY) {
            return false;
        }
        const std::uint64_t fileLength = Word(offset + 36);
        const std::uint64_t textLength = Word(offset + 40);
        const std::uint64_t size = Word(offset + 44);
        const std::uint32_t next = Word(offset + 48);
        if (next > CAPACITY || size != (fileLength + 4 * textLength + 57 + 3) / 4 * 4 || offset + size > CAPACITY ||
            (next != 0 && next < offset + size)) {
            return false;
        }
        const std::size_t textEnd = HEADER_SIZE + offset + 52 + static_cast<std::size_t>(4 * textLength);
        return Get(textEnd) == 0 && m_Bytes[textEnd + 4 + static_cast<std::size_t>(fileLength)] == '\0';
    }

    SImageRecord RecordAt(std::uint32_t offset) const
    {
        const std::size_t start = HEADER_SIZE + offset;
        std::wstring text;
        for (std::size_t at = start + 52; at + 4 <= SIZE && Get(at) != 0; at += 4) {
            text += static_cast<wchar_t>(Get(at));
        }
        const std::size_t fileStart = start + 56 + std::size_t{4} * Get(start + 40);
        const std::string file = fileStart < SIZE ? m_Bytes.substr(fileStart, Get(start + 36)) : "";
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

    std::string m_Bytes;
};

} // namespace QuarnTest

#endif
