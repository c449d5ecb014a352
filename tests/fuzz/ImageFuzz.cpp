#include "ImageScanner.h"
#include "InputFile.h"
#include "OutputFormats.h"
#include "QueueInfo.h"
#include "QueuePainter.h"
#include "QueueReader.h"
#include "RecordFilter.h"
#include "Require.h"
#include "TimeText.h"

#include <nlohmann/json.hpp>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace QuarnTest;
using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;

namespace {

/// A file in memory, with holes wherever nothing was put.
class ImageFile
{
public:
    ImageFile()
        : m_Fd(memfd_create("image", 0))
    {
        Require(m_Fd >= 0, "there is a file in memory");
    }

    std::string Name() const { return "/proc/self/fd/" + std::to_string(m_Fd); }

    void Resize(std::size_t size)
    {
        Require(ftruncate(m_Fd, 0) == 0 && ftruncate(m_Fd, static_cast<off_t>(size)) == 0, "the image has its size");
    }
    void Put(std::size_t offset, const void* bytes, std::size_t size)
    {
        Require(pwrite(m_Fd, bytes, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size),
                "the image has its bytes");
    }

private:
    int m_Fd;
};

/// Any bytes; or queues in between, of which the image may have a part only.
void MakeImage(ImageFile& file, FuzzedDataProvider& data)
{
    if (data.ConsumeIntegralInRange(0, 7) == 7) {
        const std::vector<std::uint8_t> bytes = data.ConsumeRemainingBytes<std::uint8_t>();
        file.Resize(bytes.size());
        file.Put(0, bytes.data(), bytes.size());
        return;
    }
    static std::vector<unsigned char> block(QueueBlock::SIZE);
    std::size_t size =
        data.ConsumeIntegralInRange<std::size_t>(0, data.ConsumeIntegralInRange(0, 3) == 3 ? 0x500000 : 4096);
    file.Resize(size);
    for (int queues = data.ConsumeIntegralInRange(1, 3); queues != 0; --queues) {
        const std::size_t offset = data.ConsumeIntegralInRange<std::size_t>(0, size);
        QueuePainter painter(data, block.data());
        painter.Paint();
        for (const auto& [begin, end] : painter.Painted()) {
            const std::size_t place = offset + begin;
            if (place < size) {
                file.Put(place, &block[begin], std::min<std::size_t>(end - begin, size - place));
            }
        }
        for (const auto& [begin, end] : painter.Painted()) {
            std::memset(&block[begin], 0, end - begin);
        }
    }
}

bool IsControl(char byte) { return (byte >= 0 && byte < 32 && byte != '\n' && byte != '\t') || byte == 127; }

/// Prints a queue in each way and looks at what was printed.
class Printer
{
public:
    Printer(const RecordFilter& filter, bool toTerminal)
        : m_Filter(filter)
    {
        m_Style.toTerminal = toTerminal;
    }

    void Print(const QueueReader& queue, std::uint64_t offset, std::size_t size)
    {
        Require(queue.HoldsQueue(), "what is taken for a queue has its header");
        Require(queue.All().size() >= queue.Hidden(), "what is hidden is part of all");
        const SQueueInfo info = {queue, offset, size};
        const std::string json = JsonOf(info) + Print(queue, offset, "json");
        const std::string lines = TextOf(info) + Print(queue, offset, "text");

        std::istringstream text(json);
        for (std::string line; std::getline(text, line);) {
            static_cast<void>(nlohmann::json::parse(line)); // throws, at UTF-8 that is none, too
        }
        if (m_Style.toTerminal) {
            const std::string printed = json + lines;
            Require(std::none_of(printed.begin(), printed.end(), IsControl), "a terminal gets no control characters");
        }
    }

private:
    std::string Print(const QueueReader& queue, std::uint64_t offset, const std::string& format)
    {
        const std::unique_ptr<RecordWriter> writer = MakeWriter(format, m_Style);
        std::string text;
        for (const std::vector<SRecordView>* records : {&queue.Chain(), &queue.All()}) {
            for (const SRecordView& record : *records) {
                if (m_Filter.Passes(record, queue.Header().m_StartTime)) {
                    text += writer->Format(record, queue.Header(), offset);
                }
            }
        }
        return text;
    }

    RecordFilter m_Filter;
    SOutputStyle m_Style;
};

RecordFilter MakeFilter(FuzzedDataProvider& data)
{
    RecordFilter filter;
    if (data.ConsumeIntegralInRange(0, 3) == 3) {
        filter.level = data.ConsumeIntegralInRange(0, 5000);
        filter.categories = {5, 6};
    }
    const std::string since = data.ConsumeRandomLengthString(40);
    filter.sinceMs = since.empty() ? std::nullopt : ParseTime(since, 1715953509123, Ambiguous::LAST);
    return filter;
}

} // namespace

/// The tool but for its command line, in one process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static ImageFile file;
    FuzzedDataProvider data(bytes, size);
    Printer printer(MakeFilter(data), data.ConsumeBool());
    MakeImage(file, data);

    InputFile input(file.Name());
    ImageScanner scanner(input);
    unsigned int queues = 0;
    scanner.ForEachQueue([&](std::uint64_t offset, const unsigned char* block, std::size_t available) {
        printer.Print(QueueReader(block, available), offset, available);
        return ++queues < 8; // each takes a while
    });
    Require(input.Error() == 0, "the image was read");
    return 0;
}
