#include "simulator/interpose/serial_terminal.h"

#include <fcntl.h>
#include <stdlib.h>

#include <stdexcept>

#include "simulator/interpose/real_calls.h"

namespace k905 {

SerialTerminal::SerialTerminal() {
    master_ = Real().open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64] = "";
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0 ||
        ptsname_r(master_, name, sizeof name) != 0)
        throw std::runtime_error("no pseudo-terminal for the serial port");
    name_ = name;
    keeper_ = Open(O_RDWR | O_CLOEXEC);
    if (keeper_ < 0)
        throw std::runtime_error("cannot open the pseudo-terminal " + name_);
}

SerialTerminal::~SerialTerminal() {
    Real().close(keeper_);
    Real().close(master_);
}

int SerialTerminal::Open(int flags) const {
    return Real().open(name_.c_str(), flags | O_NOCTTY, 0);
}

}  // namespace k905
