#ifndef QUARN_LOGGING_CQ_QUEUE_LOCK_H
#define QUARN_LOGGING_CQ_QUEUE_LOCK_H

#include "MutexAttributes.h"
#include "RecursiveMutex.h"

#include <ace/Recursive_Thread_Mutex.h>

#include <atomic>
#include <cstddef>

namespace Quarn::Logging {

/// @brief The process-local lock of one queue, found by the address of the queue's block.
///
/// The header has 32 bytes for a lock, but a recursive mutex takes 28 bytes on 32-bit and 48 on 64-bit systems. It
/// stands outside the block on both: the code is the same, nothing that a damaged or foreign block holds can be taken
/// for a lock, and a second process that opens the same device cannot re-make a mutex that the first one holds.
class CQQueueLock
{
public:
    /// Queues that can live at a time. A process has one; the others are for tools and tests.
    static constexpr int MAX_QUEUES = 16;

    /// Makes the lock for a block. Throws std::bad_alloc when MAX_QUEUES queues live already.
    static void Create(const void* block);

    /// Destroys the lock of a block.
    static void Destroy(const void* block);

    /// The mutex of a block, null if it has none. Lock-free; the first queue made is found with one comparison.
    static ACE_Recursive_Thread_Mutex* Find(const void* block);

    CQQueueLock(const CQQueueLock&) = delete;
    CQQueueLock& operator=(const CQQueueLock&) = delete;

private:
    CQQueueLock() = default;

    MutexAttributes m_MutexAttributes;
    RecursiveMutex m_Mutex{m_MutexAttributes};

    /// Plain storage, made and destroyed with its queue: it must outlive every static object that still logs.
    struct SQSlot
    {
        std::atomic<const void*> pBlock; ///< Null: free. The slot's own address: being made or destroyed.
        alignas(std::max_align_t) unsigned char lock[96];
    };

    static SQSlot* FindSlot(const void* block);
    static CQQueueLock* LockIn(SQSlot& slot);

    static SQSlot m_Slots[MAX_QUEUES];
};

} // namespace Quarn::Logging

#endif
