// Lines of the control socket, done by the controller of an instrument without a program: the requests, the
// bench, faults, keys and touches, and the replies. Left out are requests that write a file where they are
// told to, and those that change the calls of the process itself. The bench is untouched again after each
// input.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "simulator/interpose/controller.h"
#include "tests/fuzz/target.h"

namespace {

using fuzz::Holds;
using k905::Controller;
using Json = Controller::Json;

constexpr int kClient = 1;

class Bench {
  public:
    Bench() : folder_(MakeFolder()), machine_(Options(folder_)), controller_(machine_) {
        // There is no program that comes to stand still: no input waits for that.
        k905::Guard guard(machine_.lock);
        machine_.SteppedRun()->Grant(k905::kNever);
        guard.unlock();
        SetBack();
    }
    ~Bench() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    void Line(const std::string& line) {
        const Json request = Json::parse(line, nullptr, false);
        if (request.is_discarded() || IsLeftOut(request))
            return;
        const auto reply = controller_.Do(kClient, request);
        controller_.TakeAfterReply();
        if (reply)
            CheckReply(*reply);
    }

    void SetBack() {
        static const Json requests[] = {
            {{"do", "touch"}, {"action", "up"}},
            {{"do", "trace"}, {"action", "clear"}},
            {{"do", "trace"}, {"action", "stop"}},
            {{"do", "bench"}, {"set", Json::object()}, {"faults", Json::object()}}};
        controller_.ClientGone(kClient);
        while (machine_.timers.Next() != k905::kNever)
            machine_.timers.RunFirst();
        for (const Json& request : requests) {
            const auto reply = controller_.Do(kClient, request);
            Holds(reply && (*reply)["ok"] == true, "the bench can be set back");
        }
    }

  private:
    // In memory where there is such a folder.
    static std::string MakeFolder() {
        const std::filesystem::path memory = "/dev/shm";
        const auto parent =
            std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
        std::string folder = (parent / "k905-fuzz-XXXXXX").string();
        if (mkdtemp(folder.data()) == nullptr)
            throw std::runtime_error("cannot make " + folder);
        return folder;
    }
    static k905::Machine::Options Options(const std::string& folder) {
        k905::Machine::Options options;
        options.stepped = true;
        options.instrument.stateDir = folder;
        return options;
    }
    static bool IsLeftOut(const Json& request) {
        if (!request.is_object() || !request.contains("do"))
            return false;
        const Json& name = request["do"];
        return name == "screenshot" || name == "calls" || name == "fail_call";
    }
    static void CheckReply(const Json& reply) {
        Holds(reply.is_object() && reply.contains("ok") && reply["ok"].is_boolean(),
              "a reply says whether it is good");
        if (reply["ok"] == false)
            Holds(reply.contains("error") && reply["error"].is_string() && reply["error"] != "",
                  "an error has a text");
        const std::string text = reply.dump(-1, ' ', false, Json::error_handler_t::replace);
        Holds(text.find('\n') == std::string::npos, "a reply is one line");
        Holds(!Json::parse(text, nullptr, false).is_discarded(), "a reply is JSON");
    }

    const std::string folder_;
    k905::Machine machine_;
    Controller controller_;
};

void Run(const uint8_t* bytes, size_t size) {
    static Bench bench;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        bench.Line(text.substr(start, end - start));
        start = end + 1;
    }
    bench.SetBack();
}

const fuzz::Target target("control", Run);

}  // namespace
