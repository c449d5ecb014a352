#ifndef QUARN_LOGGING_TESTS_ALLOCATION_INFO_ACCESS_H
#define QUARN_LOGGING_TESTS_ALLOCATION_INFO_ACCESS_H

#include <QuarnLogging/CQAllocationInfo.h>

#include <map>
#include <string>
#include <utility>

/// @file
/// The registry's members for tests. Position ids show in no message, so they can be seen in no other way; the names in
/// an explicit instantiation are not subject to access control, which leaves the class as it is.

namespace QuarnTest {

template <class Tag, auto Member>
struct Expose
{
    friend constexpr auto MemberOf(Tag) { return Member; }
};

// The return types are those of the definitions above, found when the instantiations below are made.
// clang-format off
#define QUARN_EXPOSE(name)                                                                                             \
    struct name##Tag { friend constexpr auto MemberOf(name##Tag); };                                                   \
    template struct Expose<name##Tag, &Quarn::Logging::CQAllocationInfo::m_##name>
// clang-format on

QUARN_EXPOSE(NextAllocPosId);
QUARN_EXPOSE(AllocPositions);
QUARN_EXPOSE(ObjectPositions);
QUARN_EXPOSE(FileInfo);
QUARN_EXPOSE(DumpLineNumbers);
QUARN_EXPOSE(DumpObjectSizes);
QUARN_EXPOSE(Mutex);

#undef QUARN_EXPOSE

/// Position ids to file and line.
inline std::map<unsigned int, std::pair<std::wstring, int>> PositionsOf(Quarn::Logging::CQAllocationInfo& registry)
{
    std::map<unsigned int, std::pair<std::wstring, int>> positions;
    for (const auto& [id, position] : registry.*MemberOf(AllocPositionsTag{})) {
        positions[id] = {position.FileName, position.LineNumber};
    }
    return positions;
}

/// Live objects to position ids.
inline std::map<void*, unsigned int> ObjectsOf(Quarn::Logging::CQAllocationInfo& registry)
{
    return registry.*MemberOf(ObjectPositionsTag{});
}

/// File and line to position id and to objects with their sizes.
using Sites = std::map<std::pair<std::wstring, int>, std::pair<unsigned int, std::map<void*, unsigned int>>>;

inline Sites SitesOf(Quarn::Logging::CQAllocationInfo& registry)
{
    Sites sites;
    for (const auto& [file, lines] : registry.*MemberOf(FileInfoTag{})) {
        for (const auto& [line, site] : lines) {
            sites[{file, line}] = {site.AllocPosId, site.Objects};
        }
    }
    return sites;
}

} // namespace QuarnTest

#endif
