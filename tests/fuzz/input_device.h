// Files and devices out of an input: while an InputDevice lives, every path that the program opens is it, in
// memory, and the program's pauses take no time. The linker sends the calls here (CMakeLists.txt).
#pragma once

#include "tests/fuzz/target.h"

namespace fuzz {

class InputDevice {
  public:
    enum Kind {
        kFile,    // the input is its content
        kStream,  // the input tells how each call comes out, and then what a read gets
    };
    // One at a time. `atEnd`, unless null, is called by each call of a stream that finds nothing left.
    InputDevice(Kind kind, const uint8_t* bytes, size_t size, void (*atEnd)() = nullptr);
    ~InputDevice();
    InputDevice(const InputDevice&) = delete;
    InputDevice& operator=(const InputDevice&) = delete;

    // A stream goes on with these bytes.
    void Feed(const uint8_t* bytes, size_t size) { rest_ = Input(bytes, size); }
    // What is left of a stream, for the target's own choices.
    Input& Rest() { return rest_; }
    bool AtEnd() const { return rest_.Left() == 0; }
    // Descriptors that are open.
    int Open() const;

    // What the last read of a stream has got; its count is what the read returned.
    const uint8_t* LastRead() const { return read_; }
    long LastCount() const { return readCount_; }
    // What the last write has taken, its first 128 bytes.
    const uint8_t* LastWritten() const { return written_; }
    long LastWrittenCount() const { return writtenCount_; }

  private:
    friend struct Calls;
    static constexpr int kDescriptors = 4;

    const Kind kind_;
    const uint8_t* const bytes_;
    const size_t size_;
    void (*const atEnd_)();
    Input rest_;
    bool open_[kDescriptors] = {};
    size_t offset_[kDescriptors] = {};
    const uint8_t* read_ = nullptr;
    long readCount_ = 0;
    uint8_t written_[128] = {};
    long writtenCount_ = 0;
};

}  // namespace fuzz
