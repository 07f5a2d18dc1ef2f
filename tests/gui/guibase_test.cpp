#include "gui/guibase.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/failing_calls.h"

namespace {

// The items of a list from head to tail, after checking that both directions and the owners agree.
std::vector<GUILIST_ITEM*> Items(const GUILIST* list) {
    std::vector<GUILIST_ITEM*> items;
    GUILIST_ITEM* item = list->pHead;
    for (int i = 0; i < list->iCount; ++i, item = item->pNext) {
        EXPECT_EQ(item->pOwner, list);
        EXPECT_EQ(item->pNext->pPrev, item);
        items.push_back(item);
    }
    EXPECT_EQ(item, list->pHead) << "the list is a ring";
    if (items.empty()) {
        EXPECT_EQ(list->pHead, nullptr);
        EXPECT_EQ(list->pTail, nullptr);
    } else {
        EXPECT_EQ(list->pTail, items.back());
    }
    return items;
}

std::u16string Text(const GUICHAR* text) {
    std::u16string result;
    while (*text != 0)
        result.push_back(static_cast<char16_t>(*text++));
    return result;
}

class List : public testing::Test {
  protected:
    void TearDown() override {
        for (GUILIST* list : {first, second}) {
            InitList(list);
            EXPECT_EQ(DestroyList(list), 0);
        }
    }
    void Fill(GUILIST* list, std::vector<GUILIST_ITEM*> items) {
        for (GUILIST_ITEM* item : items)
            ASSERT_EQ(ListAdd(item, list), 0);
    }

