#include "simulator/panel/panel_server.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

#include "simulator/models/json_values.h"
#include "simulator/panel/control_client.h"
#include "simulator/panel/instrument_files.h"
#include "simulator/panel/page_files.h"

namespace k905 {

namespace {

constexpr int kDeepestJson = 16;
constexpr unsigned kStatusEvery = 12;       // looks at the screen
constexpr off_t kConsoleFirst = 64 * 1024;  // of the console, for a page that has come
constexpr std::size_t kConsolePiece = 16 * 1024;

WebReply Answer(int status, const nlohmann::json& body) {
    return {status, "application/json", body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
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

nlohmann::json Describe(const PanelInstrument::Status& status) {
    nlohmann::json past;
    if (status.past)
        past = {{"run", status.past->run}, {"at_us", status.past->us}};
    return {{"run", status.run},
            {"running", status.running},
            {"how", status.how},
            {"lines", status.lines},
            {"past", past}};
}

// "%20" and the like; "" if it is malformed.
std::string Decode(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size() || std::isxdigit(static_cast<unsigned char>(text[i + 1])) == 0 ||
            std::isxdigit(static_cast<unsigned char>(text[i + 2])) == 0)
            return "";
        out.push_back(static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)));
        i += 2;
    }
    return out.find('\0') == std::string::npos ? out : "";
}

// The example scripts that are served as files of the page.
nlohmann::json ExampleNames() {
    const std::string folder = "/examples/";
    nlohmann::json names = nlohmann::json::array();
    for (std::size_t i = 0; i < kPageFileCount; ++i)
        if (const std::string path = kPageFiles[i].path; path.rfind(folder, 0) == 0)
            names.push_back(path.substr(folder.size()));
    return names;
}

}  // namespace

// One page: fct's status when it changes, its output as it grows, and the screen, of which the next frame
// leaves when the page has drawn the one before.
class PageFeed final : public LiveFeed {
  public:
    explicit PageFeed(PanelServer& server) : server_(server), page_(server.holds_.Open()) {}
    ~PageFeed() override { server_.PageGone(page_); }

    bool Next(std::string& message, bool& binary) override {
        binary = true;
        if (status_ != server_.statusNumber_) {
            status_ = server_.statusNumber_;
            binary = false;
            nlohmann::json status = Describe(server_.status_);
            status["page"] = page_;
            message = status.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
            return true;
        }
        if (frameSeen_ && frame_ != server_.frames_.Number()) {
            message = server_.frames_.Message(frame_);
            frame_ = server_.frames_.Number();
            frameSeen_ = message.empty();
            return !message.empty();
        }
        return NextOutput(message);
    }

    // The page has drawn frame {"seen": number}.
    bool Received(const std::string& message) override {
        const nlohmann::json seen = nlohmann::json::parse(message, nullptr, false);
        if (!seen.is_object() || !seen.contains("seen") || !seen["seen"].is_number_unsigned())
            return false;
        frameSeen_ = frameSeen_ || seen["seen"] == frame_;
        return true;
    }

