#pragma once

// Something that wants to be told of an event. Not destroyed through this interface: the derived interface that adds
// the first operation of its own also adds the virtual destructor, so that this one stays a single entry.
class Observer {
public:
    // `argument` belongs to the caller and is only valid during the call; its meaning is the notifier's. The result is
    // true when the event was taken care of.
    virtual bool Update(void* argument) = 0;

protected:
    Observer() = default;
    Observer(const Observer&) = default;
    Observer& operator=(const Observer&) = default;
    ~Observer() = default;
};
