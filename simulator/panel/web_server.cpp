#include "simulator/panel/web_server.h"

#include <atomic>
#include <boost/asio.hpp>
#include <boost/beast.hpp>
#include <deque>
#include <optional>
#include <set>

namespace k905 {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using beast::error_code;

constexpr int kWorkers = 24;                          // a request can wait for the instrument for minutes
constexpr int kMostWaiting = 64;                      // requests with the workers
constexpr auto kIdle = std::chrono::seconds(60);      // between two requests
constexpr auto kTransfer = std::chrono::seconds(20);  // of a request or a reply
constexpr auto kLinger = std::chrono::seconds(2);     // for a client that still sends what is refused

struct LiveSession;

}  // namespace

struct WebServer::Parts {
    Parts(WebSite& theSite, std::chrono::milliseconds theSilence)
        : site(theSite), silence(theSilence), workers(kWorkers) {}

    void Accept();
    void LookSoon();

    WebSite& site;
    const std::chrono::milliseconds silence;
    bool looking = false;
    int port = 0;
    int connections = 0;
    std::set<LiveSession*> live;
    std::atomic<int> waiting{0};
    std::atomic<bool> stopping{false};
    // Ends before what is above: its sessions take their leave there.
    asio::io_context context{1};
    tcp::acceptor acceptor{context};
    asio::steady_timer timer{context};
    asio::thread_pool workers;
};

namespace {

using Parts = WebServer::Parts;

using Request = http::request<http::string_body>;
using RequestParser = http::request_parser<http::string_body>;

void SetLimits(RequestParser& parser) {
    parser.body_limit(WebServer::kLargestBody);
    parser.header_limit(WebServer::kLargestHeader);
}

// Of what could not be read. Status 0: there is nobody to be told.
WebRefusal RefusalOf(error_code error) {
    if (error == http::error::body_limit)
        return {413, "the request is longer than " + std::to_string(WebServer::kLargestBody) + " bytes"};
    if (error == http::error::header_limit)
        return {431, "the request's head is too long"};
    if (error.category() == make_error_code(http::error::bad_method).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message)
        return {400, "not an HTTP request"};
    return {};
}

// A page from elsewhere must not drive the instrument, whatever name it has made resolve to this machine.
WebRefusal RefusalOf(const Request& request, int port) {
    const std::string at = ":" + std::to_string(port);
    const std::string host(request[http::field::host]);
    const std::string origin(request[http::field::origin]);
    if (host != "127.0.0.1" + at && host != "localhost" + at)
        return {403, "foreign Host"};
    const bool has = request.find(http::field::origin) != request.end();
    if (has && origin != "http://127.0.0.1" + at && origin != "http://localhost" + at)
        return {403, "foreign Origin"};
    if (websocket::is_upgrade(request) && request.target() != WebServer::kLivePath)
        return {404, "there is nothing here"};
    return {};
}

WebRequest Plain(RequestParser& parser) {
    const Request& request = parser.get();
    WebRequest plain;
    plain.method = std::string(request.method_string());
    plain.path = std::string(request.target());
    plain.type = std::string(request[http::field::content_type]);
    plain.body = std::move(parser.get().body());
    return plain;
}

// One open page: whenever nothing is on its way to it, the feed is asked for the next message.
struct LiveSession : std::enable_shared_from_this<LiveSession> {
    LiveSession(Parts& parts, tcp::socket socket) : parts_(parts), stream_(std::move(socket)) {
        parts_.live.insert(this);
    }
    ~LiveSession() {
        parts_.live.erase(this);
        --parts_.connections;
    }