    GUILIST* first = CreateList(3);
    GUILIST* second = CreateList(4);
    GUILIST_ITEM a = {}, b = {}, c = {}, d = {}, e = {};
    using Row = std::vector<GUILIST_ITEM*>;
};

TEST_F(List, StartsEmptyWithItsLimit) {
    EXPECT_EQ(first->iCount, 0);
    EXPECT_EQ(first->iLimit, 3);
    EXPECT_EQ(first->pHead, nullptr);
    EXPECT_EQ(first->pTail, nullptr);
    EXPECT_EQ(ListEmpty(first), 1);
    EXPECT_EQ(ListFull(first), 0);
}

TEST_F(List, RefusesNegativeLimitAndShortMemory) {
    EXPECT_EQ(CreateList(-1), nullptr);
    test::FailingCalls failing(1);
    EXPECT_EQ(CreateList(1), nullptr);
    EXPECT_STREQ(failing.Failed(), "malloc");
}

TEST_F(List, OfLimitZeroRefusesEveryItem) {
    GUILIST* none = CreateList(0);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(ListFull(none), 1);
    EXPECT_EQ(ListEmpty(none), 1);
    EXPECT_EQ(ListAdd(&a, none), -2);
    EXPECT_EQ(DestroyList(none), 0);
}

TEST_F(List, LinksASingleItemToItself) {
    Fill(first, {&a});
    EXPECT_EQ(a.pNext, &a);
    EXPECT_EQ(a.pPrev, &a);
    EXPECT_EQ(a.pOwner, first);
    EXPECT_EQ(ListEmpty(first), 0);
}

TEST_F(List, AppendsInOrderUntilFull) {
    Fill(first, {&a, &b, &c});
    EXPECT_EQ(Items(first), (Row{&a, &b, &c}));
    EXPECT_EQ(ListFull(first), 1);
    EXPECT_EQ(ListAdd(&d, first), -2);
    EXPECT_EQ(d.pOwner, nullptr);
    EXPECT_EQ(Items(first), (Row{&a, &b, &c}));
}

TEST_F(List, RemovesHeadMiddleAndTail) {
    Fill(first, {&a, &b, &c});
    EXPECT_EQ(ListDel(&a, first), 0);
    EXPECT_EQ(Items(first), (Row{&b, &c}));
    EXPECT_EQ(a.pOwner, nullptr);
    EXPECT_EQ(a.pNext, nullptr);
    EXPECT_EQ(a.pPrev, nullptr);
    Fill(first, {&a});
    EXPECT_EQ(ListDel(&c, first), 0);
    EXPECT_EQ(Items(first), (Row{&b, &a}));
    EXPECT_EQ(ListDel(&a, first), 0);
    EXPECT_EQ(Items(first), (Row{&b}));
    EXPECT_EQ(ListDel(&b, first), 0);
    EXPECT_EQ(Items(first), Row{});
}

TEST_F(List, RemovalRefusesWhatItDoesNotHold) {
    Fill(first, {&a, &b});
    Fill(second, {&c});
    EXPECT_EQ(ListDel(&c, first), -2);
    EXPECT_EQ(ListDel(&d, first), -2);
    EXPECT_EQ(Items(first), (Row{&a, &b}));
    EXPECT_EQ(Items(second), (Row{&c}));
    EXPECT_EQ(ListDel(nullptr, first), -1);
    EXPECT_EQ(ListDel(&a, nullptr), -1);
}

TEST_F(List, IsNotDestroyedWhileItHoldsItems) {
    Fill(first, {&a});
    EXPECT_EQ(DestroyList(first), -2);
    EXPECT_EQ(Items(first), (Row{&a}));
    EXPECT_EQ(DestroyList(nullptr), -1);
    EXPECT_EQ(ListAdd(nullptr, first), -1);
    EXPECT_EQ(ListAdd(&b, nullptr), -1);
}

TEST_F(List, InitForgetsItemsAndKeepsTheLimit) {
    Fill(first, {&a, &b});
    EXPECT_EQ(InitList(first), 0);
    EXPECT_EQ(Items(first), Row{});
    EXPECT_EQ(first->iLimit, 3);
    EXPECT_EQ(a.pNext, &b) << "items are not touched";
    EXPECT_EQ(InitList(nullptr), -1);
}

TEST_F(List, MovesAnItemToAnotherTail) {
    Fill(first, {&a, &b});
    Fill(second, {&c});
    EXPECT_EQ(ListMove(&a, second), 0);
    EXPECT_EQ(Items(first), (Row{&b}));
    EXPECT_EQ(Items(second), (Row{&c, &a}));
}

TEST_F(List, MovesAnItemToTheTailOfItsOwnList) {
    Fill(second, {&a, &b, &c});
    EXPECT_EQ(ListMove(&a, second), 0);
    EXPECT_EQ(Items(second), (Row{&b, &c, &a}));
    EXPECT_EQ(ListMove(&a, second), 0);
    EXPECT_EQ(Items(second), (Row{&b, &c, &a}));
}

TEST_F(List, MoveRefusesNullFullTargetAndUnlistedItem) {
    Fill(first, {&a, &b, &c});
    Fill(second, {&d});
    EXPECT_EQ(ListMove(&d, first), -2);
    EXPECT_EQ(ListMove(&e, second), -3);
    EXPECT_EQ(ListMove(nullptr, second), -1);
    EXPECT_EQ(ListMove(&a, nullptr), -1);
    EXPECT_EQ(Items(second), (Row{&d}));
}

TEST_F(List, SplicesBehindTheTarget) {
    Fill(first, {&a, &b});
    Fill(second, {&c, &d});
    EXPECT_EQ(ListSplice(first, second), 0);
    EXPECT_EQ(Items(second), (Row{&c, &d, &a, &b}));
    EXPECT_EQ(Items(first), Row{});
}

TEST_F(List, SplicesIntoAnEmptyTarget) {
    Fill(first, {&a, &b});
    EXPECT_EQ(ListSplice(first, second), 0);
    EXPECT_EQ(Items(second), (Row{&a, &b}));
    EXPECT_EQ(Items(first), Row{});
}

TEST_F(List, SpliceRefusesWhatDoesNotFit) {
    EXPECT_EQ(ListSplice(first, second), -2) << "nothing to attach";
    Fill(first, {&a, &b});
    Fill(second, {&c, &d, &e});
    EXPECT_EQ(ListSplice(first, second), -3);
    EXPECT_EQ(Items(first), (Row{&a, &b}));
    EXPECT_EQ(Items(second), (Row{&c, &d, &e}));
    GUILIST_ITEM f = {};
    Fill(second, {&f});
    EXPECT_EQ(ListSplice(first, second), -2) << "target is full";
    EXPECT_EQ(ListSplice(nullptr, second), -1);
    EXPECT_EQ(ListSplice(first, nullptr), -1);
    EXPECT_EQ(ListSplice(first, first), -1);
}

TEST(String, WidensEveryByte) {
    GUICHAR* text = TransString("A\xE9\x7F");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(Text(text), (std::u16string{u'A', u'\u00E9', u'\u007F'}));
    free(text);
    GUICHAR* empty = TransString("");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty[0], 0);
    free(empty);
    EXPECT_EQ(TransString(nullptr), nullptr);
    test::FailingCalls failing(1);
    EXPECT_EQ(TransString("x"), nullptr);
}

