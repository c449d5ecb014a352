#include "CQQueueLock.h"

#include <new>

namespace Quarn::Logging {

CQQueueLock::SSlot CQQueueLock::s_Slots[MAX_QUEUES];

CQQueueLock* CQQueueLock::LockIn(SSlot& slot)
{
    static_assert(sizeof(CQQueueLock) <= sizeof(SSlot::lock));
    return std::launder(reinterpret_cast<CQQueueLock*>(slot.lock));
}

CQQueueLock::SSlot* CQQueueLock::FindSlot(const void* block)
{
    for (SSlot& slot : s_Slots) {
        if (slot.pBlock.load(std::memory_order_acquire) == block) {
            return &slot;
        }
    }
    return nullptr;
}

void CQQueueLock::Create(const void* block)
{
    for (SSlot& slot : s_Slots) {
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
    if (SSlot* const slot = FindSlot(block)) {
        slot->pBlock.store(slot, std::memory_order_relaxed);
        LockIn(*slot)->~CQQueueLock();
        slot->pBlock.store(nullptr, std::memory_order_release);
    }
}

ACE_Recursive_Thread_Mutex* CQQueueLock::Find(const void* block)
{
    SSlot* const slot = FindSlot(block);
    return slot == nullptr ? nullptr : &LockIn(*slot)->m_Mutex;
}

} // namespace Quarn::Logging
