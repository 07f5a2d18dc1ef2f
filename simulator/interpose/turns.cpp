#include "simulator/interpose/turns.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>

namespace k905 {

namespace {

class SystemTurns final : public Turns {
  public:
    explicit SystemTurns(Lock& lock) : lock_(lock) {}

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