TEST(String, ComparesByFirstDifference) {
    const GUICHAR abc[] = {'a', 'b', 'c', 0};
    const GUICHAR abd[] = {'a', 'b', 'd', 0};
    const GUICHAR ab[] = {'a', 'b', 0};
    const GUICHAR high[] = {0xFFFF, 0};
    EXPECT_EQ(StringCmp(abc, abc), 0);
    EXPECT_EQ(StringCmp(abc, abd), -1);
    EXPECT_EQ(StringCmp(abd, abc), 1);
    EXPECT_EQ(StringCmp(abc, ab), 'c');
    EXPECT_EQ(StringCmp(ab, abc), -'c');
    EXPECT_EQ(StringCmp(high, abc), 0xFFFF - 'a');
    EXPECT_EQ(StringCmp(nullptr, abc), 0);
    EXPECT_EQ(StringCmp(abc, nullptr), 0);
    EXPECT_EQ(StringCmp(nullptr, nullptr), 0);
}

TEST(String, CopyReplacesTheDestination) {
    GUICHAR* text = TransString("a longer text");
    const GUICHAR source[] = {'o', 'k', 0};
    EXPECT_EQ(StringCpy(&text, source), text);
    EXPECT_EQ(Text(text), u"ok");
    EXPECT_EQ(StringCpy(&text, text), text) << "a text may be copied onto itself";
    EXPECT_EQ(Text(text), u"ok");
    free(text);
}

TEST(String, CatAppends) {
    GUICHAR* text = TransString("ab");
    const GUICHAR source[] = {'c', 'd', 0};
    const GUICHAR empty[] = {0};
    EXPECT_EQ(StringCat(&text, source), text);
    EXPECT_EQ(Text(text), u"abcd");
    GUICHAR* before = text;
    test::FailingCalls counting(0);
    EXPECT_EQ(StringCat(&text, empty), before);
    EXPECT_EQ(counting.Count(), 0) << "nothing to append, nothing allocated";
    free(text);
}

TEST(String, IsNotReadBeyondItsEnd) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    uint8_t* end = static_cast<uint8_t*>(pages) + page;
    ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
    // The last units of what may be read.
    GUICHAR* last = reinterpret_cast<GUICHAR*>(end) - 3;
    last[0] = 'e', last[1] = 'f', last[2] = 0;
    GUICHAR* text = TransString("ab");
    EXPECT_EQ(StringCmp(last, last), 0);
    EXPECT_EQ(StringCat(&text, last), text);
    EXPECT_EQ(Text(text), u"abef");
    EXPECT_EQ(StringCpy(&text, last), text);
    EXPECT_EQ(Text(text), u"ef");
    free(text);
    char* bytes = reinterpret_cast<char*>(end) - 3;
    memcpy(bytes, "gh", 3);
    text = TransString(bytes);
    EXPECT_EQ(Text(text), u"gh");
    free(text);
    munmap(pages, 2 * page);
}

TEST(String, CopyAndCatLeaveTheDestinationOnFailure) {
    const GUICHAR source[] = {'x', 0};
    GUICHAR* none = nullptr;
    for (auto function : {StringCpy, StringCat}) {
        GUICHAR* text = TransString("keep");
        EXPECT_EQ(function(nullptr, source), nullptr);
        EXPECT_EQ(function(&text, nullptr), nullptr);
        EXPECT_EQ(function(&none, source), nullptr);
        GUICHAR* before = text;
        {
            test::FailingCalls failing(1);
            EXPECT_EQ(function(&text, source), nullptr);
        }
        EXPECT_EQ(text, before);
        EXPECT_EQ(Text(text), u"keep");
        free(text);
    }
}

void* ReturnArgument(void* argument) {
    ThreadExit(argument);
}

TEST(Thread, HandsItsResultToJoin) {
    int value = 0;
    GUITHREAD thread = GUITHREAD_NONE;
    void* result = nullptr;
    ASSERT_EQ(ThreadCreate(&thread, ReturnArgument, &value), 0);
    EXPECT_EQ(ThreadJoin(thread, &result), 0);
    EXPECT_EQ(result, &value);
    test::FailingCalls failing(1);
    EXPECT_EQ(ThreadCreate(&thread, ReturnArgument, &value), EAGAIN);
}

struct Reader {
    int ends[2];
    bool stop;
    int wakes;
};

