#ifndef QUARN_BENCH_SUBJECT_H
#define QUARN_BENCH_SUBJECT_H

#include <string>
#include <vector>

/// @file
/// What is measured beside each other: the library, the physical limits and the peers, behind one set of functions.
/// Each stands in a source of its own in subjects/, since the macros of the peers do not get on with each other.

namespace QuarnBench {

enum Message {
    STATIC_TEXT, ///< "axis reference run finished without errors"
    TWO_INTS,    ///< "axis %d stands at position %d"
    MIXED,       ///< "axis %d %ls %s %f %x": an int, a wide text, a text, a double, an int
    MESSAGE_COUNT
};

inline const char* NameOf(Message message)
{
    static const char* const names[] = {"static text", "two ints", "mixed"};
    return names[message];
}

enum class Scene {
    QUEUED, ///< The call ends when the message is queued or buffered; what becomes of it later is left out.
    FLUSHED ///< The call ends when the line was handed to the kernel.
};

/// Messages that any subject can hold until it is drained: about 240 bytes each in the library's queue of 2 MiB, of
/// which they fill half.
constexpr unsigned int QUEUED_MESSAGES = 4096;

struct SSubject
{
    std::string name;

    /// Begins and ends a scene. Files are made in the directory, which is empty and is emptied afterwards.
    void (*open)(Scene scene, const std::string& directory);
    void (*close)();

    /// Logs the message; the number is part of those that have one.
    void (*log[MESSAGE_COUNT])(int number);

    /// Waits until nothing is queued any more.
    void (*drain)();

    /// So many calls whose level does not pass. Null: the subject has none. Between open and close of QUEUED, except
    /// where that is null, too.
    void (*filtered)(int count);

    bool queues;  ///< Has the scene QUEUED.
    bool flushes; ///< Has the scene FLUSHED.

    /// Messages that found no room, in all scenes that were closed. Any makes a measurement worthless. Null: the
    /// subject never drops any.
    unsigned int (*dropped)() = nullptr;
};

/// The library first, then the limits, then the peers that this program was built with.
std::vector<SSubject> Subjects();

/// Those that have the scene, in the order of a repetition: as above in the first, drawn for each of the others, so
/// that none always runs behind the same one and has to bear what that leaves to the kernel, such as files to be
/// forgotten.
std::vector<SSubject> SubjectsInTurn(Scene scene, int repetition);

/// False, with a message, if a subject dropped any.
bool NoneDropped();

SSubject QuarnSubject();
SSubject PartsSubject();
SSubject WriteSubject();
SSubject EmptyLoopSubject();
SSubject BareArraySubject();
SSubject SpdlogSubject();
SSubject GlogSubject();
SSubject Log4cplusSubject();
SSubject BoostLogSubject();

/// The lines that WriteSubject() writes, one for each message.
void SetWrittenLines(const std::vector<std::string>& lines);

/// Between two calls of a loop: nothing is known of the memory any more, as between calls in a program.
inline void ForgetMemory() { asm volatile("" : : : "memory"); }

} // namespace QuarnBench

#endif
