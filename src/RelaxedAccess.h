#ifndef QUARN_LOGGING_RELAXED_ACCESS_H
#define QUARN_LOGGING_RELAXED_ACCESS_H

namespace Quarn::Logging {

// The exported globals are plain objects, because their types are part of the exported interface, yet clients read them
// without a lock while the library writes them. These two make the library's own accesses atomic, at no cost.

template <class T>
T LoadRelaxed(const T& object)
{
    return __atomic_load_n(&object, __ATOMIC_RELAXED);
}

template <class T>
void StoreRelaxed(T& object, T value)
{
    __atomic_store_n(&object, value, __ATOMIC_RELAXED);
}

} // namespace Quarn::Logging

#endif
