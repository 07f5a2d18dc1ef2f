#include "simulator/panel/panel_server.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "simulator/panel/control_client.h"
#include "simulator/panel/page_files.h"

namespace k905 {

namespace {

constexpr int kThreads = 24;  // each open page holds one while it waits for the screen to change
constexpr auto kLookEvery = std::chrono::milliseconds(25);
constexpr auto kHoldScreen = std::chrono::seconds(5);
constexpr int kDeepestJson = 16;

void Answer(httplib::Response& response, int status, const nlohmann::json& body) {
    response.status = status;
    response.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
                         "application/json");
}

void Refuse(httplib::Response& response, int status, const std::string& error) {
    Answer(response, status, {{"ok", false}, {"error", error}});
}

// The object in `body`, or null: what is nested deeper than any request is none.
nlohmann::json ParseRequest(const std::string& body) {
    bool deep = false;
    const auto shallow = [&](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        deep = deep || depth > kDeepestJson;
        return depth <= kDeepestJson;
    };
    nlohmann::json request = nlohmann::json::parse(body, shallow, false);
    if (deep || !request.is_object() || !request.contains("do") || !request["do"].is_string())
        return nullptr;
    return request;
}

}  // namespace

// A page may outlive the server that it came from: numbers of another server mean nothing here.
FrameLog::FrameLog()
    : number_(static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                             std::chrono::system_clock::now().time_since_epoch())
                                             .count())),
      first_(number_),
      changedAt_(kScreenHeight) {}

void FrameLog::Update(const Picture& picture) {
    const bool fresh = last_.bytes.size() != picture.bytes.size();
    bool changed = false;
    for (int y = 0; y < static_cast<int>(kScreenHeight); ++y) {
        if (!fresh && std::memcmp(last_.Row(y), picture.Row(y), picture.RowBytes()) == 0)
            continue;
        changedAt_[static_cast<std::size_t>(y)] = number_ + 1;
        changed = true;
    }
    if (changed) {
        ++number_;
        last_ = picture;
    }
}

FrameLog::Change FrameLog::Since(std::uint64_t since) const {
    Change change;
    if (number_ == first_)
        return change;
    const bool known = since > first_ && since <= number_;
    int bottom = 0;
    change.top = static_cast<int>(kScreenHeight);
    for (int y = 0; y < static_cast<int>(kScreenHeight); ++y)
        if (!known || changedAt_[static_cast<std::size_t>(y)] > since) {
            change.top = std::min(change.top, y);
            bottom = y + 1;
        }
    change.rows = std::max(0, bottom - change.top);
    change.rgba = last_.Rgba(change.rows > 0 ? change.top : 0, change.rows);
    return change;
}

PanelServer::PanelServer(PanelInstrument& instrument)
    : instrument_(instrument), server_(std::make_unique<httplib::Server>()) {
    server_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_->set_payload_max_length(kLargestBody);
    server_->set_keep_alive_timeout(2);
    server_->set_socket_options([](int socket) {
        // Only what lets a restarted server have its port back; two servers on one port would share the
        // callers.
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_->set_default_headers({{"Cache-Control", "no-store"},
                                  {"Content-Security-Policy", "default-src 'self'; frame-ancestors 'none'"},
                                  {"X-Content-Type-Options", "nosniff"}});
    server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        return FromHere(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                           : httplib::Server::HandlerResponse::Handled;
    });
    server_->set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty())
            Refuse(response, response.status,
                   response.status == 413 ? "the request is too long" : "there is nothing here");
    });

    ServePage();
    server_->Get("/screen", [this](const auto& request, auto& response) { ServeScreen(request, response); });
    server_->Get("/status", [this](const auto&, auto& response) { ServeStatus(response); });
    const auto post = [this](const char* path, auto handler) {
        server_->Post(path, [handler](const httplib::Request& request, httplib::Response& response,
                                      const httplib::ContentReader& content) {
            std::string body;
            bool tooLong = false;
            const bool complete = content([&](const char* data, std::size_t size) {
                tooLong = tooLong || body.size() + size > kLargestBody;
                if (!tooLong)
                    body.append(data, size);
                return !tooLong;
            });
            if (tooLong || response.status == 413)
                Refuse(response, 413,
                       "the request is longer than " + std::to_string(kLargestBody) + " bytes");
            else if (!complete)
                Refuse(response, 400, "the request is incomplete");
            else if (request.get_header_value("Content-Type").rfind("application/json", 0) != 0)
                Refuse(response, 415, "the request must be application/json");
            else
                handler(body, response);
        });
    };
    post("/api", [this](const std::string& body, httplib::Response& response) { ServeApi(body, response); });
    post("/restart", [this](const std::string&, httplib::Response& response) {
        instrument_.Restart();
        Answer(response, 202, {{"ok", true}});
    });
}

