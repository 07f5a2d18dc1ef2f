#include "tests/simulator/panel/web_client.h"

#include <boost/asio.hpp>
#include <boost/beast.hpp>

namespace k905 {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using beast::error_code;

namespace {

tcp::endpoint At(int port) {
    return {asio::ip::address_v4::loopback(), static_cast<unsigned short>(port)};
}

std::string Request(int port, const std::string& method, const std::string& path, const std::string& body,
                    WebClient::Headers headers) {
    headers.insert({"Host", "127.0.0.1:" + std::to_string(port)});
    headers.insert({"Connection", "close"});
    if (method == "POST") {
        headers.insert({"Content-Type", "application/json"});
        headers.insert({"Content-Length", std::to_string(body.size())});
    }
    std::string text = method + " " + path + " HTTP/1.1\r\n";
    for (const auto& [name, value] : headers)
        text += name + ": " + value + "\r\n";
    return text + "\r\n" + body;
}

}  // namespace

WebResult WebClient::Get(const std::string& path, const Headers& headers) const {
    return Raw(Request(port_, "GET", path, "", headers));
}

WebResult WebClient::Post(const std::string& path, const std::string& body, const Headers& headers) const {
    return Raw(Request(port_, "POST", path, body, headers));
}

WebResult WebClient::Raw(const std::string& bytes) const {
    asio::io_context context;
    tcp::socket socket(context);
    error_code error;
    socket.connect(At(port_), error);
    asio::write(socket, asio::buffer(bytes), error);
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(64 * 1024 * 1024);
    http::read(socket, buffer, parser, error);
    WebResult result;
    if (parser.is_done()) {
        result.status = static_cast<int>(parser.get().result_int());
        result.type = std::string(parser.get()[http::field::content_type]);
        result.body = parser.get().body();
    }
    return result;
}

void WebClient::Abandon(const std::string& bytes) const {
    asio::io_context context;
    tcp::socket socket(context);
    error_code ignored;
    socket.connect(At(port_), ignored);
    asio::write(socket, asio::buffer(bytes), ignored);
}

struct LiveClient::Parts {
    asio::io_context context;
    beast::websocket::stream<beast::tcp_stream> stream{context};
    beast::flat_buffer buffer;
    bool reading = false, ended = false, arrived = false;
};

LiveClient::LiveClient(int port, const WebClient::Headers& headers) : parts_(std::make_unique<Parts>()) {
    tcp::socket& socket = beast::get_lowest_layer(parts_->stream).socket();
    socket.open(tcp::v4());
    socket.set_option(asio::socket_base::receive_buffer_size(kSmallBuffer));
    socket.connect(At(port));
    parts_->stream.set_option(beast::websocket::stream_base::decorator([&](auto& request) {
        for (const auto& [name, value] : headers)
            request.set(name, value);
    }));
    parts_->stream.read_message_max(16 * 1024 * 1024);
    beast::websocket::response_type response;
    error_code error;
    parts_->stream.handshake(response, "127.0.0.1:" + std::to_string(port), "/live", error);
    if (error)
        throw std::runtime_error(std::to_string(response.result_int()));
}

LiveClient::~LiveClient() {
    Drop();
    parts_->context.restart();
    parts_->context.run_for(std::chrono::milliseconds(200));
}

LiveClient::Message LiveClient::Read(std::chrono::milliseconds limit) {
    Parts& parts = *parts_;
    if (!parts.reading && !parts.ended) {
        parts.reading = true;
        parts.arrived = false;
        parts.buffer.clear();
        parts.stream.async_read(parts.buffer, [&parts](error_code error, std::size_t) {
            parts.reading = false;
            parts.ended = static_cast<bool>(error);
            parts.arrived = !error;
        });
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (parts.reading && std::chrono::steady_clock::now() < deadline) {
        parts.context.restart();
        parts.context.run_one_until(deadline);
    }
    if (!parts.arrived)
        return {};
    parts.arrived = false;
    return {parts.stream.got_binary(), beast::buffers_to_string(parts.buffer.data())};
}

std::string LiveClient::ReadKind(char kind, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const Message message = Read(std::max(left, std::chrono::milliseconds(0)));
        if (message.bytes.empty() || message.bytes[0] == kind)
            return message.bytes;
    }
}

void LiveClient::Send(const std::string& text) {
    error_code ignored;
    parts_->stream.text(true);
    parts_->stream.write(asio::buffer(text), ignored);
}

void LiveClient::Seen(const std::string& screenMessage) {
    unsigned number = 0;
    for (int i = 7; i >= 4; --i)
        number = number << 8 | static_cast<unsigned char>(screenMessage.at(static_cast<std::size_t>(i)));
    Send("{\"seen\":" + std::to_string(number) + "}");
}

bool LiveClient::Ended(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!parts_->ended && std::chrono::steady_clock::now() < deadline)
        Read(std::chrono::milliseconds(100));
    return parts_->ended;
}

void LiveClient::Drop() {
    beast::get_lowest_layer(parts_->stream).close();
}

}  // namespace k905