  private:
    // 1 byte 'C' (or 'N' for the first piece of a new run's), then bytes of the console as they are.
    bool NextOutput(std::string& message) {
        if (looked_ == server_.looks_ / kStatusEvery)
            return false;
        const std::string path = server_.stateDir_ + "/console.log";
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status = {};
        if (fd < 0 || fstat(fd, &status) != 0) {
            if (fd >= 0)
                close(fd);
            return false;
        }
        const bool other = run_ != server_.status_.run || status.st_size < console_;
        if (other) {
            run_ = server_.status_.run;
            console_ = std::max<off_t>(0, status.st_size - kConsoleFirst);
        }
        message.assign(1, other ? 'N' : 'C');
        message.resize(1 + kConsolePiece);
        const ssize_t count = pread(fd, message.data() + 1, kConsolePiece, console_);
        close(fd);
        message.resize(1 + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        console_ += std::max<ssize_t>(count, 0);
        if (count < static_cast<ssize_t>(kConsolePiece))
            looked_ = server_.looks_ / kStatusEvery;
        return message.size() > 1 || other;
    }

    PanelServer& server_;
    const unsigned page_;
    unsigned status_ = ~0u;
    std::uint32_t frame_ = 0;
    bool frameSeen_ = true;
    unsigned run_ = ~0u;  // whose output it is
    off_t console_ = 0;
    unsigned looked_ = ~0u;
};

PanelServer::PanelServer(PanelInstrument& instrument, std::chrono::milliseconds silence)
    : instrument_(instrument), server_(*this, silence) {}

int PanelServer::Bind(int port, int attempts) {
    const int bound = server_.Bind(port, attempts);
    if (bound == 0)
        throw BenchError("no free port at 127.0.0.1 from " + std::to_string(port) + " on");
    return bound;
}

std::unique_ptr<LiveFeed> PanelServer::Open() {
    UpdateStatus();
    return std::make_unique<PageFeed>(*this);
}

void PanelServer::Look() {
    instrument_.Look(frames_);
    if (++looks_ % kStatusEvery == 0)
        UpdateStatus();
}

void PanelServer::UpdateStatus() {
    const PanelInstrument::Status status = instrument_.GetStatus();
    if (!(status == status_))
        ++statusNumber_;
    status_ = status;
    stateDir_ = instrument_.StateDir();
}

// Its keys and fingers are let go of.
void PanelServer::PageGone(unsigned page) {
    std::vector<nlohmann::json> releases = holds_.Close(page);
    if (!releases.empty())
        server_.Work([this, releases = std::move(releases)] { LetGo(releases); });
}

void PanelServer::LetGo(const std::vector<nlohmann::json>& releases) {
    for (const nlohmann::json& release : releases)
        try {
            instrument_.Ask(release);
        } catch (const BenchError&) {
            // without power nothing is down
        }
}

WebReply PanelServer::Refuse(int status, const std::string& error) {
    return Answer(status, {{"ok", false}, {"error", error}});
}

WebReply PanelServer::Serve(const WebRequest& request) {
    const std::string path = request.path.substr(0, request.path.find('?'));
    constexpr const char* kFiles = "/files/";
    if (request.method == "POST") {
        if (path != "/api")
            return Refuse(404, "there is nothing here");
        if (request.type.rfind("application/json", 0) != 0)
            return Refuse(415, "the request must be application/json");
        return ServeApi(request);
    }
    if (request.method != "GET")
        return Refuse(405, "only GET and POST are served");
    for (std::size_t i = 0; i < kPageFileCount; ++i) {
        const PageFile& file = kPageFiles[i];
        if (path == file.path)
            return {200, file.type, std::string(reinterpret_cast<const char*>(file.data), file.size)};
    }
    if (path == "/status")
        return Answer(200, Describe(instrument_.GetStatus()));
    if (path == "/examples")
        return Answer(200, {{"ok", true}, {"names", ExampleNames()}});
    if (path == "/files") {
        nlohmann::json list = nlohmann::json::array();
        for (const InstrumentFile& file : ListInstrumentFiles(instrument_.StateDir()))
            list.push_back({{"path", file.path}, {"size", file.size}, {"modified", file.modified}});
        return Answer(200, {{"ok", true}, {"files", list}});
    }
    WebReply reply = {200, "application/octet-stream", ""};
    if (path.rfind(kFiles, 0) == 0 &&
        ReadInstrumentFile(instrument_.StateDir(),
                           Decode(path.substr(std::char_traits<char>::length(kFiles))), reply.body))
        return reply;
    return Refuse(404, "there is nothing here");
}

WebReply PanelServer::ServeApi(const WebRequest& request) {
    nlohmann::json asked = ParseRequest(request.body);
    if (asked.is_null())
        return Refuse(400, "not a request: a JSON object with \"do\" is expected");
    if (asked["do"] == "screenshot") {
        // Whoever can send requests must not thereby write files anywhere.
        const std::string name = asked.contains("path") && asked["path"].is_string() ? asked["path"] : "";
        if (name.empty() || name.find('/') != std::string::npos || name[0] == '.')
            return Refuse(400, "\"path\" must be a plain file name; the file is put into the state folder");
        asked["path"] = instrument_.StateDir() + "/" + name;
    }
    unsigned page = 0;
    if (asked.contains("page") && asked["page"].is_number_unsigned())
        page = asked["page"];
    asked.erase("page");
    if (page != 0 && !holds_.Note(page, asked))
        return Refuse(409, "this page's connection to the launcher is lost");
    if (asked["do"] == "script") {
        if (page == 0 || !asked.contains("on") || !asked["on"].is_boolean())
            return Refuse(400,
                          "a script's run is a page's: \"page\", and \"on\" true or false, are expected");
        if (!holds_.RunScript(page, asked["on"]))
            return Refuse(200, "a script of another page runs");
        return Answer(200, {{"ok", true}});
    }
    try {
        const nlohmann::json reply = instrument_.Ask(asked);
        if (page != 0 && PageHolds::Presses(asked) && !holds_.IsOpen(page))  // gone meanwhile
            LetGo({PageHolds::Release(asked)});
        return Answer(reply.value("ok", false) || page != 0 ? 200 : 400, reply);
    } catch (const Refused& error) {
        return Refuse(page != 0 ? 200 : 400, error.what());  // a browser would write it into its console
    } catch (const NotNow& error) {
        return Refuse(page != 0 ? 200 : 409, error.what());
    } catch (const std::exception& error) {
        return Refuse(502, ReasonOf(error));
    }
}

}  // namespace k905
