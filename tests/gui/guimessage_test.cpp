#include "gui/guimessage.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/failing_calls.h"

namespace {

struct Call {
    int handler;
    void* in;
    int inLength;
    void* out;
    int outLength;
};
std::vector<Call> calls;

template <int Name, int Result>
int Handler(void* in, int inLength, void* out, int outLength) {
    calls.push_back({Name, in, inLength, out, outLength});
    return Result;
}

class Message : public testing::Test {
  protected:
    void SetUp() override { calls.clear(); }
    void TearDown() override {
        EXPECT_EQ(ClearMessageQueue(message), 0);
        EXPECT_EQ(ClearMessageReg(message), 0);
        EXPECT_EQ(DestroyMessage(&message), 0);
        EXPECT_EQ(message, nullptr);
    }
    void Post(int type, int code) {
        ASSERT_EQ(WriteMessageQueue(CreateMessageItem(type, code, 0, nullptr), message), 0);
    }
    // Codes of the queue, read until it is empty.
    std::vector<int> ReadCodes() {
        std::vector<int> codes;
        while (GUIMESSAGE_ITEM* item = ReadMessageQueue(message)) {
            codes.push_back(item->iMsgCode);
            free(item);
        }
        return codes;
    }
    int Exec(int code, void* receiver) {
        const GUIMESSAGE_ITEM item = {GUIMESSAGE_TYP_WND, code, 0x12340056, 7, receiver};
        return ExecMessageProc(&item, message);
    }

