#include "simulator/interpose/turns.h"

#include <sched.h>
#include <stdlib.h>

#include <stdexcept>
#include <string>

namespace k905 {

namespace {

// One thread runs at a time: on one processor the next starts at once, on two it first has to be woken there,
// which takes several times as long. Where this is not allowed it only goes slower.
void StayOnThisProcessor() {
    const int processor = sched_getcpu();
    cpu_set_t one;
    CPU_ZERO(&one);
    if (processor >= 0 && processor < CPU_SETSIZE) {
        CPU_SET(static_cast<unsigned>(processor), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
}

class SystemTurns final : public Turns {
  public:
    explicit SystemTurns(Lock& lock) : lock_(lock) { StayOnThisProcessor(); }

    void Made(ProductThread&) override {}
    void Begin(ProductThread& self) override {
        if (self.ordinal != 0)
            Pass(self, nullptr);
    }
    // The next is woken without the lock, which is the first thing that it wants.
    void Pass(ProductThread& self, ProductThread* next) override {
        lock_.unlock();
        if (next != nullptr)
            next->parking.Give();
        self.parking.Take();
        lock_.lock();
    }
    void Wake(ProductThread& next) override { next.parking.Give(); }
    void Return(ProductThread&) override {}
    void End(ProductThread&, ProductThread* next) override {
        if (next != nullptr)
            Wake(*next);
    }

  private:
    Lock& lock_;
};

}  // namespace

std::unique_ptr<Turns> MakeTurns(Lock& lock) {
    const char* setting = getenv("K905_THREADS");
    const std::string way = setting != nullptr ? setting : "";
    if (!way.empty() && way != "carried" && way != "system")
        throw std::runtime_error("K905_THREADS=" + way + " is neither carried nor system");
#ifdef K905_CARRIED_THREADS
    if (way != "system")
        return MakeCarriedTurns(lock);
#endif
    return std::make_unique<SystemTurns>(lock);
}

}  // namespace k905
