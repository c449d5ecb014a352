#ifndef QUARN_LOGGING_TESTS_PEER_BUILD_H
#define QUARN_LOGGING_TESTS_PEER_BUILD_H

#include <cstdlib>
#include <filesystem>
#include <string>

namespace QuarnTest {

/// A program from the build folder of the other word size, which QUARN_PEER_BUILD names; empty if that is not built.
inline std::string PeerProgram(const std::string& path)
{
    const char* const folder = std::getenv("QUARN_PEER_BUILD");
    if (folder == nullptr || !std::filesystem::exists(folder + path)) {
        return {};
    }
    return folder + path;
}

} // namespace QuarnTest

#endif
