#ifndef QUARN_LOGGING_TESTS_QUEUE_IMAGE_H
#define QUARN_LOGGING_TESTS_QUEUE_IMAGE_H

#include "QueueBlock.h"

#include <cstdint>
#include <cstring>
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

    bool operator==(const SImageRecord& other) const;
};

/// @brief The 2 MiB of a reserved memory, as bytes: made by hand, or read from a file and looked through.
///
/// Knows the layout by its numbers only, so that a change of the library's layout shows.
class QueueImage : public QueueBlock
{
public:
    /// An empty queue.
    QueueImage();
    explicit QueueImage(const std::string& file);

    void Save(const std::string& file) const;

    double GetStartTime() const { return Load<double>(StartTime); }
    void SetStartTime(double seconds) { Store(StartTime, seconds); }

    /// Appends a record where the last one ended, as a writer that was never disturbed.
    void Append(std::int32_t level, std::int32_t category, double time, std::uint32_t threadId, const std::string& file,
                std::int32_t line, const std::wstring& text);

    /// Every whole record in the buffer, in address order.
    std::vector<SImageRecord> WholeRecords() const;

    /// What a start over this memory reads: as many records as are whole, along the links from the oldest one, to the
    /// first that cannot be one.
    std::vector<SImageRecord> RecordsOfNextDump() const;

private:
    template <class T>
    T Load(std::uint32_t offset) const
    {
        T value{};
        std::memcpy(&value, Bytes() + offset, sizeof value);
        return value;
    }
    template <class T>
    void Store(std::uint32_t offset, T value)
    {
        std::memcpy(Bytes() + offset, &value, sizeof value);
    }

    /// Number of whole records and the place of the oldest.
    std::pair<std::uint32_t, std::uint32_t> Scan() const;

    bool IsWhole(std::uint32_t offset) const;
    bool IsValid(std::uint32_t offset) const;
    SImageRecord RecordAt(std::uint32_t offset) const;
};

} // namespace QuarnTest

#endif
