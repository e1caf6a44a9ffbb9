// An intrusive singly linked list: what it links derives from SingleLink, nothing is allocated, nothing is owned.
//
// No lock inside; one thread at a time. A broken precondition prints "ASSERT: <operation>, <number>" on standard
// output and stops the calling thread for ever. Only a link with a following link is recognised as linked already: the
// last link of a list looks free.
#pragma once

#include <cstdint>

using sllIndex = std::uint16_t;

class SinglyLinkedList {
public:
    class SingleLink {
    public:
        SingleLink() = default;
        virtual ~SingleLink() = default;
        SingleLink(const SingleLink&) = delete;
        SingleLink& operator=(const SingleLink&) = delete;

        SingleLink* m_pNext = nullptr;  // null in no list and on the last link of one
    };

    // The position of what is not in the list; also "up to the last link" for Iterate.
    static constexpr sllIndex s_invalidIndex = 65535;

    SinglyLinkedList() = default;
    SinglyLinkedList(const SinglyLinkedList&) = delete;
    SinglyLinkedList& operator=(const SinglyLinkedList&) = delete;

    // Leaves the links as they are.
    virtual ~SinglyLinkedList() = default;

    // Put a link first or last. It must not be linked (assertions 42 and 51; 60 when the list has no end).
    virtual void Prepend(SingleLink& link);
    virtual void Append(SingleLink& link);

    // Put an unlinked link (assertion 66) behind `after`; false when `after` is not in the list.
    virtual bool AppendAfter(SingleLink& link, SingleLink& after);

    // Take out and return the first, the last or the given link, no longer linked; null when there is none.
    // RemoveLast on a list of one link returns it but keeps it as the head.
    virtual SingleLink* RemoveFirst();
    virtual SingleLink* RemoveLast();
    virtual SingleLink* Remove(SingleLink& link);

    virtual SingleLink* First();
    virtual SingleLink* Next(SingleLink& link);

    // Null for an empty list; assertion 187 when the list has no end.
    virtual SingleLink* Last();

    // Position counted from 0, or s_invalidIndex.
    virtual sllIndex IndexOf(SingleLink& link);

    // Number of links, at most 65534: one more is assertion 215.
    virtual sllIndex Count();

    // Unlinks every link.
    virtual void Clear();

    // Walks from the head to position `index`, to `target` if one is given, or to the last link when `index` is
    // s_invalidIndex and there is no target. Writes position and link reached to those outputs that are not null.
    // False, with the outputs untouched, when the list is empty or the walk ends before: at the list's end or, in a
    // list that runs in a circle, behind position 65534.
    bool Iterate(sllIndex index, const SingleLink* target, sllIndex* outIndex, SingleLink** outLink);

protected:
    SingleLink* m_pHead = nullptr;
};
