// queue-image write FILE   writes the block that the script leaves behind
// queue-image check FILE   restarts over such a block and compares what it offers with the script
//
// Built at both word sizes, so that each can be given the other one's file.

#include "CQLogQueue.h"
#include "QueueScript.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <new>
#include <string>
#include <vector>

using namespace Quarn::Logging;
using namespace QuarnTest;

namespace {

constexpr std::size_t BLOCK_SIZE = 0x200000;

bool Take(CQLogQueue& queue, SMessage& message)
{
    const char* file = nullptr;
    const wchar_t* text = nullptr;
    if (!queue.ReadMessage(message.level, message.category, message.time, message.threadId, file, message.line, text)) {
        return false;
    }
    message.file = file;
    message.text = text;
    return true;
}

bool WriteImage(char* block, const char* path)
{
    auto* const queue = new (block) CQLogQueue(false);
    queue->SetStartTime(QueueScript::START_TIME);
    QueueScript::Run(
        [queue](const SMessage& message) {
            queue->WriteMessage(message.level, message.category, message.time, message.threadId, message.file.c_str(),
                                message.line, message.text.c_str());
        },
        [queue] {
            SMessage ignored{};
            Take(*queue, ignored);
        });
    queue->~CQLogQueue();
    return static_cast<bool>(std::ofstream(path, std::ios::binary).write(block, BLOCK_SIZE).flush());
}

bool Complain(const char* what, int number)
{
    std::fprintf(stderr, "queue-image: %s at message %d\n", what, number);
    return false;
}

bool CheckQueue(CQLogQueue& queue)
{
    if (queue.GetStartTime() != QueueScript::START_TIME || queue.GetDropped() != 1) {
        return Complain("wrong start time or drops", 0);
    }
    if (queue.GetCount() != QueueScript::MESSAGES - QueueScript::FIRST_IN_RING) {
        return Complain("wrong number of records", static_cast<int>(queue.GetCount()));
    }
    SMessage message{};
    for (int number = QueueScript::FIRST_IN_RING; number < QueueScript::MESSAGES; ++number) {
        if (!Take(queue, message)) {
            return Complain("nothing more to read", number);
        }
        if (!(message == QueueScript::Message(number))) {
            return Complain("different contents", number);
        }
    }
    return !Take(queue, message) || Complain("more to read", QueueScript::MESSAGES);
}

bool CheckImage(char* block, const char* path)
{
    if (!std::ifstream(path, std::ios::binary).read(block, BLOCK_SIZE)) {
        return Complain("file too short", 0);
    }
    auto* const queue = new (block) CQLogQueue(true);
    const bool good = CheckQueue(*queue);
    queue->~CQLogQueue();
    return good;
}

} // namespace

int main(int argc, char* argv[])
{
    const std::string command = argc == 3 ? argv[1] : "";
    std::vector<std::uint64_t> words(BLOCK_SIZE / sizeof(std::uint64_t));
    char* const block = reinterpret_cast<char*>(words.data());
    if (command == "write") {
        return WriteImage(block, argv[2]) ? 0 : 1;
    }
    if (command == "check") {
        return CheckImage(block, argv[2]) ? 0 : 1;
    }
    std::fputs("usage: queue-image write|check FILE\n", stderr);
    return 2;
}