PanelServer::~PanelServer() = default;

int PanelServer::Bind(int port, int attempts) {
    if (port == 0) {
        port_ = server_->bind_to_any_port("127.0.0.1");
    } else {
        for (int candidate = port; port_ == 0 && candidate < port + attempts && candidate <= 65535;
             ++candidate)
            if (server_->bind_to_port("127.0.0.1", candidate))
                port_ = candidate;
    }
    if (port_ <= 0)
        throw BenchError("no free port at 127.0.0.1 from " + std::to_string(port) + " on");
    return port_;
}

void PanelServer::Serve() {
    if (!stopping_)
        server_->listen_after_bind();
    served_ = true;
}

void PanelServer::Stop() {
    stopping_ = true;
    // A server that is not listening yet would not notice.
    while (!served_ && !server_->is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!served_)
        server_->stop();
}

// A page from elsewhere must not drive the instrument, whatever name it has made resolve to this machine.
bool PanelServer::FromHere(const httplib::Request& request, httplib::Response& response) const {
    const std::string port = ":" + std::to_string(port_);
    const std::string host = request.get_header_value("Host");
    const std::string origin = request.get_header_value("Origin");
    const bool hostIsOurs = host == "127.0.0.1" + port || host == "localhost" + port;
    const bool originIsOurs = !request.has_header("Origin") || origin == "http://127.0.0.1" + port ||
                              origin == "http://localhost" + port;
    if (hostIsOurs && originIsOurs)
        return true;
    Refuse(response, 403, hostIsOurs ? "foreign Origin" : "foreign Host");
    return false;
}

void PanelServer::ServePage() {
    for (std::size_t i = 0; i < kPageFileCount; ++i) {
        const PageFile& file = kPageFiles[i];
        server_->Get(file.path, [&file](const httplib::Request&, httplib::Response& response) {
            response.set_content(reinterpret_cast<const char*>(file.data), file.size, file.type);
        });
    }
}

// Rows of the screen that changed since the frame that the page has; held back until something has.
void PanelServer::ServeScreen(const httplib::Request& request, httplib::Response& response) {
    const std::uint64_t since = std::strtoull(request.get_param_value("since").c_str(), nullptr, 10);
    const auto deadline = std::chrono::steady_clock::now() + kHoldScreen;
    for (;;) {
        Picture picture;
        if (instrument_.Screen(picture)) {
            const std::lock_guard<std::mutex> guard(framesMutex_);
            frames_.Update(picture);
            FrameLog::Change change = frames_.Since(since);
            if (change.rows > 0) {
                response.set_header("X-Frame", std::to_string(frames_.Number()));
                response.set_header("X-Top", std::to_string(change.top));
                response.set_header("X-Rows", std::to_string(change.rows));
                response.set_content(std::string(change.rgba.begin(), change.rgba.end()),
                                     "application/octet-stream");
                return;
            }
        }
        if (stopping_ || std::chrono::steady_clock::now() > deadline) {
            response.status = 204;
            return;
        }
        std::this_thread::sleep_for(kLookEvery);
    }
}

void PanelServer::ServeStatus(httplib::Response& response) {
    const PanelInstrument::Status status = instrument_.GetStatus();
    Answer(response, 200, {{"running", status.running}, {"how", status.how}, {"lines", status.lines}});
}

void PanelServer::ServeApi(const std::string& body, httplib::Response& response) {
    nlohmann::json request = ParseRequest(body);
    if (request.is_null())
        return Refuse(response, 400, "not a request: a JSON object with \"do\" is expected");
    if (request["do"] == "screenshot") {
        // Whoever can send requests must not thereby write files anywhere.
        const std::string name =
            request.contains("path") && request["path"].is_string() ? request["path"] : "";
        if (name.empty() || name.find('/') != std::string::npos || name[0] == '.')
            return Refuse(response, 400,
                          "\"path\" must be a plain file name; the file is put into the state folder");
        request["path"] = instrument_.StateDir() + "/" + name;
    }
    try {
        Answer(response, 200, instrument_.Ask(request));
    } catch (const BenchError& error) {
        Refuse(response, 502, error.what());
    }
}

}  // namespace k905
