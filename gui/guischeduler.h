// The scheduler and the window threads: the scheduler starts a thread for each window that is called and
// frees the window when its screen has ended; window threads run one at a time, each under the window-thread
// lock.
#pragma once

#include "gui/guimessage.h"
#include "gui/guiwindow.h"

// The exit flag, 1 once the program is ending; every thread polls it. InitExitFlag clears it; -1 on failure.
int InitExitFlag();
int SetExitFlag(int iFlag);
int GetExitFlag();
// Waits for a worker thread to end, waking it from its sleeps when the program is ending, and sets the handle
// to GUITHREAD_NONE. 0 for a handle that holds no thread; -1 on null; else the POSIX result.
int JoinWorker(GUITHREAD* pThread);

// The lock that a window thread holds for its whole life. InitThreadLock: -1 on failure.
int InitThreadLock();
int LockWindowThread();
int UnlockWindowThread();

// Body of the scheduler thread; the argument is the GUIMESSAGE. A called window whose thread cannot be had is
// tried again at each look. When the exit flag is 1 it ends the threads of all windows whose calls it has
// taken, also those that a change of windows started, waking those that wait for a device, and ends itself.
void* WindowSchedulerThread(void* pThreadArg);
// Body of a window thread; the argument is the GUIWINDOW. A message to itself that cannot be posted is tried
// again at each turn. It ends after the window's exit function, which is run when the window is told to exit
// and, if the window has been initialised, when the exit flag is 1.
void* DefaultWindowThread(void* pThreadArg);

// The move from the running window to the next, which has been created for it: posts the exit message of the
// one and the call message of the other, and drops every registration, so that no handler of the window that
// ends is called any more. All that this needs, the next window's thread too, is had before anything is given
// up: until it can be had, the running window stays as it is, and its thread tries again at each turn; a
// later change takes the place of one that waits. From here on the scheduler owns the next window. Called on
// the running window's thread. 0, also when the change has to wait; -1 when there is no next window; -2, the
// next window freed, without a current message object.
int ChangeWindow(GUIWINDOW* pCurrent, GUIWINDOW* pNext);
// Gives up a change that has to wait, if there is one: the running window has ended, or was told to do
// something else.
void DropChange();

// Frees every window that was handed to the scheduler and is left: those that were current when their screen
// ended, and those whose call is still queued in pMsgObj (may be null) or was not acted on, whose threads, if
// they have one, it ends first. Called once the scheduler and event threads have ended.
void ReleaseWindows(GUIMESSAGE* pMsgObj);