    GUIMESSAGE* message = CreateMessage(4, 3);
    int a = 0, b = 0, out = 0;
};

TEST(MessageCodes, HaveTheirNumbers) {
    const struct {
        int number, code;
    } rows[] = {
        {1, GUIMESSAGE_TYP_SCHED},    {2, GUIMESSAGE_TYP_WND},       {1, GUIMESSAGE_SCH_EXIT},
        {2, GUIMESSAGE_SCH_CALL},     {3, GUIMESSAGE_SCH_DONE},      {4, GUIMESSAGE_WND_INIT},
        {5, GUIMESSAGE_WND_EXIT},     {6, GUIMESSAGE_WND_PAINT},     {7, GUIMESSAGE_WND_LOOP},
        {10, GUIMESSAGE_LOOP_ENABLE}, {11, GUIMESSAGE_LOOP_DISABLE}, {12, GUIMESSAGE_ERR_PROC},
        {13, GUIMESSAGE_KEY_DOWN},    {14, GUIMESSAGE_KEY_UP},       {15, GUIMESSAGE_TCH_DOWN},
        {16, GUIMESSAGE_TCH_UP},      {17, GUIMESSAGE_KNOB_CLOCK},   {18, GUIMESSAGE_KNOB_ANTI},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.number, row.code);
    EXPECT_EQ(5, GUICOMP_PICTURE);
    EXPECT_EQ(8, GUICOMP_WINDOW);
}

TEST_F(Message, CreationReleasesWhatItMade) {
    const int runs = test::FailEachCall(
        [] {
            GUIMESSAGE* made = CreateMessage(1, 1);
            const bool succeeded = made != nullptr;
            DestroyMessage(&made);
            return succeeded;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 4) << "record, two lists, mutex";
    EXPECT_EQ(CreateMessage(-1, 1), nullptr);
    EXPECT_EQ(CreateMessage(1, -1), nullptr);
}

TEST_F(Message, IsNotDestroyedWhileInUse) {
    Post(1, 1);
    EXPECT_EQ(LoginMessageReg(13, &a, Handler<1, 0>, nullptr, 0, message), 0);
    GUIMESSAGE* same = message;
    EXPECT_EQ(DestroyMessage(&same), -3);
    EXPECT_EQ(ClearMessageQueue(message), 0);
    EXPECT_EQ(DestroyMessage(&same), -4);
    EXPECT_EQ(same, message);
    GUIMESSAGE* none = nullptr;
    EXPECT_EQ(DestroyMessage(&none), -2);
    EXPECT_EQ(DestroyMessage(nullptr), -1);
}

TEST_F(Message, DestroyingTheCurrentObjectLeavesNone) {
    GUIMESSAGE* current = CreateMessage(1, 1);
    EXPECT_EQ(SetCurrMessage(current), 0);
    EXPECT_EQ(SetCurrMessage(nullptr), -1);
    EXPECT_EQ(GetCurrMessage(), current);
    EXPECT_EQ(DestroyMessage(&current), 0);
    EXPECT_EQ(GetCurrMessage(), nullptr);
}

TEST_F(Message, QueueIsFirstInFirstOut) {
    EXPECT_EQ(ReadMessageQueue(message), nullptr);
    for (int code : {3, 1, 2})
        Post(1, code);
    EXPECT_EQ(ReadCodes(), (std::vector<int>{3, 1, 2}));
    EXPECT_EQ(ReadMessageQueue(nullptr), nullptr);
}

TEST_F(Message, QueueRefusesNullFullAndShortMemory) {
    GUIMESSAGE_ITEM item = {};
    EXPECT_EQ(WriteMessageQueue(nullptr, message), -1);
    EXPECT_EQ(WriteMessageQueue(&item, nullptr), -1);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(WriteMessageQueue(&item, message), -3);
    }
    for (int code : {1, 2, 3, 4})
        Post(2, code);
    EXPECT_EQ(WriteMessageQueue(&item, message), -2);
    EXPECT_EQ(ReadCodes(), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(Message, ReceivesTheOldestOfOneTypeAndKeepsTheRest) {
    Post(1, 2);
    Post(2, 4);
    Post(1, 3);
    Post(2, 6);
    GUIMESSAGE_ITEM* item = RecvSpecialMessage(2, message);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->iMsgCode, 4);
    free(item);
    EXPECT_EQ(RecvSpecialMessage(3, message), nullptr);
    EXPECT_EQ(RecvSpecialMessage(2, nullptr), nullptr);
    EXPECT_EQ(ReadCodes(), (std::vector<int>{2, 3, 6}));
}

TEST_F(Message, MissingListsAreAnswered) {
    GUILIST* queue = message->pMsgQueue;
    GUILIST* registrations = message->pMsgReg;
    message->pMsgQueue = message->pMsgReg = nullptr;
    GUIMESSAGE_ITEM item = {};
    EXPECT_EQ(WriteMessageQueue(&item, message), -2);
    EXPECT_EQ(ReadMessageQueue(message), nullptr);
    EXPECT_EQ(RecvSpecialMessage(1, message), nullptr);
    EXPECT_EQ(ClearMessageQueue(message), -2);
    EXPECT_EQ(LoginMessageReg(1, &a, Handler<1, 0>, nullptr, 0, message), -2);
    EXPECT_EQ(LogoutMessageReg(1, &a, message), -2);
    EXPECT_EQ(ClearMessageReg(message), -2);
    EXPECT_EQ(MatchMessageReg(&item, message), nullptr);
    message->pMsgQueue = queue;
    message->pMsgReg = registrations;
}

TEST_F(Message, ThoseWithAReceiverCanBeDropped) {
    Post(2, 5);
    ASSERT_EQ(WriteMessageQueue(CreateMessageItem(2, 16, 0, &a), message), 0);
    Post(1, 2);
    ASSERT_EQ(WriteMessageQueue(CreateMessageItem(2, 15, 0, &b), message), 0);
    EXPECT_EQ(DropReceiverMessages(message), 0);
    EXPECT_EQ(ReadCodes(), (std::vector<int>{5, 2}));
    EXPECT_EQ(DropReceiverMessages(message), 0);
    EXPECT_EQ(DropReceiverMessages(nullptr), -1);
}

TEST_F(Message, UnlinkFailuresAreReported) {
    Post(1, 1);
    ASSERT_EQ(LoginMessageReg(13, &a, Handler<1, 0>, nullptr, 0, message), 0);
    GUIOBJ* entries[] = {FirstObj(message->pMsgQueue), FirstObj(message->pMsgReg)};
    for (GUIOBJ* entry : entries)
        entry->List.pOwner = nullptr;
    EXPECT_EQ(ReadMessageQueue(message), nullptr);
    EXPECT_EQ(ClearMessageQueue(message), -3);
    EXPECT_EQ(LogoutMessageReg(13, &a, message), -3);
    EXPECT_EQ(ClearMessageReg(message), -3);
    entries[0]->List.pOwner = message->pMsgQueue;
    entries[1]->List.pOwner = message->pMsgReg;
}

TEST_F(Message, RegistrationFailsInOrder) {
    EXPECT_EQ(LoginMessageReg(1, &a, Handler<1, 0>, nullptr, 0, nullptr), -1);
    for (int call : {1, 2}) {
        test::FailingCalls failing(call);
        EXPECT_EQ(LoginMessageReg(1, &a, Handler<1, 0>, nullptr, 0, message), -2 - call);
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(LoginMessageReg(1, &a, Handler<1, 0>, nullptr, 0, message), 0);
    EXPECT_EQ(LoginMessageReg(1, &a, Handler<1, 0>, nullptr, 0, message), -2);
}

TEST_F(Message, HandlerGetsValueAndOutputArgument) {
    ASSERT_EQ(LoginMessageReg(13, &a, Handler<1, 0>, &out, 9, message), 0);
    EXPECT_EQ(Exec(13, &a), 0);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].in, reinterpret_cast<void*>(0x12340056));
    EXPECT_EQ(calls[0].inLength, 7);
    EXPECT_EQ(calls[0].out, &out);
    EXPECT_EQ(calls[0].outLength, 9);
}

TEST_F(Message, MatchesCodeAndReceiver) {
    ASSERT_EQ(LoginMessageReg(13, &a, Handler<1, 0>, nullptr, 0, message), 0);
    ASSERT_EQ(LoginMessageReg(13, &b, Handler<2, 5>, nullptr, 0, message), 0);
    EXPECT_EQ(Exec(14, &a), -2);
    EXPECT_EQ(Exec(13, nullptr), -2);
    EXPECT_EQ(Exec(13, &b), -3) << "the handler returned non-zero";
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].handler, 2);
    GUIMESSAGE_ITEM item = {};
    EXPECT_EQ(ExecMessageProc(nullptr, message), -1);
    EXPECT_EQ(ExecMessageProc(&item, nullptr), -1);
    EXPECT_EQ(MatchMessageReg(nullptr, message), nullptr);
    EXPECT_EQ(MatchMessageReg(&item, nullptr), nullptr);
}

