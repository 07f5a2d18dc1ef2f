// The panel's web server in front of a control socket that only the test serves.
#include "simulator/panel/panel_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "simulator/panel/client.h"
#include "tests/simulator/panel/web_client.h"

namespace k905 {
namespace {

using ::testing::HasSubstr;
using namespace std::chrono_literals;

// The stand-in for fct answers each request with `reply`.
class StubInstrument final : public PanelInstrument {
  public:
    explicit StubInstrument(const std::string& reply) : bench_(Options(reply)) {
        picture_.bytes.resize(picture_.shape.Bytes());
    }
    Status GetStatus() override {
        const std::lock_guard<std::mutex> guard(mutex_);
        return {1, ended_.empty(), ended_, {"last line"}};
    }
    nlohmann::json Ask(const nlohmann::json& request) override {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            asked_ = request;
            if (fail_)
                fail_();
        }
        while (hold_)
            std::this_thread::sleep_for(1ms);
        return bench_.Ask(request);
    }
    void Look(FrameLog& frames) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        frames.Update(picture_.shape, picture_.bytes.data());
    }
    std::string StateDir() override { return bench_.StateDir(); }

    void Paint(int x, int y, std::uint16_t pixel) {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::memcpy(&picture_.bytes[static_cast<std::size_t>(y) * picture_.shape.RowBytes() + x * 2u], &pixel,
                    2);
    }
    void PaintAll(std::uint8_t byte) {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::fill(picture_.bytes.begin(), picture_.bytes.end(), byte);
    }
    void SetEnded(const std::string& how) {
        const std::lock_guard<std::mutex> guard(mutex_);
        ended_ = how;
    }
    nlohmann::json Asked() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return asked_;
    }
    // What the next requests throw.
    void Fail(const std::function<void()>& fail) {
        const std::lock_guard<std::mutex> guard(mutex_);
        fail_ = fail;
    }
    void Forget() {
        const std::lock_guard<std::mutex> guard(mutex_);
        asked_ = nullptr;
    }

    std::atomic<bool> hold_{false};

  private:
    static BenchOptions Options(const std::string& reply) {
        BenchOptions options;
        options.build.program = std::string(K905_BINARY_DIR) + "/bin/panel_stub_fct";
        options.build.preload = std::string(K905_BINARY_DIR) + "/lib/libpanel_stub_preload.so";
        options.build.app = std::string(K905_BINARY_DIR) + "/app/fct";
        options.environment["STUB_REPLY"] = reply;
        return options;
    }
    Bench bench_;
    std::mutex mutex_;
    Picture picture_;
    std::string ended_;
    nlohmann::json asked_;
    std::function<void()> fail_;
};

class Server : public ::testing::Test {
  protected:
    void Start(const std::string& reply = R"({"ok":true,"answer":42})") {
        instrument_ = std::make_unique<StubInstrument>(reply);
        server_ = std::make_unique<PanelServer>(*instrument_, silence_);
        port_ = server_->Bind(0);
        serving_ = std::thread([this] { server_->Serve(); });
        client_ = std::make_unique<WebClient>(port_);
    }
    void TearDown() override {
        if (instrument_)
            instrument_->hold_ = false;
        if (server_)
            server_->Stop();
        if (serving_.joinable())
            serving_.join();
        server_.reset();
    }
    WebResult Api(const std::string& body, const WebClient::Headers& headers = {}) {
        return client_->Post("/api", body, headers);
    }

    std::unique_ptr<StubInstrument> instrument_;
    std::unique_ptr<PanelServer> server_;
    std::unique_ptr<WebClient> client_;
    std::thread serving_;
    std::chrono::milliseconds silence_ = PanelServer::kSilence;
    int port_ = 0;
};

unsigned Number(const std::string& bytes, std::size_t at, int count) {
    unsigned value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
    return value;
}

// The areas of a screen message, as its head tells them.
std::vector<Area> Areas(const std::string& message) {
    std::vector<Area> areas;
    for (unsigned i = 0; i < Number(message, 2, 2); ++i) {
        const std::size_t at = 12 + 8 * i;
        areas.push_back(
            {static_cast<int>(Number(message, at, 2)), static_cast<int>(Number(message, at + 2, 2)),
             static_cast<int>(Number(message, at + 4, 2)), static_cast<int>(Number(message, at + 6, 2))});
    }
    return areas;
}

