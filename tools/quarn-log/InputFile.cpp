#include "InputFile.h"

#include "SLogRecord.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

// Calls with 64 in their names: 32-bit programs too read images of more than 2 GiB.

namespace Quarn::Logging::Tool {

namespace {

int OpenInput(const std::string& name)
{
    return name == "-" ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_LARGEFILE | O_CLOEXEC);
}

/// Files and disks are never mapped: an access behind their end, or to a bad block, would end the process.
bool IsMemoryDevice(int fd)
{
    struct stat64 status;
    return fstat64(fd, &status) != 0 || S_ISCHR(status.st_mode);
}

} // namespace

InputFile::InputFile(const std::string& name)
    : m_Fd(OpenInput(name))
{
    if (m_Fd < 0) {
        m_Error = errno;
    }
}

InputFile::~InputFile()
{
    if (m_pMapping != nullptr) {
        munmap(m_pMapping, SLogQueueHeader::TOTAL_SIZE);
    }
    if (m_Fd > STDIN_FILENO) {
        close(m_Fd);
    }
}

template <class ReadSome>
std::size_t InputFile::Fill(std::uint64_t offset, unsigned char* target, std::size_t bytes, ReadSome readSome)
{
    std::size_t done = 0;
    while (m_Error == 0 && m_pMapping == nullptr && done < bytes) {
        const ssize_t got = readSome(target + done, bytes - done, offset + done);
        if (got == 0) {
            return done;
        }
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            m_Error = errno;
            if (offset + done == 0 && MapInstead()) {
                m_Error = 0;
            }
        }
    }
    return done + CopyFromMapping(offset + done, target + done, bytes - done);
}

std::size_t InputFile::Read(unsigned char* target, std::size_t bytes)
{
    const std::size_t got =
        Fill(m_Offset, target, bytes, [this](unsigned char* part, std::size_t size, std::uint64_t /*offset*/) {
            return read(m_Fd, part, size);
        });
    m_Offset += got;
    return got;
}

std::size_t InputFile::ReadAt(std::uint64_t offset, unsigned char* target, std::size_t bytes)
{
    return Fill(offset, target, bytes, [this](unsigned char* part, std::size_t size, std::uint64_t place) {
        return pread64(m_Fd, part, size, static_cast<off64_t>(place));
    });
}

void InputFile::SkipHole(std::uint64_t margin)
{
    // Standard input may be a file whose first part another program has read.
    if (m_Error != 0 || m_pMapping != nullptr || m_Fd == STDIN_FILENO) {
        return;
    }
    // Fails on pipes and devices, which have no holes; ENXIO means that there is nothing but a hole up to the end.
    off64_t data = lseek64(m_Fd, static_cast<off64_t>(m_Offset), SEEK_DATA);
    if (data < 0 && errno == ENXIO) {
        data = lseek64(m_Fd, 0, SEEK_END);
    }
    if (data < 0) {
        return;
    }
    const auto found = static_cast<std::uint64_t>(data);
    const std::uint64_t target = found > m_Offset + margin ? found - margin : m_Offset;
    if (lseek64(m_Fd, static_cast<off64_t>(target), SEEK_SET) < 0) {
        m_Error = errno;
        return;
    }
    m_Offset = target;
}

bool InputFile::IsReplaced(const std::string& name) const
{
    struct stat64 mine;
    struct stat64 named;
    return fstat64(m_Fd, &mine) == 0 && stat64(name.c_str(), &named) == 0 &&
           (mine.st_dev != named.st_dev || mine.st_ino != named.st_ino);
}

bool InputFile::MapInstead()
{
    if (!IsMemoryDevice(m_Fd)) {
        return false;
    }
    void* const memory = mmap(nullptr, SLogQueueHeader::TOTAL_SIZE, PROT_READ, MAP_SHARED, m_Fd, 0);
    m_pMapping = memory == MAP_FAILED ? nullptr : memory;
    return m_pMapping != nullptr;
}

std::size_t InputFile::CopyFromMapping(std::uint64_t offset, unsigned char* target, std::size_t bytes) const
{
    if (m_pMapping == nullptr || offset >= SLogQueueHeader::TOTAL_SIZE) {
        return 0;
    }
    const auto rest = static_cast<std::size_t>(SLogQueueHeader::TOTAL_SIZE - offset);
    const std::size_t size = std::min(bytes, rest);
    std::memcpy(target, static_cast<const unsigned char*>(m_pMapping) + offset, size);
    return size;
}

} // namespace Quarn::Logging::Tool
