#include "SourceLookup.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cwchar>

#ifdef FEEDER_HAS_LIBDW
#include <dwarf.h>
#include <elfutils/libdwfl.h>

#include <cstdlib>
#include <cstring>
#endif

namespace AllocationFeeder {

namespace {

constexpr wchar_t MARK[] = L"@0x"; // no file name in use begins like this
constexpr std::size_t MARK_LENGTH = 3;

/// The module and the offset in it.
std::string FindModule(std::uintptr_t address)
{
    char offset[32];
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(address), &info) == 0 || info.dli_fname == nullptr) {
        std::snprintf(offset, sizeof offset, "0x%zx@0", static_cast<std::size_t>(address));
        return offset; // a module that is unloaded, or code that was made at run time
    }
    const std::size_t base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    std::snprintf(offset, sizeof offset, "+0x%zx@0", static_cast<std::size_t>(address) - base);
    return info.dli_fname + std::string(offset);
}

std::wstring Widen(const std::string& text)
{
    std::wstring wide;
    for (const char byte : text) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    }
    return wide;
}

} // namespace

void SourceLookup::WriteSiteName(std::uintptr_t returnAddress, wchar_t (&name)[SITE_NAME_SIZE])
{
    std::wmemcpy(name, MARK, MARK_LENGTH);
    for (std::size_t i = SITE_NAME_SIZE - 2; i >= MARK_LENGTH; --i) {
        name[i] = L"0123456789abcdef"[returnAddress % 16];
        returnAddress /= 16;
    }
    name[SITE_NAME_SIZE - 1] = L'\0';
}

std::wstring SourceLookup::Translate(const std::wstring& message)
{
    if (message.compare(0, MARK_LENGTH, MARK) != 0) {
        return message;
    }
    wchar_t* end = nullptr;
    const auto returnAddress = static_cast<std::uintptr_t>(std::wcstoull(message.c_str() + 1, &end, 16));
    if (std::wcsncmp(end, L"@0 ", 3) != 0) {
        return message;
    }
    return Widen(Describe(returnAddress - 1)) + (end + 2); // the byte in front still belongs to the call
}

std::string SourceLookup::Describe(std::uintptr_t address) const
{
    const std::string line = FindLine(address);
    return line.empty() ? FindModule(address) : line;
}

#ifdef FEEDER_HAS_LIBDW

namespace {

/// Debug information counts only if it is in the module itself: libdw's own search may go as far as asking a server,
/// which has no place in a running control system.
int FindNoSeparateDebugInfo(Dwfl_Module* /*module*/, void** /*userData*/, const char* /*name*/, Dwarf_Addr /*base*/,
                            const char* /*file*/, const char* /*debugLink*/, GElf_Word /*checksum*/, char** /*found*/)
{
    return -1;
}

/// A file below the folder in which its unit was compiled is named from there: libdw puts that folder in front of names
/// that the compiler has shortened.
std::string FormatLine(Dwarf_Die* unit, const char* file, int line)
{
    Dwarf_Attribute attribute;
    const char* folder = dwarf_formstring(dwarf_attr(unit, DW_AT_comp_dir, &attribute));
    const std::size_t length = folder == nullptr ? 0 : std::strlen(folder);
    if (length != 0 && std::strncmp(file, folder, length) == 0 && file[length] == '/') {
        file += length + 1;
    }
    return file + ("@" + std::to_string(line));
}

/// Whoever looks for a leak wants to know who made the container, not where containers allocate.
bool IsStandardHeader(const char* file) { return std::strstr(file, "/include/c++/") != nullptr; }

/// The position of the call that was replaced by this inlined code; empty if it is in a standard header itself.
std::string FindCall(Dwarf_Die* unit, Dwarf_Die* inlined)
{
    Dwarf_Files* files = nullptr;
    Dwarf_Attribute attribute;
    Dwarf_Word file = 0;
    Dwarf_Word line = 0;
    if (dwarf_getsrcfiles(unit, &files, nullptr) != 0 ||
        dwarf_formudata(dwarf_attr(inlined, DW_AT_call_file, &attribute), &file) != 0 ||
        dwarf_formudata(dwarf_attr(inlined, DW_AT_call_line, &attribute), &line) != 0) {
        return {};
    }
    const char* name = dwarf_filesrc(files, file, nullptr, nullptr);
    return name == nullptr || IsStandardHeader(name) ? std::string() : FormatLine(unit, name, static_cast<int>(line));
}

/// The compilation unit of an address, and what is added to its own addresses; null without debug information.
Dwarf_Die* FindUnit(Dwfl* session, Dwarf_Addr address, Dwarf_Addr& bias)
{
    Dwarf_Die* unit = dwfl_addrdie(session, address, &bias);
    if (unit != nullptr) {
        return unit;
    }
    // clang writes no index of addresses, and libdw does not look further by itself.
    Dwfl_Module* module = dwfl_addrmodule(session, address);
    while (module != nullptr && (unit = dwfl_module_nextcu(module, unit, &bias)) != nullptr) {
        if (dwarf_haspc(unit, address - bias) > 0) {
            return unit;
        }
    }
    return nullptr;
}

/// The first position outside the standard headers among the calls that were inlined at a unit's address; empty without
/// one.
std::string FindCallerOfInlined(Dwarf_Die* unit, Dwarf_Addr address)
{
    Dwarf_Die* innermost = nullptr;
    Dwarf_Die* scopes = nullptr;
    std::string found;
    if (dwarf_getscopes(unit, address, &innermost) > 0) {
        const int count = dwarf_getscopes_die(innermost, &scopes);
        for (int i = 0; i < count && found.empty(); ++i) {
            if (dwarf_tag(&scopes[i]) == DW_TAG_inlined_subroutine) {
                found = FindCall(unit, &scopes[i]);
            }
        }
    }
    std::free(scopes);
    std::free(innermost);
    return found;
}

} // namespace

SourceLookup::SourceLookup()
{
    static const Dwfl_Callbacks callbacks = {&dwfl_linux_proc_find_elf, &FindNoSeparateDebugInfo, nullptr, nullptr};
    m_pSession = dwfl_begin(&callbacks);
    if (m_pSession != nullptr) {
        dwfl_report_begin(m_pSession);
        dwfl_linux_proc_report(m_pSession, getpid());
        dwfl_report_end(m_pSession, nullptr, nullptr);
    }
}

SourceLookup::~SourceLookup() { dwfl_end(m_pSession); }

std::string SourceLookup::FindLine(std::uintptr_t address) const
{
    Dwarf_Addr bias = 0;
    Dwarf_Die* unit = m_pSession == nullptr ? nullptr : FindUnit(m_pSession, address, bias);
    Dwarf_Line* position = unit == nullptr ? nullptr : dwarf_getsrc_die(unit, address - bias);
    const char* file = position == nullptr ? nullptr : dwarf_linesrc(position, nullptr, nullptr);
    int line = 0;
    if (file == nullptr || dwarf_lineno(position, &line) != 0) {
        return {};
    }
    const std::string caller = IsStandardHeader(file) ? FindCallerOfInlined(unit, address - bias) : std::string();
    return caller.empty() ? FormatLine(unit, file, line) : caller;
}

#else

SourceLookup::SourceLookup() = default;
SourceLookup::~SourceLookup() = default;

std::string SourceLookup::FindLine(std::uintptr_t /*address*/) const { return {}; }

#endif

} // namespace AllocationFeeder