TEST_F(Server, PassesRequestsOnAndRepliesBack) {
    Start();
    const WebResult result = Api(R"({"do":"key","key":"f1","action":"down"})");
    EXPECT_EQ(200, result.status);
    EXPECT_EQ(42, result.Json()["answer"]);
    EXPECT_EQ("f1", instrument_->Asked()["key"]);
}

TEST_F(Server, ServesThePage) {
    Start();
    for (const char* path : {"/", "/panel.css", "/panel.js", "/dygraph.min.js"}) {
        const WebResult result = client_->Get(path);
        EXPECT_EQ(200, result.status) << path;
        EXPECT_FALSE(result.body.empty()) << path;
    }
    EXPECT_THAT(client_->Get("/").body, HasSubstr("panel.js"));
    EXPECT_THAT(client_->Get("/").type, HasSubstr("text/html"));
    const nlohmann::json examples = client_->Get("/examples").Json()["names"];
    EXPECT_THAT(examples, ::testing::Contains("main_board.jsonl"));
    EXPECT_THAT(client_->Get("/examples/main_board.jsonl").body, HasSubstr("MainBoard_FCT"));
    EXPECT_EQ(404, client_->Get("/examples/none.jsonl").status);
    EXPECT_EQ(404, client_->Get("/nothing").status);
    EXPECT_EQ(404, client_->Get("/../main.cpp").status);
    EXPECT_EQ(
        405,
        client_->Raw("DELETE / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n\r\n").status);
}

TEST_F(Server, RefusesForeignOriginsAndHosts) {
    Start();
    const std::string own = "http://127.0.0.1:" + std::to_string(port_);
    EXPECT_EQ(200, Api(R"({"do":"hello"})", {{"Origin", own}}).status);
    instrument_->Forget();
    for (const char* origin : {"http://example.com", "null", "https://127.0.0.1", "http://127.0.0.1"}) {
        EXPECT_EQ(403, Api(R"({"do":"stop"})", {{"Origin", origin}}).status) << origin;
        EXPECT_THROW(LiveClient(port_, {{"Origin", origin}}), std::runtime_error) << origin;
    }
    for (const char* host : {"example.com", "127.0.0.1", "127.0.0.1.example.com"})
        for (const char* path : {"/", "/status", "/files"})
            EXPECT_EQ(403, client_->Get(path, {{"Host", host}}).status) << host << path;
    EXPECT_EQ(403, Api(R"({"do":"stop"})", {{"Host", "example.com:" + std::to_string(port_)}}).status);
    EXPECT_TRUE(instrument_->Asked().is_null()) << "a refused request reached the instrument";
    EXPECT_NO_THROW(LiveClient(port_, {{"Origin", own}}));
}

TEST_F(Server, RefusesMalformedRequests) {
    Start();
    for (const std::string& body :
         {std::string("nonsense"), std::string(""), std::string("[]"), std::string("{}"),
          std::string(R"({"do":7})"), std::string(60000, '['),
          R"({"do":"set","value":)" + std::string(1000, '[') + std::string(1000, ']') + "}"}) {
        const WebResult result = Api(body);
        EXPECT_EQ(400, result.status) << body.substr(0, 40);
        EXPECT_FALSE(result.Json()["ok"].get<bool>());
    }
    EXPECT_EQ(415, client_->Post("/api", R"({"do":"hello"})", {{"Content-Type", "text/plain"}}).status);
    EXPECT_EQ(400, client_->Raw("this is not HTTP\r\n\r\n").status);
    EXPECT_EQ(431, client_->Get("/", {{"X-Long", std::string(WebServer::kLargestHeader, 'x')}}).status);
    EXPECT_TRUE(instrument_->Asked().is_null());
    EXPECT_EQ(200, Api(R"({"do":"hello"})").status) << "the server still serves";
}

TEST_F(Server, RefusesOversizedBodies) {
    Start();
    const std::string filler(PanelServer::kLargestBody, ' ');
    EXPECT_EQ(413, Api(R"({"do":"hello"})" + filler).status);
    EXPECT_EQ(200, Api(R"({"do":"hello"})" + filler.substr(100)).status);
    // In pieces, so that no length announces it.
    std::string chunked = "POST /api HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                          "\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (int i = 0; i < 20; ++i)
        chunked += "2000\r\n" + filler.substr(0, 0x2000) + "\r\n";
    EXPECT_EQ(413, client_->Raw(chunked + "0\r\n\r\n").status);
    EXPECT_EQ(200, Api(R"({"do":"hello"})").status) << "the server still serves";
}

