#include "simulator/interpose/thread_table.h"

#include <algorithm>

namespace k905 {

ProductThread& ThreadTable::Add(std::string label) {
    auto thread = std::make_unique<ProductThread>();
    thread->ordinal = static_cast<int>(labels_.size());
    thread->label = label.empty() ? "t" + std::to_string(thread->ordinal) : std::move(label);
    labels_.push_back(thread->label);
    threads_.push_back(std::move(thread));
    return *threads_.back();
}

void ThreadTable::Remove(ProductThread& thread) {
    threads_.erase(std::remove_if(threads_.begin(), threads_.end(),
                                  [&](const auto& entry) { return entry.get() == &thread; }),
                   threads_.end());
}

ProductThread* ThreadTable::Find(pthread_t handle) const {
    for (const auto& thread : threads_)
        if (pthread_equal(thread->handle, handle) != 0)
            return thread.get();
    return nullptr;
}

ProductThread* ThreadTable::ByOrdinal(int ordinal) const {
    for (const auto& thread : threads_)
        if (thread->ordinal == ordinal)
            return thread.get();
    return nullptr;
}

const std::string& ThreadTable::Label(int ordinal) const {
    static const std::string none = "-";
    return ordinal >= 0 && ordinal < static_cast<int>(labels_.size()) ? labels_[ordinal] : none;
}

std::set<int> ThreadTable::WithLabel(const std::string& label) const {
    std::set<int> ordinals;
    for (std::size_t i = 0; i < labels_.size(); ++i)
        if (labels_[i] == label)
            ordinals.insert(static_cast<int>(i));
    return ordinals;
}

}  // namespace k905
