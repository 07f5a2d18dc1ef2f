// Every live thread of the product, in order of creation.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulator/interpose/product_thread.h"

namespace k905 {

// The product's function that runs a screen: a thread of its own for each.
constexpr const char* kScreenThread = "DefaultWindowThread";

class ThreadTable {
  public:
    ProductThread& Add(std::string label);
    // Forgets a thread that has ended and that nobody can join any more.
    void Remove(ProductThread& thread);
    ProductThread* Find(pthread_t handle) const;
    ProductThread* ByOrdinal(int ordinal) const;
    const std::vector<std::unique_ptr<ProductThread>>& All() const { return threads_; }

    // Name by which people call the thread with that ordinal, also after its end.
    const std::string& Label(int ordinal) const;
    // Ordinals of all threads, living or ended, with that label.
    std::set<int> WithLabel(const std::string& label) const;

  private:
    std::vector<std::unique_ptr<ProductThread>> threads_;
    std::vector<std::string> labels_;
};

}  // namespace k905