// What is told of bytes without a connection holds with one.
TEST_F(Server, DecidesOnBytesAsOnAConnection) {
    Start();
    const std::string get = "GET / HTTP/1.1\r\n", post = "POST /api HTTP/1.1\r\n";
    const std::string host = "Host: 127.0.0.1:" + std::to_string(port_) + "\r\n";
    const std::string type = "Content-Type: application/json\r\n", request = R"({"do":"hello"})";
    const std::string size = "Content-Length: " + std::to_string(request.size()) + "\r\n";
    for (const std::string& bytes :
         {get + host + "\r\n", get + "Host: example.com\r\n\r\n", get + host + "Origin: null\r\n\r\n",
          get + host + "Connection: Upgrade\r\nUpgrade: websocket\r\n\r\n",
          get + host + "X-Long: " + std::string(WebServer::kLargestHeader, 'x') + "\r\n\r\n",
          post + host + type + size + "\r\n" + request,
          post + host + type + "Content-Length: 70000\r\n\r\n" + std::string(70000, ' '),
          post + host + type + "Transfer-Encoding: chunked\r\n\r\ne\r\n" + request + "\r\n0\r\n\r\n",
          std::string("this is not HTTP\r\n\r\n")}) {
        const WebDecision decision = DecideOn(bytes, port_);
        EXPECT_EQ(client_->Raw(bytes).status, decision.taken ? 200 : decision.refusal.status)
            << bytes.substr(0, 100);
        EXPECT_EQ(decision.taken && bytes.find(request) != std::string::npos ? request : "",
                  decision.request.body);
    }
}

TEST_F(Server, TellsWhatIsWrongWithTheInstrument) {
    Start("this is no JSON");
    const WebResult result = Api(R"({"do":"state"})");
    EXPECT_EQ(502, result.status);
    EXPECT_THAT(result.Json()["error"].get<std::string>(), HasSubstr("not a reply"));
    instrument_->SetEnded("fct crashed (Segmentation fault, signal 11)");
    const nlohmann::json status = client_->Get("/status").Json();
    EXPECT_FALSE(status["running"].get<bool>());
    EXPECT_EQ("fct crashed (Segmentation fault, signal 11)", status["how"]);
    EXPECT_EQ("last line", status["lines"][0]);
}

TEST_F(Server, ARefusalHasTheStatusOfItsKind) {
    Start(R"({"ok":false,"error":"sd.present is true or false"})");
    const WebResult refused = Api(R"({"do":"set","name":"sd.present","value":3})");
    EXPECT_EQ(400, refused.status);
    EXPECT_EQ("sd.present is true or false", refused.Json()["error"]);
    const struct {
        std::function<void()> fail;
        int status;
    } cases[] = {{[] { throw Refused("a"); }, 400},
                 {[] { throw NotNow("b"); }, 409},
                 {[] { throw BenchError("c"); }, 502},
                 {[] { throw std::runtime_error("d"); }, 502}};
    for (const auto& [fail, status] : cases) {
        instrument_->Fail(fail);
        const WebResult result = Api(R"({"do":"hello"})");
        EXPECT_EQ(status, result.status);
        EXPECT_FALSE(result.Json()["ok"].get<bool>());
    }
}

TEST_F(Server, APageIsToldInItsReplyWhatCannotBeDoneNow) {
    Start();
    LiveClient page(port_);
    const unsigned number = nlohmann::json::parse(page.ReadKind('{'))["page"];
    instrument_->Fail([] { throw NotNow("the power is off"); });
    const WebResult result = Api(nlohmann::json({{"do", "hello"}, {"page", number}}).dump());
    EXPECT_EQ(200, result.status);
    EXPECT_FALSE(result.Json()["ok"].get<bool>());
    EXPECT_EQ("the power is off", result.Json()["error"]);
}

