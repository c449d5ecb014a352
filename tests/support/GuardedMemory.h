#ifndef QUARN_LOGGING_TESTS_GUARDED_MEMORY_H
#define QUARN_LOGGING_TESTS_GUARDED_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace QuarnTest {

/// Whole pages of memory between two areas that nobody may touch: the first access outside ends the process, in every
/// kind of build.
class GuardedMemory
{
public:
    explicit GuardedMemory(std::size_t bytes)
        : m_Bytes(bytes)
    {
        void* const mapping = mmap(nullptr, m_Bytes + 2 * GUARD, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED || m_Bytes % static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) != 0) {
            throw std::bad_alloc();
        }
        m_pBytes = static_cast<unsigned char*>(mapping) + GUARD;
        if (mprotect(m_pBytes, m_Bytes, PROT_READ | PROT_WRITE) != 0) {
            throw std::bad_alloc();
        }
    }
    ~GuardedMemory() { munmap(m_pBytes - GUARD, m_Bytes + 2 * GUARD); }

    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    unsigned char* Bytes() { return m_pBytes; }
    std::size_t Size() const { return m_Bytes; }

private:
    static constexpr std::size_t GUARD = 0x10000; // a multiple of every page size, and wider than most records

    std::size_t m_Bytes;
    unsigned char* m_pBytes = nullptr;
};

} // namespace QuarnTest

#endif
