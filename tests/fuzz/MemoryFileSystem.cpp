#include "MemoryFileSystem.h"

#include <limits.h>

#include <algorithm>

namespace QuarnTest {

namespace {

bool EndsWithSlash(const std::string& path) { return !path.empty() && path.back() == '/'; }

bool IsInside(const std::string& name, const std::string& directory)
{
    return directory.empty() || name.compare(0, directory.size() + 1, directory + "/") == 0;
}

} // namespace

std::optional<std::string> MemoryFileSystem::Resolve(const std::string& path) const
{
    if (path.empty() || path.size() >= PATH_MAX) {
        return std::nullopt;
    }
    std::string name;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string component = path.substr(begin, end - begin);
        begin = end + 1;
        if (component.empty()) {
            continue;
        }
        if (!IsDirectory(name) || component.size() > NAME_MAX) {
            return std::nullopt;
        }
        if (component == "..") {
            name.resize(name.rfind('/') == std::string::npos ? 0 : name.rfind('/'));
        } else if (component != ".") {
            name += (name.empty() ? "" : "/") + component;
        }
    }
    if (EndsWithSlash(path) && IsFile(name)) {
        return std::nullopt;
    }
    return name;
}

bool MemoryFileSystem::IsDirectory(const std::string& name) const
{
    const auto entry = m_Entries.find(name);
    return name.empty() || (entry != m_Entries.end() && entry->second == nullptr);
}

bool MemoryFileSystem::IsFile(const std::string& name) const
{
    const auto entry = m_Entries.find(name);
    return entry != m_Entries.end() && entry->second != nullptr;
}

bool MemoryFileSystem::IsEmpty(const std::string& directory) const
{
    return std::none_of(m_Entries.begin(), m_Entries.end(),
                        [&](const auto& entry) { return IsInside(entry.first, directory); });
}

MemoryFileSystem::Content MemoryFileSystem::Create(const std::string& path)
{
    const Content content = CreateOrContinue(path);
    if (content != nullptr) {
        content->clear();
    }
    return content;
}

MemoryFileSystem::Content MemoryFileSystem::CreateOrContinue(const std::string& path)
{
    const std::optional<std::string> name = Resolve(path);
    if (!name || IsDirectory(*name) || EndsWithSlash(path)) {
        return nullptr;
    }
    Content& content = m_Entries[*name];
    if (content == nullptr) {
        content = std::make_shared<std::string>();
    }
    return content;
}

bool MemoryFileSystem::Rename(const std::string& from, const std::string& to)
{
    const std::optional<std::string> source = Resolve(from);
    const std::optional<std::string> target = Resolve(to);
    if (!source || !target || source->empty() || target->empty() || m_Entries.count(*source) == 0) {
        return false;
    }
    if (*source == *target) {
        return true;
    }
    if (IsFile(*source)) {
        if (EndsWithSlash(to) || IsDirectory(*target)) {
            return false;
        }
    } else if (IsFile(*target) || IsInside(*target, *source) || (IsDirectory(*target) && !IsEmpty(*target))) {
        return false;
    }
    Move(*source, *target);
    return true;
}

void MemoryFileSystem::Move(const std::string& from, const std::string& to)
{
    std::map<std::string, Content> entries;
    for (const auto& [name, content] : m_Entries) {
        if (name == from) {
            entries[to] = content;
        } else if (IsInside(name, from)) {
            entries[to + name.substr(from.size())] = content;
        } else if (name != to) {
            entries[name] = content;
        }
    }
    m_Entries = std::move(entries);
}

bool MemoryFileSystem::Unlink(const std::string& path)
{
    const std::optional<std::string> name = Resolve(path);
    return name && IsFile(*name) && m_Entries.erase(*name) != 0;
}

bool MemoryFileSystem::MakeDirectory(const std::string& path)
{
    const std::optional<std::string> name = Resolve(path);
    return name && !name->empty() && m_Entries.emplace(*name, nullptr).second;
}

bool MemoryFileSystem::Exists(const std::string& path) const
{
    const std::optional<std::string> name = Resolve(path);
    return name && (name->empty() || m_Entries.count(*name) != 0);
}

std::optional<std::vector<std::string>> MemoryFileSystem::Names(const std::string& path) const
{
    const std::optional<std::string> directory = Resolve(path);
    if (!directory || !IsDirectory(*directory)) {
        return std::nullopt;
    }
    const std::size_t start = directory->empty() ? 0 : directory->size() + 1;
    std::vector<std::string> names = {".", ".."};
    for (const auto& [name, content] : m_Entries) {
        if (IsInside(name, *directory) && name.find('/', start) == std::string::npos) {
            names.push_back(name.substr(start));
        }
    }
    std::reverse(names.begin(), names.end()); // no order that a caller may have forgotten to make
    return names;
}

bool MemoryFileSystem::operator==(const MemoryFileSystem& other) const
{
    return std::equal(m_Entries.begin(), m_Entries.end(), other.m_Entries.begin(), other.m_Entries.end(),
                      [](const auto& a, const auto& b) {
                          return a.first == b.first && (a.second == nullptr) == (b.second == nullptr) &&
                                 (a.second == nullptr || *a.second == *b.second);
                      });
}

} // namespace QuarnTest