TEST_F(Message, FirstOfTwoEqualRegistrationsWins) {
    ASSERT_EQ(LoginMessageReg(13, &a, Handler<1, 0>, nullptr, 0, message), 0);
    ASSERT_EQ(LoginMessageReg(13, &a, Handler<2, 0>, nullptr, 0, message), 0);
    EXPECT_EQ(Exec(13, &a), 0);
    EXPECT_EQ(LogoutMessageReg(13, &a, message), 0);
    EXPECT_EQ(Exec(13, &a), 0);
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].handler, 1);
    EXPECT_EQ(calls[1].handler, 2);
}

TEST_F(Message, LogoutAnswersForWhatIsNotThere) {
    EXPECT_EQ(LogoutMessageReg(13, &a, message), -2) << "empty table";
    ASSERT_EQ(LoginMessageReg(13, &a, Handler<1, 0>, nullptr, 0, message), 0);
    EXPECT_EQ(LogoutMessageReg(13, &b, message), -4);
    EXPECT_EQ(LogoutMessageReg(14, &a, message), -4);
    EXPECT_EQ(LogoutMessageReg(13, &a, nullptr), -1);
    EXPECT_EQ(ClearMessageReg(nullptr), -1);
    EXPECT_EQ(ClearMessageQueue(nullptr), -1);
}

// A handler that drops all registrations, its own included, and posts.
int Reenter(void*, int, void* out, int) {
    GUIMESSAGE* message = static_cast<GUIMESSAGE*>(out);
    MutexLock(&message->Mutex);
    const int cleared = ClearMessageReg(message);
    MutexUnlock(&message->Mutex);
    return cleared + PostMessageItem(CreateMessageItem(2, 5, 0, nullptr), message);
}

TEST_F(Message, HandlerRunsOutsideTheLock) {
    ASSERT_EQ(LoginMessageReg(16, &a, Reenter, message, 0, message), 0);
    EXPECT_EQ(Exec(16, &a), 0);
    EXPECT_EQ(Exec(16, &a), -2);
    EXPECT_EQ(ReadCodes(), std::vector<int>{5});
}

TEST_F(Message, SendNeedsACurrentObject) {
    EXPECT_EQ(SendMessage(2, 5, 0), -1);
    ASSERT_EQ(SetCurrMessage(message), 0);
    EXPECT_EQ(SendMessage(2, 5, 42), 0);
    GUIMESSAGE_ITEM* item = TakeMessage(2, message);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->iMsgType, 2);
    EXPECT_EQ(item->iMsgCode, 5);
    EXPECT_EQ(item->uiMsgValue, 42u);
    EXPECT_EQ(item->iValueLength, 0);
    EXPECT_EQ(item->pRecvObj, nullptr);
    free(item);
    EXPECT_EQ(TakeMessage(2, message), nullptr);
    EXPECT_EQ(TakeMessage(2, nullptr), nullptr);
}

TEST_F(Message, PostFreesWhatTheQueueRefuses) {
    ASSERT_EQ(SetCurrMessage(message), 0);
    for (int call : {1, 2}) {
        test::FailingCalls failing(call);
        EXPECT_EQ(SendMessage(2, 5, 0), -3);
    }
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(SendMessage(2, 5, 0), 0);
    EXPECT_EQ(SendMessage(2, 5, 0), -2);
    EXPECT_EQ(PostMessageItem(CreateMessageItem(2, 5, 0, nullptr), nullptr), -1);
    EXPECT_EQ(PostMessageItem(nullptr, message), -1);
}

}  // namespace
