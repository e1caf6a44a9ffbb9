#pragma once

#include "ProcessorAgnostic/SinglyLinkedList/SinglyLinkedList.h"

// Lends out objects that somebody else owns: the owner prepends each of them to m_available, and they must outlive the
// pool. T derives from SinglyLinkedList::SingleLink. No lock inside.
template <typename T>
class MemoryPool {
public:
    MemoryPool() = default;
    MemoryPool(const MemoryPool&) = delete;
    MemoryPool& operator=(const MemoryPool&) = delete;
    virtual ~MemoryPool() = default;

    // The object freed last, or null when all are lent. Its content is what the last user left.
    virtual T* Allocate() { return static_cast<T*>(m_available.RemoveFirst()); }

    // Give back an object that was allocated here, once.
    virtual void Free(T& object) { m_available.Prepend(object); }

    SinglyLinkedList m_available;
};
