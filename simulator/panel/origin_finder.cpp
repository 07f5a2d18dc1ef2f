#include "simulator/panel/origin_finder.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "simulator/models/eeprom_cells.h"
#include "simulator/models/origin.h"
#include "simulator/panel/player.h"

namespace k905 {

namespace {

using nlohmann::json;

constexpr std::int64_t kSecondUs = 1'000'000;
// How often a text is looked for on the way, and then around the moment when it came.
constexpr std::int64_t kCoarseUs = 20'000, kFineUs = 20;
// A run whose end is not in the session: so long it is followed behind its last input.
constexpr std::int64_t kLongestEndUs = 600 * kSecondUs;
constexpr std::int64_t kPieceUs = 10 * kSecondUs;  // on the way, between looks whether to go on
constexpr int kEndMs = 60'000;
constexpr int kEndTries = 200;
constexpr char kErased = '\xFF';

char CellIn(const std::string& image, std::size_t at) {
    return at < image.size() ? image[at] : kErased;
}

std::string ImageOf(const StateFiles& files, const NamedMemory& memory) {
    const auto found = files.find(memory.image);
    return found != files.end() ? found->second : "";
}

std::string ImageOf(const Bench& bench, const NamedMemory& memory) {
    std::ifstream in(bench.StateDir() + "/" + memory.image, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool GoTo(const OriginQuestion& question, Player& player, std::int64_t us) {
    std::int64_t to = player.NowUs();
    do {
        if (question.stopped())
            throw NotNow("the search was broken off");
        to = std::min(us, to + kPieceUs);
        if (!player.GoTo(to))
            return false;
    } while (to < us);
    return true;
}

// Goes on until the run is over: as it ended by itself, or until the memory holds what the next start found.
void GoToEnd(const OriginQuestion& question, Player& player, const Session::Run& run,
             const NamedMemory& memory, const std::string& left) {
    const std::int64_t last = run.inputs.empty() ? 0 : run.inputs.back().atUs;
    bool on = GoTo(question, player, last + 1);
    while (on && ImageOf(player.Instrument(), memory) != left && player.NowUs() < last + kLongestEndUs)
        on = GoTo(question, player, player.NowUs() + kSecondUs);
    if (on || !player.Instrument().Status().running)
        return;
    try {
        player.Instrument().UntilExit(kEndMs);
    } catch (const BenchError&) {
        // it is gone before it can answer
    }
    for (int tries = 0; tries < kEndTries && player.Instrument().Status().running; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

json TextsOf(Bench& bench) {
    json texts = json::array();
    for (const TextRun& run : bench.Texts())
        texts.push_back(run.text);
    return texts;
}

// A hand that lifts or slides is not what set something off.
bool Begins(const json& request) {
    const json action = request.value("action", json());
    return action != "up" && action != "move";
}

// Where and when it was, what came from outside last before it, and what the screen showed then.
void Complete(const OriginQuestion& question, const Session& session, std::size_t run, json& reply,
              Player* there) {
    const std::int64_t at = reply.at("at_us");
    const Session::Run& of = session.runs[run];
    reply["run"] = run;
    const auto last = std::find_if(of.inputs.rbegin(), of.inputs.rend(), [&](const Session::Input& input) {
        return input.atUs <= at && Begins(input.request);
    });
    if (last != of.inputs.rend())
        reply["input"] = Tell(*last);
    if (!of.exact)
        return;
    if (there != nullptr) {
        reply["texts"] = TextsOf(there->Instrument());
        return;
    }
    Player player(of);
    if (!GoTo(question, player, std::max<std::int64_t>(at - 1, 0)))
        return;
    reply["texts"] = TextsOf(player.Instrument());
    if (GoTo(question, player, at))
        reply["texts"] = TextsOf(player.Instrument());
    else
        reply["last"] = true;
}

// Of a byte: the write gave it another value than it had.
bool Changed(const json& origin) {
    return origin["found"] == true && origin["before"] != origin["value"];
}

// In the runs before that one, the nearest first, for a byte that this one has not changed. A write of what
// was there already counts where nothing has changed it.
void LookInEarlierRuns(const OriginQuestion& question, const Session& session, json& reply) {
    const NamedMemory& memory = MemoryOf(question.request);
    const std::size_t at = CellOf(question.request);
    std::size_t foundIn = question.run;
    for (std::size_t run = question.run; run-- > 0 && !Changed(reply);) {
        if (reply["found"] == true && !session.runs[run].exact)
            break;
        MustBeExact(session.runs[run].exact);
        const std::string left = ImageOf(session.runs[run + 1].files, memory);
        Player player(session.runs[run]);
        GoToEnd(question, player, session.runs[run], memory, left);
        const char held = CellIn(ImageOf(player.Instrument(), memory), at);
        if (held != CellIn(left, at)) {
            if (reply["found"] == false)
                reply["why"] =
                    "it was put there while the power was off, before start " + std::to_string(run + 2);
            break;
        }
        CellOrigins origins(player.Instrument().StateDir() + "/" + memory.image + kOriginsOf,
                            EepromCells::kSize);
        const json found = DescribeOrigin(memory, origins.At(at), static_cast<unsigned char>(held));
        if (found["found"] == true) {
            reply.update(found);
            foundIn = run;
        }
    }
    if (reply["found"] == true)
        Complete(question, session, foundIn, reply, nullptr);
    else if (!reply.contains("why"))
        reply["why"] = "it is as it was at the first power-on";
}

bool Marks(const json& request, const TextRun& run) {
    if (run.text.find(request["text"].get<std::string>()) == std::string::npos)
        return false;
    return !request.contains("x") || run.Covers(request["x"], request["y"]);
}

TextRun RunFrom(const json& item) {
    TextRun run;
    run.x = item.at("x");
    run.y = item.at("y");
    run.width = item.at("w");
    run.text = item.at("text");
    return run;
}

json OfText(const OriginQuestion& question) {
    const json& request = question.request;
    const bool placed = request.contains("x") || request.contains("y");
    if (!request["text"].is_string() || request["text"].get<std::string>().empty() ||
        (placed &&
         !(request.value("x", json()).is_number_integer() && request.value("y", json()).is_number_integer())))
        throw Refused("\"text\" is a text on the screen; \"x\" and \"y\", whole numbers, a point of it");
    const json texts = question.ask({{"do", "text"}, {"ink", true}}).at("runs");
    const auto found = std::find_if(texts.begin(), texts.end(),
                                    [&](const json& item) { return Marks(request, RunFrom(item)); });
    if (found == texts.end())
        throw Refused("the screen does not show \"" + request["text"].get<std::string>() + "\"" +
                      (placed ? " there" : ""));
    const json hello = question.ask({{"do", "hello"}});
    const std::int64_t now = hello.at("now_us");
    const Session session = question.session();
    const Session::Run& run = RunOf(session, question.run);
    MustBeExact(run.exact && hello.at("kept") == true);
    const TextRun where = RunFrom(*found);
    json watch = *found;
    watch["do"] = "watch";
    const auto follow = [&](Player& player, std::int64_t to, std::int64_t every) {
        watch["every_us"] = every;
        player.Instrument().Request(watch);
        if (!GoTo(question, player, to))
            throw BenchError("the instrument ended before that moment");
        return player.Instrument().Request({{"do", "watch"}});
    };
    // A look comes before what the program does in its microsecond: what it did not see may be there in that.
    const auto notYet = [](const json& look) {
        return std::max<std::int64_t>(look["before_us"].get<std::int64_t>() - 1, 0);
    };
    json seen;
    {
        Player coarse(run);
        seen = follow(coarse, now, kCoarseUs);
    }
    if (seen["shown"] == false)
        throw NotNow("the screen has changed meanwhile: ask again");
    Player fine(run);
    GoTo(question, fine, notYet(seen));
    seen = follow(fine, seen["since_us"], kFineUs);
    json reply = {{"ok", true},
                  {"found", true},
                  {"at_us", seen["since_us"]},
                  {"after_us", notYet(seen)},
                  {"thread", seen["thread"]},
                  {"value", where.text},
                  {"what", "\"" + where.text + "\" came on the screen"}};
    Complete(question, session, question.run, reply, &fine);
    return reply;
}

}  // namespace

json FindOrigin(const OriginQuestion& question) {
    const json& request = question.request;
    if (request.contains("text"))
        return OfText(question);
    if (!request.contains("register") && !request.contains("memory"))
        throw Refused("of what? One of \"register\", \"memory\", \"text\"");
    json reply = question.ask(request);
    if (reply["ok"] == false)
        return reply;
    const Session session = question.session();
    RunOf(session, question.run);
    if (request.contains("memory"))
        LookInEarlierRuns(question, session, reply);
    else if (reply["found"] == true)
        Complete(question, session, question.run, reply, nullptr);
    return reply;
}

}  // namespace k905
