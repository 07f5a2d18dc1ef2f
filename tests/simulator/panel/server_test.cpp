// The panel's web server in front of a control socket that only the test serves.
#include "simulator/panel/panel_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <thread>

#include "simulator/panel/client.h"

namespace k905 {
namespace {

using ::testing::HasSubstr;

// The stand-in for fct answers each request with `reply`.
class StubInstrument final : public PanelInstrument {
  public:
    explicit StubInstrument(const std::string& reply) : bench_(Options(reply)) {
        picture_.bytes.resize(picture_.RowBytes() * kScreenHeight);
    }
    Status GetStatus() override { return {ended_.empty(), ended_, {"last line"}}; }
    void Restart() override { ++restarts_; }
    nlohmann::json Ask(const nlohmann::json& request) override {
        asked_ = request;
        return bench_.Ask(request);
    }
    bool Screen(Picture& picture) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        picture = picture_;
        return true;
    }
    std::string StateDir() override { return bench_.StateDir(); }

    void Paint(int x, int y, std::uint16_t pixel) {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::memcpy(&picture_.bytes[static_cast<std::size_t>(y) * picture_.RowBytes() + x * 2u], &pixel, 2);
    }

    std::string ended_;
    int restarts_ = 0;
    nlohmann::json asked_;

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
};

class Server : public ::testing::Test {
  protected:
    void Start(const std::string& reply = R"({"ok":true,"answer":42})") {
        instrument_ = std::make_unique<StubInstrument>(reply);
        server_ = std::make_unique<PanelServer>(*instrument_);
        port_ = server_->Bind(0);
        serving_ = std::thread([this] { server_->Serve(); });
        client_ = std::make_unique<httplib::Client>("127.0.0.1", port_);
        for (int i = 0; i < 200 && !client_->Get("/status"); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    void TearDown() override {
        client_.reset();
        if (server_)
            server_->Stop();
        if (serving_.joinable())
            serving_.join();
    }
    httplib::Result Api(const std::string& body, const httplib::Headers& headers = {}) {
        return client_->Post("/api", headers, body, "application/json");
    }

    std::unique_ptr<StubInstrument> instrument_;
    std::unique_ptr<PanelServer> server_;
    std::unique_ptr<httplib::Client> client_;
    std::thread serving_;
    int port_ = 0;
};

nlohmann::json Body(const httplib::Result& result) {
    return nlohmann::json::parse(result->body);
}

TEST_F(Server, PassesRequestsOnAndRepliesBack) {
    Start();
    const auto result = Api(R"({"do":"key","key":"f1","action":"down"})");
    ASSERT_TRUE(result);
    EXPECT_EQ(200, result->status);
    EXPECT_EQ(42, Body(result)["answer"]);
    EXPECT_EQ("f1", instrument_->asked_["key"]);
}

TEST_F(Server, ServesThePage) {
    Start();
    for (const char* path : {"/", "/panel.css", "/panel.js"}) {
        const auto result = client_->Get(path);
        ASSERT_TRUE(result);
        EXPECT_EQ(200, result->status) << path;
        EXPECT_FALSE(result->body.empty()) << path;
    }
    EXPECT_THAT(client_->Get("/")->body, HasSubstr("panel.js"));
    EXPECT_EQ(404, client_->Get("/nothing")->status);
    EXPECT_EQ(404, client_->Get("/../main.cpp")->status);
}

TEST_F(Server, RefusesForeignOriginsAndHosts) {
    Start();
    const std::string own = "http://127.0.0.1:" + std::to_string(port_);
    EXPECT_EQ(200, Api(R"({"do":"hello"})", {{"Origin", own}})->status);
    instrument_->asked_ = nullptr;
    for (const char* origin : {"http://example.com", "null", "https://127.0.0.1", "http://127.0.0.1"})
        EXPECT_EQ(403, Api(R"({"do":"stop"})", {{"Origin", origin}})->status) << origin;
    for (const char* host : {"example.com", "127.0.0.1", "127.0.0.1.example.com"})
        for (const char* path : {"/", "/screen", "/status"})
            EXPECT_EQ(403, client_->Get(path, {{"Host", host}})->status) << host << path;
    EXPECT_EQ(403, Api(R"({"do":"stop"})", {{"Host", "example.com:" + std::to_string(port_)}})->status);
    EXPECT_TRUE(instrument_->asked_.is_null()) << "a refused request reached the instrument";
}

TEST_F(Server, RefusesMalformedRequests) {
    Start();
    for (const std::string& body :
         {std::string("nonsense"), std::string(""), std::string("[]"), std::string("{}"),
          std::string(R"({"do":7})"), std::string(60000, '['),
          R"({"do":"set","value":)" + std::string(1000, '[') + std::string(1000, ']') + "}"}) {
        const auto result = Api(body);
        ASSERT_TRUE(result) << body.substr(0, 40);
        EXPECT_EQ(400, result->status) << body.substr(0, 40);
        EXPECT_FALSE(Body(result)["ok"].get<bool>());
    }
    EXPECT_EQ(415, client_->Post("/api", R"({"do":"hello"})", "text/plain")->status);
    EXPECT_TRUE(instrument_->asked_.is_null());
}

TEST_F(Server, RefusesOversizedBodies) {
    Start();
    const std::string filler(PanelServer::kLargestBody, ' ');
    const auto result = Api(R"({"do":"hello"})" + filler);
    ASSERT_TRUE(result);
    EXPECT_EQ(413, result->status);
    EXPECT_EQ(200, Api(R"({"do":"hello"})" + filler.substr(100))->status);
    // In pieces, so that no length announces it.
    int pieces = 0;
    const auto chunked = client_->Post(
        "/api", {},
        [&](std::size_t, httplib::DataSink& sink) {
            if (++pieces > 20)
                sink.done();
            else
                sink.write(filler.data(), 8192);
            return true;
        },
        "application/json");
    ASSERT_TRUE(chunked);
    EXPECT_EQ(413, chunked->status);
    EXPECT_EQ(200, Api(R"({"do":"hello"})")->status) << "the server still serves";
}

TEST_F(Server, TellsWhatIsWrongWithTheInstrument) {
    Start("this is no JSON");
    const auto result = Api(R"({"do":"state"})");
    ASSERT_TRUE(result);
    EXPECT_EQ(502, result->status);
    EXPECT_THAT(Body(result)["error"].get<std::string>(), HasSubstr("not a reply"));
    instrument_->ended_ = "fct crashed (Segmentation fault, signal 11)";
    const nlohmann::json status = Body(client_->Get("/status"));
    EXPECT_FALSE(status["running"].get<bool>());
    EXPECT_EQ("fct crashed (Segmentation fault, signal 11)", status["how"]);
    EXPECT_EQ("last line", status["lines"][0]);
}

TEST_F(Server, RestartsOnRequestOnly) {
    Start();
    EXPECT_EQ(404, client_->Get("/restart")->status);
    EXPECT_EQ(
        403, client_->Post("/restart", {{"Origin", "http://example.com"}}, "{}", "application/json")->status);
    EXPECT_EQ(0, instrument_->restarts_);
    EXPECT_EQ(202, client_->Post("/restart", "{}", "application/json")->status);
    EXPECT_EQ(1, instrument_->restarts_);
}

TEST_F(Server, PutsScreenshotsIntoTheStateFolderOnly) {
    Start();
    for (const char* path : {"/tmp/evil.png", "../evil.png", "..", "", ".profile"}) {
        const nlohmann::json request = {{"do", "screenshot"}, {"path", path}};
        EXPECT_EQ(400, Api(request.dump())->status) << path;
    }
    EXPECT_TRUE(instrument_->asked_.is_null());
    EXPECT_EQ(200, Api(R"({"do":"screenshot","path":"now.png"})")->status);
    EXPECT_EQ(instrument_->StateDir() + "/now.png", instrument_->asked_["path"]);
}

TEST_F(Server, SendsTheWholeScreenFirstAndThenWhatChanged) {
    Start();
    const auto whole = client_->Get("/screen?since=0");
    ASSERT_TRUE(whole);
    ASSERT_EQ(200, whole->status);
    EXPECT_EQ("0", whole->get_header_value("X-Top"));
    EXPECT_EQ("480", whole->get_header_value("X-Rows"));
    EXPECT_EQ(800u * 480 * 4, whole->body.size());

    instrument_->Paint(5, 100, 0xF800);
    instrument_->Paint(6, 102, 0x07E0);
    const auto change = client_->Get("/screen?since=" + whole->get_header_value("X-Frame"));
    ASSERT_EQ(200, change->status);
    EXPECT_EQ("100", change->get_header_value("X-Top"));
    EXPECT_EQ("3", change->get_header_value("X-Rows"));
    ASSERT_EQ(800u * 3 * 4, change->body.size());
    EXPECT_EQ(std::string("\xFF\x00\x00\xFF", 4), change->body.substr(5 * 4, 4));
    EXPECT_EQ(std::string("\x00\xFF\x00\xFF", 4), change->body.substr((2 * 800 + 6) * 4, 4));

    // A page that has missed a frame gets all rows of both.
    instrument_->Paint(0, 400, 0xFFFF);
    const auto both = client_->Get("/screen?since=" + whole->get_header_value("X-Frame"));
    EXPECT_EQ("100", both->get_header_value("X-Top"));
    EXPECT_EQ("301", both->get_header_value("X-Rows"));
}

TEST_F(Server, AWaitingPageGetsTheNextChange) {
    Start();
    const std::string frame = client_->Get("/screen?since=0")->get_header_value("X-Frame");
    std::thread painter([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        instrument_->Paint(0, 7, 0xFFFF);
    });
    const auto change = client_->Get("/screen?since=" + frame);
    painter.join();
    ASSERT_TRUE(change);
    EXPECT_EQ(200, change->status);
    EXPECT_EQ("7", change->get_header_value("X-Top"));
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
    picture.bits = 32;
    picture.bytes.resize(picture.RowBytes() * kScreenHeight);
    EXPECT_EQ(0, log.Since(0).rows) << "nothing has been shown yet";
    log.Update(picture);
    EXPECT_EQ(0, log.Since(log.Number()).rows);
    EXPECT_EQ(480, log.Since(0).rows);
    EXPECT_EQ(480, log.Since(log.Number() + 1000).rows);
    const std::uint64_t before = log.Number();
    log.Update(picture);
    EXPECT_EQ(before, log.Number()) << "the same picture is no new frame";
}

}  // namespace
}  // namespace k905
