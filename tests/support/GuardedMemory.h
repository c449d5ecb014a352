#ifndef QUARN_LOGGING_TESTS_GUARDED_MEMORY_H
#define QUARN_LOGGING_TESTS_GUARDED_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace QuarnTest {

/// Whole pages of memory between two pages that nobody may touch: the first access outside ends the process, in every
/// kind of build.
class GuardedMemory
{
public:
    explicit GuardedMemory(std::size_t bytes)
        : m_Page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
        , m_Bytes(bytes)
    {
        void* const mapping = mmap(nullptr, m_Bytes + 2 * m_Page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED || m_Bytes % m_Page != 0) {
            throw std::bad_alloc();
        }
        m_pBytes = static_cast<unsigned char*>(mapping) + m_Page;
        if (mprotect(m_pBytes, m_Bytes, PROT_READ | PROT_WRITE) != 0) {
            throw std::bad_alloc();
        }
    }
    ~GuardedMemory() { munmap(m_pBytes - m_Page, m_Bytes + 2 * m_Page); }

    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    unsigned char* Bytes() { return m_pBytes; }
    std::size_t Size() const { return m_Bytes; }

private:
    std::size_t m_Page;
    std::size_t m_Bytes;
    unsigned char* m_pBytes = nullptr;
};

} // namespace QuarnTest

#endif
