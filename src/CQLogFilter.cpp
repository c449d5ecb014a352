#include "CQLogFilter.h"

#include "LockGuard.h"

#include <cerrno>
#include <new>

namespace Quarn::Logging {

namespace {

constexpr std::size_t BUCKETS = 10;

} // namespace

CQLogFilter::CQLogFilter()
    : m_CategoryLevels(BUCKETS)
{
    if (m_CategoryLevels.total_size() == 0) { // how the map says that there was no memory for its buckets
        throw std::bad_alloc();
    }
}

int CQLogFilter::GetLevel(int category) const
{
    const LockGuard guard(m_Mutex);
    int level = m_DefaultLevel;
    if (guard.Locked()) {
        const int callersErrno = errno; // which the map uses to say that there is no entry
        m_CategoryLevels.find(category, level);
        errno = callersErrno;
    }
    return level;
}

void CQLogFilter::SetLevel(int category, int level)
{
    const LockGuard guard(m_Mutex);
    if (!guard.Locked()) {
        return;
    }
    switch (category) {
    case CATEGORY_DEFAULT:
        m_DefaultLevel = level;
        break;
    case CATEGORY_ALL:
        m_CategoryLevels.unbind_all();
        SetLevel(CATEGORY_DEFAULT, level);
        break;
    default:
        Bind(category, level);
    }
}

void CQLogFilter::SetFilter(unsigned int count, const SLevelDef* levels)
{
    for (unsigned int i = 0; i < count; ++i) {
        SetLevel(levels[i].category, levels[i].level);
    }
}

void CQLogFilter::Combine(const CQLogFilter& other)
{
    const LockGuard guard(m_Mutex);
    if (!guard.Locked()) {
        return;
    }
    if (other.m_DefaultLevel < m_DefaultLevel) {
        m_DefaultLevel = other.m_DefaultLevel;
    }
    for (const auto& entry : other.m_CategoryLevels) {
        int level = 0;
        if (m_CategoryLevels.find(entry.ext_id_, level) != 0 || entry.int_id_ < level) {
            Bind(entry.ext_id_, entry.int_id_);
        }
    }
}

void CQLogFilter::Bind(int category, int level)
{
    if (m_CategoryLevels.rebind(category, level) == -1) {
        throw std::bad_alloc();
    }
}

} // namespace Quarn::Logging
