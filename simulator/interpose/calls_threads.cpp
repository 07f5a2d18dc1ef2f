// Entry points: threads. A thread made by the product runs under the simulator's clock and scheduler from its
// first instruction to its end.
#include <sched.h>

#include "simulator/interpose/call.h"
#include "simulator/interpose/symbols.h"

using namespace k905;

namespace {

// The product's function is over, by its return or by pthread_exit: the end is the C library's.
class Returning {
  public:
    explicit Returning(ProductThread& self) : self_(self) {}
    ~Returning() {
        Inside inside;
        Guard guard(self_.machine->lock);
        self_.machine->Running().Return(self_);
    }
    Returning(const Returning&) = delete;
    Returning& operator=(const Returning&) = delete;

  private:
    ProductThread& self_;
};

void* RunThread(void* argument) {
    auto& self = *static_cast<ProductThread*>(argument);
    void* (*entry)(void*) = nullptr;
    void* entryArgument = nullptr;
    {
        Inside inside;
        pthread_setspecific(ThreadEndKey(), &self);
        Guard guard(self.machine->lock);
        self.handle = pthread_self();
        self.machine->Running().Begin(self);
        entry = self.entry;
        entryArgument = self.argument;
        threadContext.self = &self;
    }
    const Returning returning(self);
    return entry(entryArgument);
}

bool MadeDetached(const pthread_attr_t* attributes) {
    int state = PTHREAD_CREATE_JOINABLE;
    return attributes != nullptr && pthread_attr_getdetachstate(attributes, &state) == 0 &&
           state == PTHREAD_CREATE_DETACHED;
}

}  // namespace

K905_ENTRY(int, pthread_create,
           (pthread_t * thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument)) {
    Call call;
    if (!call)
        return Real().pthread_create(thread, attributes, entry, argument);
    call.Charge(cost::kThread);
    ProductThread& made = call->threads.Add(SymbolName(reinterpret_cast<const void*>(entry)));
    made.machine = call.operator->();
    made.detached = MadeDetached(attributes);
    made.entry = entry;
    made.argument = argument;
    const int result = Real().pthread_create(thread, attributes, RunThread, &made);
    if (result != 0) {
        call->threads.Remove(made);
        return result;
    }
    made.handle = *thread;
    if (made.label == kScreenThread)
        call->Mark("screen");
    call->Running().Made(made);
    return 0;
}

K905_ENTRY(int, pthread_join, (pthread_t thread, void** result)) {
    Call call;
    if (!call)
        return Real().pthread_join(thread, result);
    call.Charge(cost::kThread);
    ProductThread* other = call->threads.Find(thread);
    if (other == nullptr || other == &call.Self()) {
        call.Release();
        return Real().pthread_join(thread, result);
    }
    while (other->state != ThreadState::kDone) {
        Waiting waiting;
        waiting.reason = "join";
        waiting.object = other;
        waiting.interruptible = false;
        call.Wait(waiting);
    }
    call->threads.Remove(*other);
    call.Release();
    return Real().pthread_join(thread, result);
}

// A thread that has ended for the scheduler is joined for good: the host may take another moment to agree.
K905_ENTRY(int, pthread_tryjoin_np, (pthread_t thread, void** result)) {
    Call call;
    if (!call)
        return Real().pthread_tryjoin_np(thread, result);
    call.Charge(cost::kThread);
    ProductThread* other = call->threads.Find(thread);
    if (other == nullptr)
        return Real().pthread_tryjoin_np(thread, result);
    if (other->state != ThreadState::kDone)
        return EBUSY;
    call->threads.Remove(*other);
    call.Release();
    return Real().pthread_join(thread, result);
}

K905_ENTRY(int, pthread_detach, (pthread_t thread)) {
    Call call;
    if (!call)
        return Real().pthread_detach(thread);
    ProductThread* other = call->threads.Find(thread);
    if (other != nullptr) {
        other->detached = true;
        if (other->state == ThreadState::kDone)
            call->threads.Remove(*other);
    }
    return Real().pthread_detach(thread);
}

K905_ENTRY(int, pthread_kill, (pthread_t thread, int signal)) {
    Call call;
    if (!call || signal == 0 || !HasSignalHandler(signal))
        return Real().pthread_kill(thread, signal);
    call.Charge(cost::kMutex);
    ProductThread* other = call->threads.Find(thread);
    if (other == nullptr || other->state == ThreadState::kDone)
        return Real().pthread_kill(thread, signal);
    AddPendingSignal(*other, signal);
    if (other != &call.Self())
        call->Running().Interrupt(*other);
    // A thread that runs the product's own code at this moment has to be stopped by the kernel.
    return call->Stepped() || other == &call.Self() ? 0 : Real().pthread_kill(thread, signal);
}

K905_ENTRY(int, sched_yield, (void)) {
    Call call;
    if (!call)
        return Real().sched_yield();
    call.Charge(cost::kQuantum);
    call.Release();
    return call->Stepped() ? 0 : Real().sched_yield();
}
