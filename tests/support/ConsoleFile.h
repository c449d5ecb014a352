#ifndef QUARN_LOGGING_TESTS_CONSOLE_FILE_H
#define QUARN_LOGGING_TESTS_CONSOLE_FILE_H

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace QuarnTest {

/// Puts standard output into a file, without ever flushing it: what is in the file had been flushed by the code under
/// test. Until its end the stream is fully buffered, whatever the terminal made of it.
class ConsoleFile
{
public:
    explicit ConsoleFile(std::string path)
        : m_Path(std::move(path))
    {
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        m_Saved = dup(STDOUT_FILENO);
        const int file = creat(m_Path.c_str(), 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~ConsoleFile()
    {
        std::fflush(stdout);
        dup2(m_Saved, STDOUT_FILENO);
        close(m_Saved);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    }
    ConsoleFile(const ConsoleFile&) = delete;
    ConsoleFile& operator=(const ConsoleFile&) = delete;

    std::string Read() const
    {
        std::ifstream stream(m_Path, std::ios::binary);
        std::ostringstream content;
        content << stream.rdbuf();
        return content.str();
    }

private:
    std::string m_Path;
    int m_Saved;
};

} // namespace QuarnTest

#endif
