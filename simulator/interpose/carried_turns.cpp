// One system thread, the carrier, runs every thread of the product, going from stack to stack. Each thread
// still has a system thread of its own, which lends what a thread is made of: its stack, as large as the
// product asked for and with its guard pages, and its thread pointer, on which everything hangs that belongs
// to one thread: errno, thread-local and thread-specific data, exceptions in flight, pthread_self(), and so
// the ownership of mutexes and streams. The lender waits meanwhile on a small stack beside. It takes its
// thread back for the end, so that pthread_exit, cancellation, destructors and joining are the C library's
// own.
//
// The carrier is main's system thread. Compiled only where the thread pointer can be set (x86-64).
#include <asm/prctl.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <boost/context/fiber.hpp>
#include <boost/context/stack_context.hpp>
#include <new>
#include <utility>

#include "simulator/interpose/turns.h"

namespace k905 {

using boost::context::fiber;

// What a system thread has lent to the carrier.
struct Loan {
    fiber rest;  // what its stack goes on with, while the carrier is on another
    void* threadPointer = nullptr;
    sigset_t signals = {};  // that the lender holds back otherwise
};

namespace {

// Where a system thread waits that has lent its stack. From operator new, as all the simulator's own memory:
// tests let malloc fail.
struct WaitingStack {
    static boost::context::stack_context allocate() {
        boost::context::stack_context stack;
        stack.size = 32 * 1024;
        stack.sp = static_cast<char*>(::operator new(stack.size)) + stack.size;
        return stack;
    }
    static void deallocate(const boost::context::stack_context& stack) {
        ::operator delete(static_cast<char*>(stack.sp) - stack.size);
    }
};

void SetThreadPointer(void* pointer) {
    constexpr unsigned long kFsGsBase = 2;  // in AT_HWCAP2: the kernel lets programs do it themselves
    static const bool direct = (getauxval(AT_HWCAP2) & kFsGsBase) != 0;
    if (direct)
        asm volatile("wrfsbase %0" : : "r"(pointer) : "memory");
    else
        syscall(SYS_arch_prctl, ARCH_SET_FS, pointer);
}

// Goes on with what was lent; `keep` gets, on that stack, what the one left behind goes on with.
template <typename Keep>
void GoTo(Loan& loan, Keep keep) {
    SetThreadPointer(loan.threadPointer);
    std::move(loan.rest).resume_with([&keep](fiber&& rest) {
        keep(std::move(rest));
        return fiber();
    });
}

class CarriedTurns final : public Turns {
  public:
    explicit CarriedTurns(Lock& lock) : lock_(lock) { lock.ServeCarrier(); }

    void Made(ProductThread&) override {
        lock_.unlock();
        lent_.Take();
        lock_.lock();
    }

    void Begin(ProductThread& self) override {
        if (self.ordinal == 0) {
            main_.threadPointer = __builtin_thread_pointer();
            self.loan = &main_;
        } else {
            lock_.unlock();
            Lend(self);  // the carrier brings the lock
        }
    }

    void Pass(ProductThread& self, ProductThread* next) override {
        if (self.loan == nullptr) {
            End(self, next);
            lock_.unlock();
            self.parking.Take();
            lock_.lock();
            return;
        }
        turn_ = next;
        if (next != nullptr && next->loan == nullptr)
            next->parking.Give();
        while (turn_ != &self) {
            if (turn_ != nullptr && turn_->loan != nullptr) {
                Loan& left = *self.loan;
                GoTo(*turn_->loan, [&left](fiber&& rest) { left.rest = std::move(rest); });
            } else {
                lock_.unlock();
                carrier_.Take();
                lock_.lock();
            }
        }
    }

    void Wake(ProductThread& next) override {
        turn_ = &next;
        (next.loan != nullptr ? carrier_ : next.parking).Give();
    }

    // The carrier goes to main's stack, where it finds that it is the turn of one that it does not carry.
    void Return(ProductThread& self) override {
        Loan& loan = *std::exchange(self.loan, nullptr);
        const sigset_t signals = loan.signals;
        turn_ = &self;
        GoTo(main_, [&](fiber&& rest) {
            loan.rest = std::move(rest);
            self.parking.Give();  // the last: from here on the stack that was left is its owner's
        });
        pthread_sigmask(SIG_SETMASK, &signals, nullptr);
        lock_.lock();
    }

    void End(ProductThread& self, ProductThread* next) override {
        if (self.loan != nullptr) {
            Pass(self, next);  // main has left early, and the carrier stays
        } else {
            turn_ = nullptr;
            if (next != nullptr)
                Wake(*next);
        }
    }

  private:
    void Lend(ProductThread& self) {
        sigset_t all;
        sigset_t signals;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &signals);
        fiber wait(std::allocator_arg, WaitingStack(), [&](fiber&& rest) {
            Loan loan = {std::move(rest), __builtin_thread_pointer(), signals};
            self.loan = &loan;
            lent_.Give();
            self.parking.Take();
            return std::move(loan.rest);
        });
        std::move(wait).resume();
    }

    Lock& lock_;
    Loan main_;
    ProductThread* turn_ = nullptr;
    ParkingPlace carrier_;  // for the carrier while it has nobody to run
    ParkingPlace lent_;     // for the creator of a thread until that is lent
};

}  // namespace

std::unique_ptr<Turns> MakeCarriedTurns(Lock& lock) {
    return std::make_unique<CarriedTurns>(lock);
}

}  // namespace k905