// What a page pressed; its number comes with the status.
class Hands : public Server {
  protected:
    unsigned Number(LiveClient& page) { return nlohmann::json::parse(page.ReadKind('{'))["page"]; }
    int Press(unsigned page, nlohmann::json request) {
        request["page"] = page;
        return Api(request.dump()).status;
    }
    // The next request that the instrument gets.
    nlohmann::json Next(std::chrono::milliseconds limit = 10s) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (instrument_->Asked().is_null() && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(1ms);
        return instrument_->Asked();
    }
    const nlohmann::json down_ = {{"do", "key"}, {"key", "f1"}, {"action", "down"}};
    const nlohmann::json up_ = {{"do", "key"}, {"key", "f1"}, {"action", "up"}};
    const nlohmann::json finger_ = {{"do", "touch"}, {"action", "move"}, {"x", 1}, {"y", 2}};
};

TEST_F(Hands, AreLetGoOfWhenTheirPageIsGone) {
    Start();
    const std::pair<nlohmann::json, nlohmann::json> cases[] = {
        {down_, up_}, {finger_, {{"do", "touch"}, {"action", "up"}}}};
    for (const auto& [press, release] : cases) {
        LiveClient page(port_);
        EXPECT_EQ(200, Press(Number(page), press));
        EXPECT_EQ(press, instrument_->Asked()) << "the instrument knows of no pages";
        instrument_->Forget();
        page.Drop();
        EXPECT_EQ(release, Next());
    }
}

TEST_F(Hands, ThatAreAlreadyUpOrHeldByAnotherPageStay) {
    Start();
    LiveClient other(port_);
    const unsigned stays = Number(other);
    for (const bool released : {true, false}) {
        LiveClient page(port_);
        const unsigned goes = Number(page);
        Press(goes, down_);
        Press(released ? goes : stays, released ? up_ : down_);
        instrument_->Forget();
        page.Drop();
        EXPECT_TRUE(Next(300ms).is_null()) << Next();
    }
    other.Drop();
    EXPECT_EQ(up_, Next());
}

TEST_F(Hands, OfASilentPageAreLetGoOf) {
    silence_ = 600ms;
    Start();
    LiveClient page(port_);
    Press(Number(page), down_);
    instrument_->Forget();
    EXPECT_EQ(up_, Next());
}

TEST_F(Hands, OfAPageThatIsGonePressNothing) {
    Start();
    unsigned gone = 0;
    {
        LiveClient page(port_);
        gone = Number(page);
        Press(gone, down_);
        instrument_->Forget();
        page.Drop();
        EXPECT_EQ(up_, Next());
    }
    instrument_->Forget();
    EXPECT_EQ(409, Press(gone, down_));
    EXPECT_EQ(409, Press(gone, finger_));
    EXPECT_TRUE(instrument_->Asked().is_null());
    EXPECT_EQ(200, Press(gone, up_));
}