    void Run(const http::request<http::string_body>& request) {
        websocket::stream_base::timeout timeout = {};
        timeout.handshake_timeout = kTransfer;
        timeout.idle_timeout = parts_.silence;
        timeout.keep_alive_pings = true;
        stream_.set_option(timeout);
        stream_.read_message_max(WebServer::kLargestLiveMessage);
        stream_.auto_fragment(false);
        stream_.async_accept(request, [self = shared_from_this()](error_code error) {
            if (error)
                return;
            error_code ignored;
            beast::get_lowest_layer(self->stream_).socket().set_option(tcp::no_delay(true), ignored);
            self->feed_ = self->parts_.site.Open();
            self->Read();
            self->parts_.LookSoon();
            self->Pump();
        });
    }
    void Pump() {
        if (writing_ || !feed_)
            return;
        bool binary = false;
        out_.clear();
        if (!feed_->Next(out_, binary))
            return;
        writing_ = true;
        stream_.binary(binary);
        stream_.async_write(asio::buffer(out_), [self = shared_from_this()](error_code error, std::size_t) {
            if (error)
                return self->Close();
            self->writing_ = false;
            self->Pump();
        });
    }
    void Close() {
        feed_.reset();
        beast::get_lowest_layer(stream_).close();
    }

  private:
    void Read() {
        stream_.async_read(in_, [self = shared_from_this()](error_code error, std::size_t) {
            if (error || !self->feed_ || !self->feed_->Received(beast::buffers_to_string(self->in_.data())))
                return self->Close();
            self->in_.consume(self->in_.size());
            self->Read();
            self->Pump();
        });
    }

    Parts& parts_;
    websocket::stream<beast::tcp_stream> stream_;
    beast::flat_buffer in_;
    std::string out_;
    bool writing_ = false;
    std::unique_ptr<LiveFeed> feed_;
};

// One connection: request, reply, and so on.
struct HttpSession : std::enable_shared_from_this<HttpSession> {
    HttpSession(Parts& parts, tcp::socket socket) : parts_(parts), stream_(std::move(socket)) {
        ++parts_.connections;
    }
    ~HttpSession() {
        if (!handedOver_)
            --parts_.connections;
    }

    void Read() {
        parser_.emplace();
        SetLimits(*parser_);
        stream_.expires_after(kIdle);
        http::async_read_header(stream_, buffer_, *parser_,
                                [self = shared_from_this()](error_code error, std::size_t) {
                                    if (error)
                                        return self->Fail(error);
                                    self->ReadBody();
                                });
    }

    // For one too many: it is told so.
    void TurnAway() {
        keepAlive_ = false;
        Send(parts_.site.Refuse(503, "too many pages and programs are connected"));
    }

  private:
    void ReadBody() {
        stream_.expires_after(kTransfer);
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](error_code error, std::size_t) {
                             if (error)
                                 return self->Fail(error);
                             self->Handle();
                         });
    }

    void Fail(error_code error) {
        keepAlive_ = false;
        const WebRefusal refusal = RefusalOf(error);
        if (refusal.status != 0)
            Send(parts_.site.Refuse(refusal.status, refusal.error));
    }

    void Handle() {
        const auto& request = parser_->get();
        keepAlive_ = request.keep_alive();
        const WebRefusal refusal = RefusalOf(request, parts_.port);
        if (refusal.status != 0)
            return Send(parts_.site.Refuse(refusal.status, refusal.error));
        if (websocket::is_upgrade(request)) {
            if (parts_.live.size() >= static_cast<std::size_t>(WebServer::kMostLive))
                return Send(parts_.site.Refuse(503, "too many pages are open"));
            stream_.expires_never();
            handedOver_ = true;
            std::make_shared<LiveSession>(parts_, stream_.release_socket())->Run(request);
            return;
        }
        if (parts_.waiting >= kMostWaiting)
            return Send(parts_.site.Refuse(503, "too many requests wait for the instrument"));
        ++parts_.waiting;
        stream_.expires_never();
        WebRequest plain = Plain(*parser_);
        // The worker hands the session back with the reply, so that it ends in the serving thread.
        asio::post(parts_.workers, [self = shared_from_this(), plain = std::move(plain)]() mutable {
            Parts& parts = self->parts_;
            auto reply = std::make_shared<WebReply>();
            if (!parts.stopping)
                *reply = parts.site.Serve(plain);
            --parts.waiting;
            asio::post(parts.context, [self = std::move(self), reply] { self->Send(std::move(*reply)); });
        });
    }

    void Send(WebReply reply) {
        response_ = {};
        response_.version(11);
        response_.result(static_cast<unsigned>(reply.status));
        response_.set(http::field::content_type, reply.type);
        response_.set(http::field::cache_control, "no-store");
        // The plotting library sets styles in its elements' attributes.
        response_.set("Content-Security-Policy",
                      "default-src 'self'; style-src 'self' 'unsafe-inline'; frame-ancestors 'none'");
        response_.set(http::field::x_frame_options, "DENY");
        response_.set("X-Content-Type-Options", "nosniff");
        response_.keep_alive(keepAlive_);
        response_.body() = std::move(reply.body);
        response_.prepare_payload();
        stream_.expires_after(kTransfer);
        http::async_write(stream_, response_, [self = shared_from_this()](error_code error, std::size_t) {
            if (error)
                return;
            if (self->keepAlive_)
                return self->Read();
            error_code ignored;
            self->stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
            self->stream_.expires_after(kLinger);
            self->Linger();
        });
    }

    // What a refused client still sends is read, or the reply would be lost with the connection.
    void Linger() {
        buffer_.clear();
        stream_.async_read_some(buffer_.prepare(16 * 1024),
                                [self = shared_from_this()](error_code error, std::size_t) {
                                    if (!error)
                                        self->Linger();
                                });
    }

    Parts& parts_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    http::response<http::string_body> response_;
    bool keepAlive_ = false;
    bool handedOver_ = false;
};

}  // namespace

