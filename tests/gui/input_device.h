// A device node for tests: a FIFO in a temporary folder, held open at both ends so that neither side waits to
// open it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "gui/guievent.h"

namespace test {

class InputDevice {
  public:
    InputDevice() {
        EXPECT_NE(mkdtemp(folder_), nullptr);
        path_ = std::string(folder_) + "/node";
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        fd_ = open(path_.c_str(), O_RDWR);
        EXPECT_GE(fd_, 0);
    }
    ~InputDevice() {
        close(fd_);
        unlink(path_.c_str());
        rmdir(folder_);
    }
    InputDevice(const InputDevice&) = delete;
    InputDevice& operator=(const InputDevice&) = delete;

    const char* Path() const { return path_.c_str(); }
    void Send(const void* bytes, size_t size) const {
        ASSERT_EQ(write(fd_, bytes, size), static_cast<ssize_t>(size));
    }

  private:
    char folder_[32] = "/tmp/k905-node-XXXXXX";
    std::string path_;
    int fd_ = -1;
};

// The value of the first event that a reader thread queues; the event is freed. Fails after ten seconds.
inline unsigned AwaitEventValue(GUIEVENT* event) {
    for (int i = 0; i < 10000; ++i) {
        MutexLock(&event->Mutex);
        GUIEVENT_ITEM* item = ReadEventQueue(event);
        MutexUnlock(&event->Mutex);
        if (item != nullptr) {
            const unsigned value = item->uiEventValue;
            free(item);
            return value;
        }
        MsecSleep(1);
    }
    ADD_FAILURE() << "no event";
    return 0xFFFFFFFF;
}

}  // namespace test
