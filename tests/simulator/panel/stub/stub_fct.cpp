// Stands in for fct and its simulator: STUB says how it behaves. Where it listens, it answers `hello`
// properly and every other request with the line that STUB_REPLY holds.
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

int Listen(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(fd, 8) != 0)
        std::exit(99);
    return fd;
}

void Answer(int connection, const std::string& request) {
    std::string reply = Variable("STUB_REPLY");
    if (request.find("\"hello\"") != std::string::npos)
        reply = "{\"ok\":true,\"mode\":\"" + Variable("K905_MODE") + "\",\"now_us\":0,\"state\":\"" +
                Variable("K905_STATE") + "\",\"seed\":\"" + Variable("K905_SEED") + "\",\"bits\":\"" +
                Variable("K905_BITS") + "\",\"speed\":\"" + Variable("K905_SPEED") + "\",\"app\":\"" +
                Variable("K905_APP") + "\",\"preload\":\"" + Variable("LD_PRELOAD") + "\"}";
    else if (Variable("STUB") == "crash on request")
        std::abort();
    reply += '\n';
    if (write(connection, reply.data(), reply.size()) < 0)
        std::exit(98);
}

}  // namespace

int main() {
    const std::string behaviour = Variable("STUB");
    setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("stub: %s\n", behaviour.c_str());
    if (behaviour == "exit at once")
        return 3;
    if (behaviour == "ignore SIGTERM")
        signal(SIGTERM, SIG_IGN);
    const int listener = Listen(Variable("K905_STATE") + "/control.sock");
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        std::string received;
        char block[4096];
        for (ssize_t n = 0; (n = read(connection, block, sizeof block)) > 0;) {
            received.append(block, static_cast<std::size_t>(n));
            for (std::size_t end = 0; (end = received.find('\n')) != std::string::npos;) {
                Answer(connection, received.substr(0, end));
                received.erase(0, end + 1);
            }
        }
        close(connection);
    }
}
