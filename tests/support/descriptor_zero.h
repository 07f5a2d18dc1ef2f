// Descriptor 0 is as good as any other: a program that was started without a standard input gets it for the
// first file that it opens.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace test {

// While it lives, 0 is free, but for what the test opens; then it is what it was before.
class DescriptorZero {
  public:
    DescriptorZero() : kept_(fcntl(0, F_DUPFD_CLOEXEC, 100)) { close(0); }
    ~DescriptorZero() {
        close(0);
        if (kept_ >= 0) {
            dup2(kept_, 0);
            close(kept_);
        }
    }
    DescriptorZero(const DescriptorZero&) = delete;
    DescriptorZero& operator=(const DescriptorZero&) = delete;

    static bool IsFree() { return fcntl(0, F_GETFD) < 0; }

  private:
    int kept_;
};

}  // namespace test
