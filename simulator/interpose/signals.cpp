#include "simulator/interpose/signals.h"

#include <errno.h>

#include <initializer_list>

#include "simulator/interpose/machine.h"
#include "simulator/interpose/real_calls.h"

namespace k905 {

namespace {

constexpr int kSignals = 64;

struct ProductAction {
    bool set = false;
    struct sigaction action = {};
};
ProductAction productActions[kSignals];

std::uint64_t outsideSignals = 0;
int outsideEvent = -1;

std::uint64_t Bit(int signal) {
    return std::uint64_t{1} << signal;
}

// Raised by the processor or by abort(): these have to be handled on the spot.
bool IsSynchronous(int signal) {
    for (const int name : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT})
        if (signal == name)
            return true;
    return false;
}

void CallHandler(int signal, siginfo_t* info, void* context) {
    const struct sigaction& action = productActions[signal].action;
    if ((action.sa_flags & SA_SIGINFO) != 0)
        action.sa_sigaction(signal, info, context);
    else if (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN)
        action.sa_handler(signal);
}

// What the kernel calls. Only async-signal-safe things happen here.
void OnSignal(int signal, siginfo_t* info, void* context) {
    const int error = errno;
    ProductThread* self = threadContext.self;
    const Machine* machine = Machine::Current();
    const int event = __atomic_load_n(&outsideEvent, __ATOMIC_ACQUIRE);
    if (machine != nullptr && machine->Stepped() && event >= 0) {
        __atomic_or_fetch(&outsideSignals, Bit(signal), __ATOMIC_ACQ_REL);
        const std::uint64_t one = 1;
        syscall(SYS_write, event, &one, sizeof one);
    } else if (self != nullptr && threadContext.depth > 0) {
        __atomic_or_fetch(&self->pendingSignals, Bit(signal), __ATOMIC_ACQ_REL);
        if (!self->machine->Stepped())
            self->parking.Give();
    } else {
        CallHandler(signal, info, context);
    }
    errno = error;
}

}  // namespace

int SetSignalAction(int signal, const struct sigaction* action, struct sigaction* previous) {
    if (signal <= 0 || signal >= kSignals || IsSynchronous(signal))
        return Real().sigaction(signal, action, previous);
    const ProductAction before = productActions[signal];
    struct sigaction installed = {};
    const struct sigaction* toInstall = nullptr;
    if (action != nullptr) {
        installed = *action;
        const bool handled = (action->sa_flags & SA_SIGINFO) != 0 ||
                             (action->sa_handler != SIG_DFL && action->sa_handler != SIG_IGN);
        if (handled) {
            productActions[signal].action = *action;
            installed.sa_sigaction = OnSignal;
            installed.sa_flags |= SA_SIGINFO;
        }
        productActions[signal].set = handled;
        toInstall = &installed;
    }
    const int result = Real().sigaction(signal, toInstall, previous);
    if (result != 0)
        productActions[signal] = before;
    else if (previous != nullptr && before.set)
        *previous = before.action;
    return result;
}

bool HasSignalHandler(int signal) {
    return signal > 0 && signal < kSignals && productActions[signal].set;
}

bool PendingSignalsRestart(const ProductThread& thread) {
    const std::uint64_t pending = __atomic_load_n(&thread.pendingSignals, __ATOMIC_ACQUIRE);
    for (int signal = 1; signal < kSignals; ++signal)
        if ((pending & Bit(signal)) != 0 && (productActions[signal].action.sa_flags & SA_RESTART) == 0)
            return false;
    return true;
}

void RunPendingSignals(ProductThread& self) {
    const int error = errno;
    std::uint64_t pending = __atomic_exchange_n(&self.pendingSignals, 0, __ATOMIC_ACQ_REL);
    for (int signal = 1; signal < kSignals; ++signal) {
        if ((pending & Bit(signal)) == 0)
            continue;
        siginfo_t info = {};
        info.si_signo = signal;
        if (productActions[signal].set)
            CallHandler(signal, &info, nullptr);
    }
    errno = error;
}

void AddPendingSignal(ProductThread& thread, int signal) {
    __atomic_or_fetch(&thread.pendingSignals, Bit(signal), __ATOMIC_ACQ_REL);
}

std::uint64_t TakeOutsideSignals() {
    return __atomic_exchange_n(&outsideSignals, 0, __ATOMIC_ACQ_REL);
}

void SetOutsideSignalEvent(int fd) {
    __atomic_store_n(&outsideEvent, fd, __ATOMIC_RELEASE);
}

}  // namespace k905
