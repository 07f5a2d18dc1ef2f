// What a client sends to the panel's web server as its first request: what is served, upgraded or refused.
#include <string>

#include "simulator/panel/web_server.h"
#include "tests/fuzz/target.h"

namespace {

using fuzz::Holds;
using k905::WebDecision;

constexpr int kPort = 8905;

void Run(const uint8_t* bytes, size_t size) {
    const std::string sent(reinterpret_cast<const char*>(bytes), size);
    const WebDecision decision = k905::DecideOn(sent, kPort);
    const bool refused = decision.refusal.status != 0;
    Holds(refused == !decision.refusal.error.empty(), "a refusal has a text");
    Holds(!refused || (decision.refusal.status >= 400 && decision.refusal.status < 500),
          "a refusal is the client's");
    if (!decision.taken) {
        Holds(decision.request.path.empty() && !decision.live, "nothing of a request that is not taken");
        return;
    }
    Holds(!refused, "what is taken is not refused");
    Holds(
        sent.find("127.0.0.1:8905") != std::string::npos || sent.find("localhost:8905") != std::string::npos,
        "a request names this server");
    Holds(decision.live ? decision.request.path == k905::WebServer::kLivePath
                        : !decision.request.method.empty(),
          "a request has a method, a live page its path");
}

const fuzz::Target target("web", Run);

}  // namespace
