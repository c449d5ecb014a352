// What the statements of refused-objects.txt use.

#include "refused.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

extern std::string standardString;
extern std::wstring standardWideString;
extern std::string_view view;
extern std::wstring_view wideView;
extern std::u16string_view view16;
extern std::chrono::milliseconds duration;
extern std::chrono::system_clock::time_point timePoint;
extern std::atomic<int> atomicNumber;
extern std::atomic<bool> atomicFlag;
extern std::unique_ptr<SObject> uniquePointer;
extern std::shared_ptr<SObject> sharedPointer;
extern std::vector<char> vector;
