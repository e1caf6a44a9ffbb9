// Ends a poll from another thread.
#pragma once

namespace VeltrixDetail {

class WakeUp {
public:
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    // 0, or the negative errno that says why there is no descriptor.
    int Result() const { return mDescriptor < 0 ? mDescriptor : 0; }

    // Readable after Signal, until Clear.
    int Descriptor() const { return mDescriptor; }
    void Signal() const;
    void Clear() const;

private:
    const int mDescriptor;
};

}  // namespace VeltrixDetail
