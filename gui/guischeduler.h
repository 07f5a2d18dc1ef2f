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

// Body of the scheduler thread; the argument is the GUIMESSAGE. When the exit flag is 1 it ends the
// window threads that it started, waking those that wait for a device, and ends itself.
void* WindowSchedulerThread(void* pThreadArg);
// Body of a window thread; the argument is the GUIWINDOW. It ends after the window's exit function, which is
// run when the window is told to exit and, if the window has been initialised, when the exit flag is 1.
void* DefaultWindowThread(void* pThreadArg);

// Frees every window that was handed to the scheduler and is left: those that were current when their screen
// ended, and those whose call is still queued in pMsgObj (may be null). Called once the scheduler and event
// threads have ended.
void ReleaseWindows(GUIMESSAGE* pMsgObj);
