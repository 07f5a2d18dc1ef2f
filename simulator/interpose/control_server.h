// The control socket: one thread that is none of the product's, serving any number of clients. A request is a
// JSON object on one line, and so is its reply.
#pragma once

#include <map>
#include <string>

#include "simulator/interpose/controller.h"
#include "simulator/interpose/parking_place.h"

namespace k905 {

class ControlServer {
  public:
    // Listens at <stateDir>/control.sock. Throws std::runtime_error when it cannot.
    explicit ControlServer(Machine& machine);

    // Starts the thread. The server lives as long as the process.
    void Start();
    // The product has ended: replies to who still waits, then closes and removes the socket. Returns when
    // that is done.
    void End();

  private:
    struct Client {
        int fd = -1;
        std::string input;
        std::string output;
        bool dropped = false;  // gets what is in `output`, then goes
    };

    static constexpr std::size_t kLongestRequest = 64 * 1024;
    static constexpr std::size_t kLongestBacklog = 256 * 1024 * 1024;

    void Listen();
    void Poke() const;  // from any thread
    void Run();
    void Wait();
    void Accept();
    void Receive(int number, Client& client);
    void DoLine(int number, Client& client, const std::string& line);
    void Reply(int number, const Controller::Json& reply);
    void ReplyAll(const std::vector<std::pair<int, Controller::Json>>& replies);
    void Send(Client& client);
    void DropGone();
    void Shut();

    Machine& machine_;
    Controller controller_;
    std::string path_;
    int listener_ = -1;
    int event_ = -1;  // something has happened in the product's threads
    std::map<int, Client> clients_;
    int nextClient_ = 0;
    bool ending_ = false;
    ParkingPlace ended_;
};

}  // namespace k905