void WebServer::Parts::Accept() {
    acceptor.async_accept([this](error_code error, tcp::socket socket) {
        if (error == asio::error::operation_aborted || stopping)
            return;
        if (!error) {
            error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            const bool full = connections >= kMostConnections;
            const auto session = std::make_shared<HttpSession>(*this, std::move(socket));
            full ? session->TurnAway() : session->Read();
        }
        Accept();
    });
}

void WebServer::Parts::LookSoon() {
    if (looking)
        return;
    looking = true;
    timer.expires_after(std::chrono::milliseconds(kLookMs));
    timer.async_wait([this](error_code error) {
        looking = false;
        if (error || live.empty())
            return;
        site.Look();
        for (LiveSession* page : live)
            page->Pump();
        LookSoon();
    });
}

WebDecision DecideOn(const std::string& bytes, int port) {
    RequestParser parser;
    SetLimits(parser);
    parser.eager(true);
    error_code error;
    asio::const_buffer rest = asio::buffer(bytes);
    while (!error && !parser.is_done() && rest.size() > 0)
        rest += parser.put(rest, error);
    if (error == http::error::need_more || (!error && !parser.is_done())) {  // but no more comes
        error = {};
        if (parser.got_some())
            parser.put_eof(error);
        else
            error = http::error::end_of_stream;
    }
    WebDecision decision;
    decision.refusal = error ? RefusalOf(error) : RefusalOf(parser.get(), port);
    decision.taken = !error && decision.refusal.status == 0;
    if (decision.taken) {
        decision.live = websocket::is_upgrade(parser.get());
        decision.request = Plain(parser);
    }
    return decision;
}

WebServer::WebServer(WebSite& site, std::chrono::milliseconds silence)
    : parts_(std::make_unique<Parts>(site, silence)) {}

WebServer::~WebServer() {
    parts_->stopping = true;
    parts_->workers.join();
}

int WebServer::Bind(int port, int attempts) {
    for (int i = 0; i < attempts && port + i <= 65535; ++i) {
        error_code error;
        tcp::acceptor acceptor(parts_->context);
        acceptor.open(tcp::v4(), error);
        // Lets a restarted server have its port back; a port that another one listens at stays refused.
        acceptor.set_option(tcp::acceptor::reuse_address(true), error);
        const auto number = static_cast<unsigned short>(port == 0 ? 0 : port + i);
        if (acceptor.bind({asio::ip::address_v4::loopback(), number}, error) ||
            acceptor.listen(asio::socket_base::max_listen_connections, error))
            continue;
        parts_->port = acceptor.local_endpoint().port();
        parts_->acceptor = std::move(acceptor);
        parts_->Accept();
        return parts_->port;
    }
    return 0;
}

void WebServer::Serve() {
    parts_->context.run();
}

void WebServer::Work(std::function<void()> work) {
    if (!parts_->stopping)
        asio::post(parts_->workers, std::move(work));
}

void WebServer::Stop() {
    parts_->stopping = true;
    parts_->context.stop();
}

}  // namespace k905
