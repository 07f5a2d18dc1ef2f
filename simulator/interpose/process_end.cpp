#include "simulator/interpose/process_end.h"

#include <utility>

#include "simulator/interpose/product_thread.h"

namespace k905 {

namespace {

// Allocated once and never freed: it is used while the process takes itself apart.
std::function<void()>* processEndAction = nullptr;

}  // namespace

void SetProcessEndAction(std::function<void()> action) {
    if (processEndAction == nullptr)
        processEndAction = new std::function<void()>;
    *processEndAction = std::move(action);
}

void OnProcessEnd() {
    Inside inside;
    if (processEndAction == nullptr || !*processEndAction)
        return;
    const auto action = std::exchange(*processEndAction, nullptr);
    action();
}

}  // namespace k905
