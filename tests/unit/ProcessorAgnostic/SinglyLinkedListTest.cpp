#include "ProcessorAgnostic/SinglyLinkedList/SinglyLinkedList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "tests/unit/VirtualSlots.h"

namespace {

using Link = SinglyLinkedList::SingleLink;
using testing::ElementsAre;
using testing::IsEmpty;

class SinglyLinkedListTest : public testing::Test {
protected:
    // Positions in mLinks, from the head on.
    std::vector<long> Order() {
        std::vector<long> order;
        for (Link* link = mList.First(); link != nullptr; link = mList.Next(*link)) {
            order.push_back(link - mLinks.data());
        }
        return order;
    }

    void AppendAll() {
        for (Link& link : mLinks) {
            mList.Append(link);
        }
    }

    std::array<Link, 4> mLinks;
    SinglyLinkedList mList;
    Link mStranger;
};

TEST_F(SinglyLinkedListTest, AFreshListIsEmpty) {
    EXPECT_EQ(mList.First(), nullptr);
    EXPECT_EQ(mList.Last(), nullptr);
    EXPECT_EQ(mList.Count(), 0);
    EXPECT_EQ(mList.RemoveFirst(), nullptr);
    EXPECT_EQ(mList.RemoveLast(), nullptr);
    EXPECT_EQ(mList.Remove(mStranger), nullptr);
    EXPECT_EQ(mList.IndexOf(mStranger), 65535);
    mList.Clear();
    EXPECT_EQ(mList.First(), nullptr);
}

TEST_F(SinglyLinkedListTest, TheInvalidIndexIs65535InSixteenBits) {
    EXPECT_EQ(SinglyLinkedList::s_invalidIndex, 65535);
    EXPECT_EQ(sizeof(sllIndex), 2U);
}

TEST_F(SinglyLinkedListTest, PrependPutsEachLinkFirst) {
    for (Link& link : mLinks) {
        mList.Prepend(link);
    }
    EXPECT_THAT(Order(), ElementsAre(3, 2, 1, 0));
    EXPECT_EQ(mLinks[0].m_pNext, nullptr);
}

TEST_F(SinglyLinkedListTest, AppendPutsEachLinkLast) {
    AppendAll();
    EXPECT_THAT(Order(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(mList.Last(), &mLinks[3]);
    EXPECT_EQ(mList.Count(), 4);
}

TEST_F(SinglyLinkedListTest, AppendAfterInsertsBehindALinkOfTheList) {
    mList.Append(mLinks[0]);
    mList.Append(mLinks[1]);
    EXPECT_TRUE(mList.AppendAfter(mLinks[2], mLinks[0]));
    EXPECT_TRUE(mList.AppendAfter(mLinks[3], mLinks[1]));
    EXPECT_THAT(Order(), ElementsAre(0, 2, 1, 3));
}

TEST_F(SinglyLinkedListTest, AppendAfterAStrangerChangesNothing) {
    mList.Append(mLinks[0]);
    EXPECT_FALSE(mList.AppendAfter(mLinks[1], mStranger));
    EXPECT_THAT(Order(), ElementsAre(0));
    EXPECT_EQ(mLinks[1].m_pNext, nullptr);
    EXPECT_EQ(mStranger.m_pNext, nullptr);
}

TEST_F(SinglyLinkedListTest, RemoveFirstUnlinksTheHead) {
    AppendAll();
    EXPECT_EQ(mList.RemoveFirst(), &mLinks[0]);
    EXPECT_EQ(mLinks[0].m_pNext, nullptr);
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3));
}

TEST_F(SinglyLinkedListTest, RemoveLastUnlinksTheTail) {
    AppendAll();
    EXPECT_EQ(mList.RemoveLast(), &mLinks[3]);
    EXPECT_THAT(Order(), ElementsAre(0, 1, 2));
    EXPECT_EQ(mLinks[2].m_pNext, nullptr);
}

TEST_F(SinglyLinkedListTest, RemoveLastOfASingleLinkLeavesItAsTheHead) {
    mList.Append(mLinks[0]);
    EXPECT_EQ(mList.RemoveLast(), &mLinks[0]);
    EXPECT_EQ(mList.First(), &mLinks[0]);
    EXPECT_EQ(mList.Count(), 1);
    EXPECT_EQ(mList.RemoveLast(), &mLinks[0]);
}

TEST_F(SinglyLinkedListTest, RemoveTakesOutALinkAtEachPlace) {
    for (const std::size_t place : {0U, 1U, 3U}) {
        AppendAll();
        EXPECT_EQ(mList.Remove(mLinks[place]), &mLinks[place]);
        EXPECT_EQ(mLinks[place].m_pNext, nullptr);
        EXPECT_EQ(mList.IndexOf(mLinks[place]), 65535) << place;
        EXPECT_EQ(mList.Count(), 3) << place;
        mList.Clear();
    }
}

TEST_F(SinglyLinkedListTest, RemoveOfAStrangerChangesNothing) {
    AppendAll();
    EXPECT_EQ(mList.Remove(mStranger), nullptr);
    EXPECT_THAT(Order(), ElementsAre(0, 1, 2, 3));
}

TEST_F(SinglyLinkedListTest, IndexOfCountsFromTheHead) {
    AppendAll();
    EXPECT_EQ(mList.IndexOf(mLinks[0]), 0);
    EXPECT_EQ(mList.IndexOf(mLinks[3]), 3);
    EXPECT_EQ(mList.IndexOf(mStranger), 65535);
}

TEST_F(SinglyLinkedListTest, ClearUnlinksEveryLink) {
    AppendAll();
    mList.Clear();
    EXPECT_THAT(Order(), IsEmpty());
    for (const Link& link : mLinks) {
        EXPECT_EQ(link.m_pNext, nullptr);
    }
}

TEST_F(SinglyLinkedListTest, DestroyingAListLeavesItsLinks) {
    {
        SinglyLinkedList list;
        list.Append(mLinks[0]);
        list.Append(mLinks[1]);
    }
    EXPECT_EQ(mLinks[0].m_pNext, &mLinks[1]);
}

TEST_F(SinglyLinkedListTest, IterateStopsAtAPosition) {
    AppendAll();
    sllIndex index = 99;
    Link* link = nullptr;
    EXPECT_TRUE(mList.Iterate(2, nullptr, &index, &link));
    EXPECT_EQ(index, 2);
    EXPECT_EQ(link, &mLinks[2]);
}

TEST_F(SinglyLinkedListTest, IterateStopsAtATarget) {
    AppendAll();
    sllIndex index = 99;
    Link* link = nullptr;
    EXPECT_TRUE(mList.Iterate(SinglyLinkedList::s_invalidIndex, &mLinks[1], &index, &link));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(link, &mLinks[1]);
}

TEST_F(SinglyLinkedListTest, IterateStopsAtPositionOrTargetWhicheverComesFirst) {
    AppendAll();
    Link* link = nullptr;
    EXPECT_TRUE(mList.Iterate(1, &mLinks[3], nullptr, &link));
    EXPECT_EQ(link, &mLinks[1]);
    EXPECT_TRUE(mList.Iterate(3, &mLinks[1], nullptr, &link));
    EXPECT_EQ(link, &mLinks[1]);
}

TEST_F(SinglyLinkedListTest, IterateStopsAtTheLastLinkWithoutPositionAndTarget) {
    AppendAll();
    sllIndex index = 99;
    EXPECT_TRUE(mList.Iterate(SinglyLinkedList::s_invalidIndex, nullptr, &index, nullptr));
    EXPECT_EQ(index, 3);
}

TEST_F(SinglyLinkedListTest, IterateFailsBehindTheEndAndLeavesTheOutputs) {
    sllIndex index = 99;
    Link* link = &mStranger;
    EXPECT_FALSE(mList.Iterate(0, nullptr, &index, &link));
    EXPECT_FALSE(mList.Iterate(SinglyLinkedList::s_invalidIndex, nullptr, &index, &link));
    AppendAll();
    EXPECT_FALSE(mList.Iterate(4, nullptr, &index, &link));
    EXPECT_FALSE(mList.Iterate(SinglyLinkedList::s_invalidIndex, &mStranger, &index, &link));
    EXPECT_EQ(index, 99);
    EXPECT_EQ(link, &mStranger);
}

TEST_F(SinglyLinkedListTest, OperationsStandInTheirSlots) {
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Prepend), 2);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Append), 3);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::AppendAfter), 4);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::RemoveFirst), 5);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::RemoveLast), 6);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Remove), 7);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::First), 8);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Next), 9);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Last), 10);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::IndexOf), 11);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Count), 12);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Clear), 13);
    EXPECT_EQ(SlotOf(&SinglyLinkedList::Iterate), -1);
}

}  // namespace
