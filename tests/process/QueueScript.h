#ifndef QUARN_LOGGING_TESTS_QUEUE_SCRIPT_H
#define QUARN_LOGGING_TESTS_QUEUE_SCRIPT_H

#include "RecordingLogger.h"

#include <string>

namespace QuarnTest {

/// @brief A fixed sequence of writes and reads, a lap and a half of the ring, that every build makes the same block of.
///
/// Ten messages stay unread. One that is larger than the ring is dropped on the way.
struct QueueScript
{
    static constexpr int MESSAGES = 8000;
    static constexpr int UNREAD = 10;
    static constexpr double START_TIME = 1700000000.25;

    /// The messages that a restart offers are the last ones, from this one on; the later ones overwrote the others.
    static constexpr int FIRST_IN_RING = 2293;

    static SMessage Message(int number)
    {
        static constexpr int LEVELS[] = {1000, 2000, 3000, 4000};
        const auto n = static_cast<unsigned int>(number);
        SMessage message{};
        message.level = LEVELS[n % 4];
        message.category = number % 7 - 3;
        message.time = number * 0.125;
        message.threadId = 0xFFFFFFF0 + n % 3;
        message.file = "src/module" + std::string(n % 11, 'x') + ".cpp";
        message.line = number;
        message.text = L"message " + std::to_wstring(number) + std::wstring(n * 37 % 120, L'\x20AC') + L'\x1F600';
        return message;
    }

    static SMessage TooLargeMessage() { return {4000, 0, 0.0, 1, std::string(0x200000, 'f'), 1, L"too large"}; }

    /// write takes a message, read nothing.
    template <class WriteStep, class ReadStep>
    static void Run(const WriteStep& write, const ReadStep& read)
    {
        for (int number = 0; number < MESSAGES; ++number) {
            write(Message(number));
            if (number >= UNREAD) {
                read();
            }
            if (number == 4000) {
                write(TooLargeMessage());
            }
        }
    }
};

} // namespace QuarnTest

#endif
