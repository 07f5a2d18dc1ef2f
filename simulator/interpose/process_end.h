// The product ends: whoever waits for that is told, and the control socket goes.
#pragma once

#include <functional>

namespace k905 {

// What to do when the product ends by itself (exit, return from main, _exit). Null: nothing.
void SetProcessEndAction(std::function<void()> action);

// Does it, once.
void OnProcessEnd();

}  // namespace k905
