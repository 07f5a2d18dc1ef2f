// What made a value of the instrument: a register's, an EEPROM byte's, or a text on the screen. The
// instrument knows the write of its own run; the rest is found by running the session again.
#pragma once

#include <functional>

#include "simulator/panel/session.h"

namespace k905 {

struct OriginQuestion {      // NOLINT(bugprone-exception-escape): making a null JSON value throws nothing
    nlohmann::json request;  // {"register"}, {"memory", "at"} or {"text", "x", "y"}
    std::size_t run = 0;     // that is looked at
    // The instrument as it is looked at, at the moment that is asked about.
    std::function<nlohmann::json(const nlohmann::json&)> ask;
    // Whether nobody waits for the answer any more.
    std::function<bool()> stopped;
    // The session; called behind that, so that it holds every input until then.
    std::function<Session()> session;
};

// The reply: found, run, at_us, what, thread and value, as docs/control.md has them. A matter of seconds, in
// instruments of its own that end with it. Throws BenchError, NotNow when it was stopped.
nlohmann::json FindOrigin(const OriginQuestion& question);

}  // namespace k905
