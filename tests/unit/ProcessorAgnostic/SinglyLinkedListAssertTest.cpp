// Each broken precondition, in a child process: it must say which one, and then neither end nor go on.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "ProcessorAgnostic/SinglyLinkedList/SinglyLinkedList.h"

namespace {

using Link = SinglyLinkedList::SingleLink;

constexpr int kPatienceMs = 20000;

// What the child prints up to its first newline; all of it if it ends without one.
std::string ReadLine(int descriptor) {
    std::string line;
    pollfd wanted{.fd = descriptor, .events = POLLIN, .revents = 0};
    while (line.empty() || line.back() != '\n') {
        char character = 0;
        if (::poll(&wanted, 1, kPatienceMs) != 1 || ::read(descriptor, &character, 1) != 1) {
            break;
        }
        line += character;
    }
    return line;
}

void ExpectAssertion(const std::string& line, const std::function<void()>& breakIt) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        breakIt();
        ::_exit(0);
    }
    ::close(ends[1]);
    EXPECT_EQ(ReadLine(ends[0]), line);
    // Nothing more comes and the pipe stays open: the child is still there.
    pollfd wanted{.fd = ends[0], .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&wanted, 1, 100), 0);
    ::kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    ::close(ends[0]);
}

// A list that runs in a circle: without an end.
struct Circle {
    Circle() {
        list.Append(first);
        list.Append(second);
        second.m_pNext = &first;
    }
    Link first;
    Link second;
    SinglyLinkedList list;
};

TEST(SinglyLinkedListAssertTest, PrependOfALinkWithAFollowerHangs) {
    ExpectAssertion("ASSERT: Prepend, 42\r\n", [] {
        Link first;
        Link second;
        SinglyLinkedList list;
        list.Append(first);
        list.Append(second);
        list.Prepend(first);
    });
}

TEST(SinglyLinkedListAssertTest, AppendOfALinkWithAFollowerHangs) {
    ExpectAssertion("ASSERT: Append, 51\r\n", [] {
        Link first;
        Link second;
        SinglyLinkedList list;
        list.Append(first);
        list.Append(second);
        list.Append(first);
    });
}

TEST(SinglyLinkedListAssertTest, AppendToAListWithoutEndHangs) {
    ExpectAssertion("ASSERT: Append, 60\r\n", [] {
        Circle circle;
        Link another;
        circle.list.Append(another);
    });
}

TEST(SinglyLinkedListAssertTest, AppendAfterOfALinkWithAFollowerHangsEvenBehindAStranger) {
    ExpectAssertion("ASSERT: AppendAfter, 66\r\n", [] {
        Link first;
        Link second;
        Link stranger;
        SinglyLinkedList list;
        list.Append(first);
        list.Append(second);
        list.AppendAfter(first, stranger);
    });
}

TEST(SinglyLinkedListAssertTest, LastOfAListWithoutEndHangs) {
    ExpectAssertion("ASSERT: Last, 187\r\n", [] { Circle().list.Last(); });
}

TEST(SinglyLinkedListAssertTest, CountOfAListWithoutEndHangs) {
    ExpectAssertion("ASSERT: Count, 215\r\n", [] { Circle().list.Count(); });
}

TEST(SinglyLinkedListAssertTest, CountReaches65534AndHangsAt65535) {
    std::vector<Link> links(65535);
    SinglyLinkedList list;
    for (std::size_t i = 0; i + 1 < links.size(); ++i) {
        list.Prepend(links[i]);
    }
    EXPECT_EQ(list.Count(), 65534);
    list.Prepend(links.back());
    EXPECT_EQ(list.Last(), &links.front());
    ExpectAssertion("ASSERT: Count, 215\r\n", [&list] { list.Count(); });
}

TEST(SinglyLinkedListAssertTest, TheLastLinkOfAListLooksFree) {
    Link first;
    Link last;
    SinglyLinkedList list;
    SinglyLinkedList other;
    list.Append(first);
    list.Append(last);
    other.Prepend(last);
    EXPECT_EQ(other.First(), &last);
    EXPECT_EQ(list.Last(), &last);
}

}  // namespace
