#pragma once

#include <cstdint>

#include "ProcessorAgnostic/SinglyLinkedList/SinglyLinkedList.h"

using packetSize_t = std::uint32_t;

// 64 KiB of bytes of which a run, the valid bytes, is in use; it grows at the back and shrinks at either end. No lock
// inside.
class Packet : public SinglyLinkedList::SingleLink {
public:
    static constexpr packetSize_t kCapacity = 65536;

    // Empty, zeroed, in no list.
    Packet();

    // The first valid byte.
    operator unsigned char*() { return m_buffer + m_startIndex; }

    // The byte at `index`, counted from the first valid one. Not checked.
    unsigned char& operator[](int index);

    // Number of valid bytes.
    packetSize_t Size() const { return m_count; }

    // Adds n bytes at the back. False, with nothing changed, when the start index and n together exceed the buffer;
    // the bytes already counted are not looked at, so whoever grows in steps has to watch the end himself.
    bool Grow(unsigned int n);

    // Whether n more bytes at the back still lie within the buffer.
    bool HasRoomFor(unsigned int n) const {
        const std::uint64_t end = std::uint64_t{m_startIndex} + m_count + n;
        return end <= kCapacity;
    }

    // Drop n bytes at the front or back; false, with nothing changed, when there are fewer.
    bool ShrinkFront(unsigned int n);
    bool ShrinkBack(unsigned int n);

    // No valid bytes, start at the buffer's beginning; zeroes the whole buffer unless told to keep its content.
    void Reset(bool keepContent);

protected:
    unsigned char m_buffer[kCapacity];
    packetSize_t m_startIndex;
    packetSize_t m_count;
};
