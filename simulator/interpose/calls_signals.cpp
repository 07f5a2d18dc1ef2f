// Entry points: signal handlers, so that the simulator can let them run where they do no harm, and the abrupt
// end.
#include "simulator/interpose/call.h"
#include "simulator/interpose/process_end.h"

using namespace k905;

K905_ENTRY(int, sigaction, (int signal, const struct sigaction* action, struct sigaction* previous)) {
    Call call;
    return call ? SetSignalAction(signal, action, previous) : Real().sigaction(signal, action, previous);
}

K905_ENTRY(sighandler_t, signal, (int signal, sighandler_t handler)) {
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    Call call;
    const int result =
        call ? SetSignalAction(signal, &action, &previous) : Real().sigaction(signal, &action, &previous);
    return result == 0 ? previous.sa_handler : SIG_ERR;
}

K905_ENTRY(void, _exit, (int status)) {
    if (threadContext.self != nullptr && threadContext.depth == 0)
        OnProcessEnd();
    Real()._exit(status);
    __builtin_unreachable();
}

K905_ENTRY(void, _Exit, (int status)) {
    if (threadContext.self != nullptr && threadContext.depth == 0)
        OnProcessEnd();
    Real()._exit(status);
    __builtin_unreachable();
}