TEST_F(Hands, ThatWereOnTheirWayWhenThePageWentAreLetGoOf) {
    Start();
    auto page = std::make_unique<LiveClient>(port_);
    const unsigned number = Number(*page);
    instrument_->hold_ = true;
    std::thread pressing([&] { Press(number, down_); });
    EXPECT_EQ(down_, Next());
    page->Drop();
    for (int i = 0; i < 10'000 && instrument_->Asked() != up_; ++i)  // sent at once, and too early
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(up_, instrument_->Asked());
    instrument_->Forget();
    instrument_->hold_ = false;
    pressing.join();
    EXPECT_EQ(up_, Next());
}

// Scripts of two pages would work on each other's instrument.
TEST_F(Hands, OnePagesScriptRunsAtATime) {
    Start();
    LiveClient first(port_), second(port_);
    const unsigned one = Number(first), other = Number(second);
    const auto run = [&](unsigned page, bool on) {
        const WebResult result = Api(nlohmann::json({{"do", "script"}, {"on", on}, {"page", page}}).dump());
        return result.Json()["ok"] == true ? "" : result.Json()["error"].get<std::string>();
    };
    EXPECT_EQ("", run(one, true));
    EXPECT_EQ("", run(one, true));
    EXPECT_EQ("a script of another page runs", run(other, true));
    EXPECT_EQ("", run(other, false));
    EXPECT_EQ("a script of another page runs", run(other, true));
    EXPECT_EQ("", run(one, false));
    EXPECT_EQ("", run(other, true));
    second.Drop();
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (!run(one, true).empty() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ("", run(one, true)) << "a page that is gone runs none";
    EXPECT_EQ("this page's connection to the launcher is lost", run(other, true));
    EXPECT_EQ(400, Api(R"({"do":"script","on":true})").status);
    EXPECT_EQ(400, Press(one, {{"do", "script"}, {"on", 1}}));
    EXPECT_TRUE(instrument_->Asked().is_null()) << "the instrument knows of no pages";
}

TEST_F(Server, PutsScreenshotsIntoTheStateFolderOnly) {
    Start();
    for (const char* path : {"/tmp/evil.png", "../evil.png", "..", "", ".profile"}) {
        const nlohmann::json request = {{"do", "screenshot"}, {"path", path}};
        EXPECT_EQ(400, Api(request.dump()).status) << path;
    }
    EXPECT_TRUE(instrument_->Asked().is_null());
    EXPECT_EQ(200, Api(R"({"do":"screenshot","path":"now.png"})").status);
    EXPECT_EQ(instrument_->StateDir() + "/now.png", instrument_->Asked()["path"]);
}

TEST_F(Server, ServesTheInstrumentsFilesAndNoOthers) {
    Start();
    const std::filesystem::path folder = instrument_->StateDir();
    std::filesystem::create_directories(folder / "root/mnt/sdcard");
    std::ofstream(folder / "root/mnt/sdcard/fct log.txt") << "passed";
    std::ofstream(folder / "secret.txt") << "secret";
    std::ofstream(folder / ".hidden.png") << "secret";
    std::filesystem::create_symlink("/etc/passwd", folder / "root/mnt/sdcard/passwd");
    std::filesystem::create_directory_symlink("/etc", folder / "root/mnt/sdcard/etc");
    EXPECT_EQ("passed", client_->Get("/files/root/mnt/sdcard/fct%20log.txt").body);
    const std::string list = client_->Get("/files").body;
    EXPECT_THAT(list, HasSubstr("root/mnt/sdcard/fct log.txt"));
    for (const char* none : {"secret", "passwd", "hidden"})
        EXPECT_THAT(list, ::testing::Not(HasSubstr(none)));
    for (const char* path :
         {"secret.txt", ".hidden.png", "../secret.txt", "root/mnt/sdcard/../../../secret.txt",
          "root/mnt/sdcard/%2e%2e/%2e%2e/%2e%2e/secret.txt", "root/mnt/sdcard/passwd",
          "root/mnt/sdcard/etc/passwd", "/etc/passwd", "%00", "%2", ""})
        EXPECT_EQ(404, client_->Get(std::string("/files/") + path).status) << path;
}

TEST_F(Server, SendsTheWholeScreenFirstAndThenTheTilesThatChanged) {
    Start();
    LiveClient page(port_);
    const std::string whole = page.ReadKind('L');
    ASSERT_FALSE(whole.empty());
    ASSERT_EQ(1u, Areas(whole).size());
    EXPECT_EQ(800, Areas(whole)[0].width);
    EXPECT_EQ(480, Areas(whole)[0].height);
    EXPECT_EQ(20u + 800 * 480 * 2, whole.size());
    page.Seen(whole);

    instrument_->Paint(5, 100, 0xF800);
    const std::string change = page.ReadKind('L');
    ASSERT_EQ(1u, Areas(change).size());
    EXPECT_TRUE(Areas(change)[0].Contains(5, 100));
    EXPECT_EQ(FrameLog::kTileWidth, Areas(change)[0].width);
    EXPECT_EQ(FrameLog::kTileHeight, Areas(change)[0].height);
    const std::size_t at =
        20 + ((100 - static_cast<std::size_t>(Areas(change)[0].y)) * FrameLog::kTileWidth + 5) * 2;
    EXPECT_EQ(0xF800u, Number(change, at, 2));

    // Until it is said to be drawn, nothing more comes; then all that changed meanwhile.
    instrument_->Paint(0, 400, 0xFFFF);
    EXPECT_EQ("", page.ReadKind('L', 300ms));
    instrument_->Paint(799, 479, 0xFFFF);
    std::this_thread::sleep_for(50ms);
    page.Seen(change);
    EXPECT_EQ(2u, Areas(page.ReadKind('L')).size());
}

TEST_F(Server, TellsEveryPageTheStatusAndTheOutput) {
    Start();
    const std::string console = instrument_->StateDir() + "/console.log";
    std::ofstream(console, std::ios::app) << "before\n";
    LiveClient one(port_), two(port_);
    for (LiveClient* page : {&one, &two}) {
        const nlohmann::json status = nlohmann::json::parse(page->ReadKind('{'));
        EXPECT_TRUE(status["running"].get<bool>());
        EXPECT_THAT(page->ReadKind('N'), HasSubstr("before\n"));
    }
    std::ofstream(console, std::ios::app) << "written later\n";
    instrument_->SetEnded("fct crashed");
    EXPECT_EQ("Cwritten later\n", one.ReadKind('C'));
    EXPECT_EQ("fct crashed", nlohmann::json::parse(two.ReadKind('{'))["how"]);
}

TEST_F(Server, APageThatNeverReadsHoldsUpNobody) {
    Start();
    LiveClient silent(port_);
    LiveClient page(port_);
    std::string frame = page.ReadKind('L');
    for (std::uint8_t i = 1; i <= 50; ++i) {
        page.Seen(frame);
        instrument_->PaintAll(i);
        frame = page.ReadKind('L', 5s);
        ASSERT_FALSE(frame.empty()) << "frame " << int{i};
        ASSERT_EQ(i, static_cast<std::uint8_t>(frame.back()));
        ASSERT_EQ(200, Api(R"({"do":"hello"})").status);
    }
}

TEST_F(Server, CutsOffAPageThatNeverReads) {
    silence_ = 600ms;
    Start();
    LiveClient silent(port_), page(port_);
    for (int i = 0; i < 20; ++i)
        page.Read(100ms);  // answers what the server asks
    EXPECT_TRUE(silent.Ended(10s));
    EXPECT_FALSE(page.Ended(100ms));
}

TEST_F(Server, CutsOffAPageThatSendsNonsense) {
    Start();
    for (const std::string& text : {std::string("nonsense"), std::string("{}"), std::string(R"({"seen":-1})"),
                                    std::string(WebServer::kLargestLiveMessage + 1, ' ')}) {
        LiveClient page(port_);
        page.Send(text);
        EXPECT_TRUE(page.Ended(10s)) << text.substr(0, 20);
    }
    EXPECT_EQ(200, Api(R"({"do":"hello"})").status);
}

TEST_F(Server, OutlivesAbruptDisconnects) {
    Start();
    for (int i = 0; i < 40; ++i) {
        LiveClient page(port_);
        if (i % 2 == 0)
            page.Read();
        page.Drop();
    }
    for (int i = 0; i < 200; ++i)
        client_->Abandon("POST /api HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                         "\r\nContent-Length: 500\r\n\r\n{\"do\"");
    LiveClient page(port_);
    EXPECT_FALSE(page.ReadKind('L').empty());
}

TEST_F(Server, ServesManyClientsAtOnce) {
    Start();
    std::vector<std::unique_ptr<LiveClient>> pages;
    for (int i = 0; i < WebServer::kMostLive; ++i)
        pages.push_back(std::make_unique<LiveClient>(port_));
    EXPECT_THROW(LiveClient(port_, {}), std::runtime_error) << "one page too many";
    std::vector<std::thread> callers;
    std::atomic<int> good{0};
    for (int i = 0; i < 20; ++i)
        callers.emplace_back([&] {
            for (int n = 0; n < 5; ++n)
                good += Api(R"({"do":"hello"})").status == 200 ? 1 : 0;
        });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(100, good);
    for (auto& page : pages)
        EXPECT_FALSE(page->ReadKind('L').empty());
    pages.pop_back();
    for (int i = 0; i < 100; ++i)  // its place becomes free
        try {
            LiveClient next(port_);
            return;
        } catch (const std::runtime_error&) {
            std::this_thread::sleep_for(20ms);
        }
    FAIL() << "the place of a page that has gone stays taken";
}

TEST_F(Server, ALongRequestHoldsUpNobody) {
    Start();
    instrument_->hold_ = true;
    std::thread waiting([this] { Api(R"({"do":"until","text":"never"})"); });
    EXPECT_EQ(200, client_->Get("/status").status);
    LiveClient page(port_);
    EXPECT_FALSE(page.ReadKind('L').empty());
    instrument_->hold_ = false;
    waiting.join();
}

TEST_F(Server, TakesTheNextFreePort) {
    Start();
    StubInstrument other(R"({"ok":true})");
    PanelServer second(other);
    EXPECT_GT(second.Bind(port_), port_);
    PanelServer third(other);
    EXPECT_THROW(third.Bind(port_, 1), BenchError);
}

TEST(PanelServer, CanBeStoppedAtOnce) {
    StubInstrument instrument(R"({"ok":true})");
    for (int i = 0; i < 20; ++i) {
        PanelServer server(instrument);
        server.Bind(0);
        std::thread serving([&] { server.Serve(); });
        server.Stop();
        serving.join();
    }
}

TEST(FrameLog, SendsEverythingForAFrameItDoesNotKnow) {
    FrameLog log;
    Picture picture;
    picture.shape.bits = 32;
    picture.bytes.resize(picture.shape.Bytes());
    EXPECT_TRUE(log.Since(0).empty()) << "nothing has been shown yet";
    EXPECT_TRUE(log.Update(picture.shape, picture.bytes.data()));
    EXPECT_TRUE(log.Since(log.Number()).empty());
    for (const std::uint32_t unknown : {0u, log.Number() + 1000}) {
        ASSERT_EQ(1u, log.Since(unknown).size());
        EXPECT_EQ(480, log.Since(unknown)[0].height);
    }
    EXPECT_FALSE(log.Update(picture.shape, picture.bytes.data())) << "the same picture is no new frame";
    EXPECT_EQ(1u, log.Number());
}

TEST(FrameLog, TakesAPanelOfAnySizeAndTellsIt) {
    FrameLog log;
    Picture picture;
    picture.bytes.resize(picture.shape.Bytes());
    log.Update(picture.shape, picture.bytes.data());
    const std::uint32_t before = log.Number();
    picture.shape = {1000, 605, 16};  // no whole number of tiles
    picture.bytes.assign(picture.shape.Bytes(), 0);
    EXPECT_TRUE(log.Update(picture.shape, picture.bytes.data()));
    const std::string whole = log.Message(before);
    EXPECT_EQ(1000u, Number(whole, 8, 2));
    EXPECT_EQ(605u, Number(whole, 10, 2));
    ASSERT_EQ(1u, Areas(whole).size()) << "another panel is new as a whole";
    EXPECT_EQ(1000, Areas(whole)[0].width);
    EXPECT_EQ(605, Areas(whole)[0].height);
    EXPECT_EQ(20 + picture.shape.Bytes(), whole.size());

    const std::uint32_t seen = log.Number();
    picture.bytes.back() = 7;
    EXPECT_TRUE(log.Update(picture.shape, picture.bytes.data()));
    const std::string corner = log.Message(seen);
    ASSERT_EQ(1u, Areas(corner).size());
    EXPECT_EQ((std::array<int, 4>{992, 592, 8, 13}),
              (std::array<int, 4>{Areas(corner)[0].x, Areas(corner)[0].y, Areas(corner)[0].width,
                                  Areas(corner)[0].height}));
    EXPECT_EQ(7, corner.back());
}

TEST(FrameLog, JoinsTilesIntoAreasThatCoverExactlyWhatChanged) {
    FrameLog log;
    Picture picture;
    picture.bytes.resize(picture.shape.Bytes());
    log.Update(picture.shape, picture.bytes.data());
    const std::uint32_t before = log.Number();
    // A block of 2 x 3 tiles and a single one.
    for (int y = 16; y < 64; ++y)
        picture.bytes[static_cast<std::size_t>(y) * 1600 + 64 * 2] =
            picture.bytes[static_cast<std::size_t>(y) * 1600 + 96 * 2] = 1;
    picture.bytes[400 * 1600 + 700 * 2] = 1;
    log.Update(picture.shape, picture.bytes.data());
    const std::vector<Area> areas = log.Since(before);
    ASSERT_EQ(2u, areas.size());
    EXPECT_EQ((std::array<int, 4>{64, 16, 64, 48}),
              (std::array<int, 4>{areas[0].x, areas[0].y, areas[0].width, areas[0].height}));
    EXPECT_EQ((std::array<int, 4>{672, 400, 32, 16}),
              (std::array<int, 4>{areas[1].x, areas[1].y, areas[1].width, areas[1].height}));
}

}  // namespace
}  // namespace k905
