#include "Explanation.h"
#include "OptionStringReference.h"
#include "OptionsReading.h"
#include "Require.h"
#include "WideInput.h"

#include <cstddef>
#include <cstdint>
#include <string>

using namespace QuarnTest;
using namespace Quarn::Logging;
using namespace Quarn::Logging::Tool;

/// Any string in words, of settings that are the reference's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const double rate = data.ConsumeFloatingPointInRange<double>(1, 1e12);
    const std::wstring string = ConsumeWide(data, 400);
    const SOptionsReading reading = ReadOptionsString(string);
    const SExplanation explanation = Explain(string, reading, rate);
    Require(!explanation.result.empty(), "there is always a result");
    if (reading.isShortcut) {
        return 0;
    }

    const SOptionSettings expected = SettingsByReference(string);
    Require(reading.levels.at(0).level == expected.level, "the default level is the reference's");
    Require(reading.levels.size() == expected.levels.size() + 1, "there are as many levels as in the reference");
    Require(reading.color == expected.color && reading.fileName == expected.name && reading.size == expected.size &&
                reading.count == expected.count,
            "colour and file are the reference's");
    std::wstring without = string;
    for (const SReadOption& option : reading.options) {
        without.replace(option.position, option.text.size(), option.text.size(), L';');
    }
    Require(without == std::wstring(string.size(), L';'), "each character is part of an option, or between two");
    return 0;
}
