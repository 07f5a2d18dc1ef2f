// A pseudo-terminal that stands for the serial port, so that termios calls of the product are real. No byte
// passes through it: those come from the measurement board's model.
#pragma once

#include <string>

namespace k905 {

class SerialTerminal {
  public:
    // Throws std::runtime_error when the host has no pseudo-terminals.
    SerialTerminal();
    ~SerialTerminal();
    SerialTerminal(const SerialTerminal&) = delete;
    SerialTerminal& operator=(const SerialTerminal&) = delete;

    // A new descriptor of the port, or -1 with errno. The port keeps its settings from one opening to the
    // next.
    int Open(int flags) const;

  private:
    int master_ = -1;
    int keeper_ = -1;  // holds the port open, and with it its settings
    std::string name_;
};

}  // namespace k905
