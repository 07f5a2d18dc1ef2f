// The message object: one queue of messages, first in, first out, and a table of registrations that bind a
// message code and a receiving object to a handler.
//
// The queue and registration functions do not lock: the caller holds the object's mutex around them. The
// functions under "Whole steps" lock it themselves.
#pragma once

#include "gui/guibase.h"
#include "gui/guiobj.h"

// Which thread reads a message.
enum {
    GUIMESSAGE_TYP_SCHED = 1,
    GUIMESSAGE_TYP_WND = 2,
};

// What a message means. The value of codes 2 to 7, 10 and 11 is a window; of the input codes, the event's
// value.
enum {
    GUIMESSAGE_SCH_EXIT = 1,  // end the program
    GUIMESSAGE_SCH_CALL = 2,  // start a thread for the window
    GUIMESSAGE_SCH_DONE = 3,  // the window's thread has ended
    GUIMESSAGE_WND_INIT = 4,
    GUIMESSAGE_WND_EXIT = 5,
    GUIMESSAGE_WND_PAINT = 6,
    GUIMESSAGE_WND_LOOP = 7,
    GUIMESSAGE_LOOP_ENABLE = 10,
    GUIMESSAGE_LOOP_DISABLE = 11,
    GUIMESSAGE_ERR_PROC = 12,  // never sent; screens register a procedure for it
    GUIMESSAGE_KEY_DOWN = 13,  // value: key code
    GUIMESSAGE_KEY_UP = 14,
    GUIMESSAGE_TCH_DOWN = 15,  // value: position, x in bits 16 and up, y in the low 16 bits
    GUIMESSAGE_TCH_UP = 16,
    GUIMESSAGE_KNOB_CLOCK = 17,
    GUIMESSAGE_KNOB_ANTI = 18,
};

// Handler of a message: input value and its length, output argument and its length; 0 for success.
typedef int (*MSGFUNC)(void* pInArg, int iInLen, void* pOutArg, int iOutLen);

// One message; the queue owns it once it is written, its reader frees it.
struct GUIMESSAGE_ITEM {
    int iMsgType;
    int iMsgCode;
    uintptr_t uiMsgValue;  // a window or an input value, handed to a handler as its input pointer
    int iValueLength;      // 0 for every message that the system sends
    void* pRecvObj;        // object that the message is for; compared with the registrations, never followed
};

struct GUIMESSAGE_REG {
    int iMsgCode;
    void* pRecvObj;
    MSGFUNC fnMsgFunc;
    void* pOutArg;
    int iOutLength;
};

struct GUIMESSAGE {
    GUILIST* pMsgQueue;  // of GUIOBJ -> GUIMESSAGE_ITEM
    GUILIST* pMsgReg;    // of GUIOBJ -> GUIMESSAGE_REG, in order of registration
    GUIMUTEX Mutex;      // guards both
};

// New message object with room for so many messages and registrations; null on failure.
GUIMESSAGE* CreateMessage(int iQueueLimit, int iRegLimit);
// Frees the object and nulls the caller's pointer; if it was current, none is afterwards. -1, -2 on a null
// argument or object; -3 while messages are queued; -4 while registrations remain.
int DestroyMessage(GUIMESSAGE** ppMsgObj);

// The current message object. -1 on null.
int SetCurrMessage(GUIMESSAGE* pMsgObj);
GUIMESSAGE* GetCurrMessage();

// ---- Queue ----

// Appends; the queue owns the message on success. -1 on null; -2 if the queue is missing or full; -3 if
// memory is short; -4 if the append fails.
int WriteMessageQueue(GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj);
// Takes out the oldest message; null if there is none. The caller frees it.
GUIMESSAGE_ITEM* ReadMessageQueue(GUIMESSAGE* pMsgObj);
// Takes out the oldest message of that type, leaving the others in order; null if there is none. The caller
// frees it.
GUIMESSAGE_ITEM* RecvSpecialMessage(int iMsgType, GUIMESSAGE* pMsgObj);
// Frees every queued message. -1 on null; -2 if the queue is missing; -3 if unlinking fails.
int ClearMessageQueue(GUIMESSAGE* pMsgObj);
// Frees every queued message that names a receiver, and leaves the others in order. -1 on null.
int DropReceiverMessages(GUIMESSAGE* pMsgObj);

// ---- Registrations ----

// Appends a registration; of two with the same code and receiver the first one wins. -1 on null; -2 if the
// table is missing or full; -3, -4 if memory is short; -5 if the append fails.
int LoginMessageReg(int iMsgCode, void* pRecvObj, MSGFUNC fnMsgFunc, void* pOutArg, int iOutLength,
                    GUIMESSAGE* pMsgObj);
// Frees the first registration with that code and receiver. -1 on null; -2 if the table is missing or empty;
// -3 if unlinking fails; -4 if none matches.
int LogoutMessageReg(int iMsgCode, const void* pRecvObj, GUIMESSAGE* pMsgObj);
// Frees every registration. -1 on null; -2 if the table is missing; -3 if unlinking fails.
int ClearMessageReg(GUIMESSAGE* pMsgObj);
// First registration whose code and receiver are the message's; null if there is none.
GUIMESSAGE_REG* MatchMessageReg(const GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj);

// ---- Whole steps ----

// Calls the handler registered for the message, outside the lock. -1 on null; -2 if nothing matches; -3 if
// the handler returns non-zero.
int ExecMessageProc(const GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj);
// The message whose handler is running, null outside of handlers: for a handler that serves several
// receivers.
const GUIMESSAGE_ITEM* GetHandledMessage();
// New message of length 0; null if memory is short.
GUIMESSAGE_ITEM* CreateMessageItem(int iMsgType, int iMsgCode, uintptr_t uiMsgValue, void* pRecvObj);
// Appends the message, or frees it when the queue refuses it. Codes of WriteMessageQueue.
int PostMessageItem(GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj);
// Creates and posts a message without a receiver into the current message object. Codes of WriteMessageQueue.
int SendMessage(int iMsgType, int iMsgCode, uintptr_t uiMsgValue);
// Creates a message without a receiver at the end of a list of GUIOBJ, for messages that are to be posted
// together: ListSplice then takes all of them into the queue, or none. Codes of AppendObj.
int PrepareMessage(int iMsgType, int iMsgCode, uintptr_t uiMsgValue, GUILIST* pPrepared);
// RecvSpecialMessage under the lock.
GUIMESSAGE_ITEM* TakeMessage(int iMsgType, GUIMESSAGE* pMsgObj);
