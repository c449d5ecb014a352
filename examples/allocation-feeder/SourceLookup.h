#ifndef SOURCE_LOOKUP_H
#define SOURCE_LOOKUP_H

#include <cstddef>
#include <cstdint>
#include <string>

struct Dwfl;

namespace AllocationFeeder {

/// Names sites after return addresses, and turns these names into source positions again.
///
/// With libdw an address in a module with debug information becomes file and line. Else it becomes the module and the
/// offset in it, which the addr2line tool takes. One object knows the modules of the time when it was made.
class SourceLookup
{
public:
    /// Wide characters of a site's name: "@0x", a digit for every four bits, a terminator.
    static constexpr std::size_t SITE_NAME_SIZE = 3 + sizeof(std::uintptr_t) * 2 + 1;

    /// Does not allocate.
    static void WriteSiteName(std::uintptr_t returnAddress, wchar_t (&name)[SITE_NAME_SIZE]);

    SourceLookup();
    ~SourceLookup();
    SourceLookup(const SourceLookup&) = delete;
    SourceLookup& operator=(const SourceLookup&) = delete;

    /// A message of the report; the site message of a site that was named after an address gets its source position.
    std::wstring Translate(const std::wstring& message);

private:
    std::string Describe(std::uintptr_t address) const;
    std::string FindLine(std::uintptr_t address) const;

#ifdef FEEDER_HAS_LIBDW
    Dwfl* m_pSession = nullptr;
#endif
};

} // namespace AllocationFeeder

#endif
