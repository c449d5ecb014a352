#include "CQQueueLock.h"

#include <new>

namespace Quarn::Logging {

CQQueueLock::SQSlot CQQueueLock::m_Slots[MAX_QUEUES];

CQQueueLock* CQQueueLock::LockIn(SQSlot& slot)
{
    static_assert(sizeof(CQQueueLock) <= sizeof(SQSlot::lock));
    return std::launder(reinterpret_cast<CQQueueLock*>(slot.lock));
}

CQQueueLock::SQSlot* CQQueueLock::FindSlot(const void* block)
{
    for (SQSlot& slot : m_Slots) {
        if (slot.pBlock.load(std::memory_order_acquire) == block) {
            return &slot;
        }
    }
    return nullptr;
}

void CQQueueLock::Create(const void* block)
{
    for (SQSlot& slot : m_Slots) {
        const void* expected = nullptr;
        if (slot.pBlock.compare_exchange_strong(expected, &slot, std::memory_order_acquire)) {
            new (slot.lock) CQQueueLock;
            slot.pBlock.store(block, std::memory_order_release);
            return;
        }
    }
    throw std::bad_alloc();
}

void CQQueueLock::Destroy(const void* block)
{
    if (SQSlot* const slot = FindSlot(block)) {
        slot->pBlock.store(slot, std::memory_order_relaxed);
        LockIn(*slot)->~CQQueueLock();
        slot->pBlock.store(nullptr, std::memory_order_release);
    }
}

ACE_Recursive_Thread_Mutex* CQQueueLock::Find(const void* block)
{
    SQSlot* const slot = FindSlot(block);
    return slot == nullptr ? nullptr : &LockIn(*slot)->m_Mutex;
}

} // namespace Quarn::Logging
