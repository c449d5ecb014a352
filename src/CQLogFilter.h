#ifndef QUARN_LOGGING_CQ_LOG_FILTER_H
#define QUARN_LOGGING_CQ_LOG_FILTER_H

#include "MutexAttributes.h"
#include "RecursiveMutex.h"

#include <QuarnLogging/Logging.h>

#include <ace/Hash_Map_Manager_T.h>
#include <ace/Null_Mutex.h>

namespace Quarn::Logging {

/// @brief Decides which messages pass: a threshold for each category that has one, a default for all others.
///
/// @par Threads  any; each operation is atomic by itself, SetFilter() is one operation for each entry
/// @par Failure  a lock that cannot be taken makes a change a no-op and a question answered by the default threshold;
///               memory exhausted: a change throws std::bad_alloc
class CQLogFilter
{
public:
    CQLogFilter();
    ~CQLogFilter() = default;

    CQLogFilter(const CQLogFilter&) = delete;
    CQLogFilter& operator=(const CQLogFilter&) = delete;

    /// The threshold of a category.
    int GetLevel(int category) const;

    /// Whether a message of this category and level passes.
    bool MustLog(int category, int level) const { return GetLevel(category) <= level; }

    /// Sets the threshold of a category, or what ESpecialCategory says. The last setting of a category holds.
    void SetLevel(int category, int level);

    /// Applies settings in order.
    void SetFilter(unsigned int count, const SLevelDef* levels);

    /// No category has a threshold of its own, and none of the named levels passes.
    void Reset() { SetLevel(CATEGORY_ALL, LEVEL_NONE); }

    /// @brief Lowers this filter towards another: the lower default, and per category the lower threshold.
    ///
    /// This is not the union of the two: a category that only one of them names keeps that threshold, although the
    /// default of the other may be lower. Existing configurations depend on a named category staying quiet.
    /// The other filter is read without its lock; the caller sees to it that nobody changes it.
    void Combine(const CQLogFilter& other);

private:
    using LevelMap = ACE_Hash_Map_Manager_Ex<int, int, ACE_Hash<int>, ACE_Equal_To<int>, ACE_Null_Mutex>;

    void Bind(int category, int level);

    // m_Mutex guards these two. Mutable: the map's look-up is not const.
    mutable LevelMap m_CategoryLevels;
    int m_DefaultLevel = LEVEL_NONE;
    MutexAttributes m_MutexAttributes;
    mutable RecursiveMutex m_Mutex{m_MutexAttributes};
};

} // namespace Quarn::Logging

#endif