// Reads what never comes until told to stop, like a device reader; it looks at the flag only after a read.
void* ReadUntilStopped(void* argument) {
    Reader* reader = static_cast<Reader*>(argument);
    do {
        char byte = 0;
        if (read(reader->ends[0], &byte, 1) < 0 && errno == EINTR)
            ++reader->wakes;
    } while (!__atomic_load_n(&reader->stop, __ATOMIC_ACQUIRE));
    ThreadExit(nullptr);
}

class EndedThread : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(pipe(reader.ends), 0);
        ASSERT_EQ(ThreadCreate(&thread, ReadUntilStopped, &reader), 0);
    }
    void TearDown() override {
        for (int fd : reader.ends)
            close(fd);
    }
    Reader reader = {{-1, -1}, false, 0};
    GUITHREAD thread = GUITHREAD_NONE;
};

TEST_F(EndedThread, IsWokenFromABlockedRead) {
    __atomic_store_n(&reader.stop, true, __ATOMIC_RELEASE);
    EXPECT_EQ(ThreadEnd(&thread), 0);
    EXPECT_EQ(thread, GUITHREAD_NONE);
    EXPECT_EQ(reader.wakes, 1);
    EXPECT_EQ(ThreadEnd(&thread), 0) << "no thread, nothing to end";
    EXPECT_EQ(ThreadTryEnd(&thread), 0);
    EXPECT_EQ(ThreadEnd(nullptr), -1);
    EXPECT_EQ(ThreadTryEnd(nullptr), -1);
}

struct Told {
    int running, toEnd;
};
void* EndWhenTold(void* argument) {
    Told* told = static_cast<Told*>(argument);
    __atomic_store_n(&told->running, 1, __ATOMIC_RELEASE);
    while (__atomic_load_n(&told->toEnd, __ATOMIC_ACQUIRE) == 0)
        MsecSleep(1);
    return nullptr;
}

TEST(Thread, IsNotWokenWithoutAHandlerForTheSignal) {
    signal(SIGUSR1, SIG_DFL);  // it would end the program
    Told told = {};
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, EndWhenTold, &told), 0);
    while (__atomic_load_n(&told.running, __ATOMIC_ACQUIRE) == 0)
        MsecSleep(1);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(ThreadTryEnd(&thread), EBUSY);
        EXPECT_STREQ(failing.Failed(), "sigaction");
    }
    __atomic_store_n(&told.toEnd, 1, __ATOMIC_RELEASE);
    EXPECT_EQ(ThreadEnd(&thread), 0);
}

TEST_F(EndedThread, IsNotWaitedForByATry) {
    const GUITHREAD started = thread;
    EXPECT_EQ(ThreadTryEnd(&thread), EBUSY) << "it has not been told to stop";
    EXPECT_EQ(thread, started);
    __atomic_store_n(&reader.stop, true, __ATOMIC_RELEASE);
    while (ThreadTryEnd(&thread) == EBUSY)
        MsecSleep(1);
    EXPECT_EQ(thread, GUITHREAD_NONE);
    EXPECT_GE(reader.wakes, 1);
}

TEST(Mutex, IsNotRecursive) {
    GUIMUTEX mutex;
    ASSERT_EQ(InitMutex(&mutex), 0);
    EXPECT_EQ(MutexLock(&mutex), 0);
    EXPECT_EQ(MutexTrylock(&mutex), EBUSY);
    EXPECT_EQ(MutexUnlock(&mutex), 0);
    EXPECT_EQ(MutexTrylock(&mutex), 0);
    EXPECT_EQ(MutexUnlock(&mutex), 0);
    EXPECT_EQ(DestroyMutex(&mutex), 0);
    test::FailingCalls failing(1);
    EXPECT_EQ(InitMutex(&mutex), ENOMEM);
}

struct Sleeper {
    int result;
    bool done;
};

void* SleepLong(void* argument) {
    Sleeper* sleeper = static_cast<Sleeper*>(argument);
    sleeper->result = MsecSleep(3600UL * 1000);
    __atomic_store_n(&sleeper->done, true, __ATOMIC_RELEASE);
    return nullptr;
}

TEST(Sleep, EndsEarlyOnASignal) {
    EXPECT_EQ(MsecSleep(0), 0);
    EXPECT_EQ(MsecSleep(1), 0);
    Sleeper sleeper = {0, false};
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, SleepLong, &sleeper), 0);
    EXPECT_EQ(ThreadEnd(&thread), 0);
    EXPECT_TRUE(sleeper.done);
    EXPECT_EQ(sleeper.result, -1);
}

}  // namespace
