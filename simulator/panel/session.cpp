#include "simulator/panel/session.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "simulator/panel/control_client.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

using nlohmann::json;

// What of the state folder outlives a power-off: files, and folders with all that is in them.
constexpr const char* kLasting[] = {"module.at24c512", "mainboard.eeprom", "tuning.bin", "sdcard.out",
                                    "usb.out",         "root/mnt",         "root/tmp"};
constexpr std::size_t kPiece = 64;       // bytes of a file that are kept or left out together
constexpr unsigned char kErased = 0xFF;  // left out where a whole piece is so

bool IsText(const std::string& content) {
    return std::all_of(content.begin(), content.end(), [](unsigned char c) {
        return c == '\n' || c == '\r' || c == '\t' || (c >= ' ' && c < 0x7F);
    });
}

std::string Hex(const std::string& bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string hex;
    for (const unsigned char byte : bytes) {
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

std::string Bytes(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// A text as it is; other content as the pieces that are not erased, by their place.
json Encode(const std::string& content) {
    if (IsText(content))
        return content;
    json pieces = json::object();
    for (std::size_t at = 0; at < content.size(); at += kPiece) {
        const std::string piece = content.substr(at, kPiece);
        if (piece.find_first_not_of(static_cast<char>(kErased)) != std::string::npos)
            pieces[std::to_string(at)] = Hex(piece);
    }
    return {{"size", content.size()}, {"hex", pieces}};
}

std::string Decode(const json& encoded) {
    if (encoded.is_string())
        return encoded;
    std::string content(encoded.at("size").get<std::size_t>(), static_cast<char>(kErased));
    for (const auto& [at, hex] : encoded.at("hex").items()) {
        const std::string piece = Bytes(hex.get<std::string>());
        content.replace(std::stoul(at), piece.size(), piece);
    }
    return content;
}

StateFiles ReadState(const std::string& stateDir) {
    StateFiles files;
    const auto add = [&](const fs::path& path) {
        if (!fs::is_regular_file(fs::symlink_status(path)))
            return;
        std::ifstream in(path, std::ios::binary);
        files[path.lexically_relative(stateDir).generic_string()] = {std::istreambuf_iterator<char>(in),
                                                                     std::istreambuf_iterator<char>()};
    };
    std::error_code none;
    for (const char* name : kLasting) {
        const fs::path path = fs::path(stateDir) / name;
        add(path);
        for (const auto& entry : fs::recursive_directory_iterator(path, none))
            add(entry.path());
    }
    return files;
}

// The power-on as a line: of its files those that are not as at the power-on before.
std::string PowerOnLine(const Session::Run& run, const StateFiles& before) {
    json files = json::object();
    json gone = json::array();
    for (const auto& [path, content] : run.files)
        if (before.count(path) == 0 || before.at(path) != content)
            files[path] = Encode(content);
    for (const auto& [path, content] : before)
        if (run.files.count(path) == 0)
            gone.push_back(path);
    const json powerOn = {
        {"seed", run.seed}, {"bits", run.bits}, {"start", run.start}, {"files", files}, {"gone", gone}};
    return json{{"power_on", powerOn}}.dump() + "\n";
}

Session::Run PowerOn(const json& line, const StateFiles& before) {
    Session::Run run;
    run.seed = line.at("seed");
    run.bits = line.at("bits");
    run.start = line.at("start");
    run.files = before;
    for (const json& path : line.at("gone"))
        run.files.erase(path.get<std::string>());
    for (const auto& [path, content] : line.at("files").items())
        run.files[path] = Decode(content);
    return run;
}

void AddLine(const std::string& text, Session& session) {
    const json line = json::parse(text);
    if (line.contains("power_on")) {
        session.runs.push_back(
            PowerOn(line["power_on"], session.runs.empty() ? StateFiles() : session.runs.back().files));
        return;
    }
    Session::Run& run = session.runs.at(session.runs.size() - 1);
    run.inputs.push_back({line.at("at_us"), line.at("request"), line.value("control", "")});
    run.exact = run.exact && !line.contains("unsettled") && !line.contains("lost");
}

void Append(const std::string& file, const std::string& text) {
    std::ofstream out(file, std::ios::app | std::ios::binary);
    out << text;
    if (!out.flush())
        throw BenchError(file + ": cannot be written");
}

}  // namespace

const Session& SessionFile::Read() {
    std::ifstream in(path_, std::ios::binary);
    if (!in)
        throw BenchError(path_ + ": cannot be read");
    // It may be another one by now.
    std::string line(last_.size(), '\0');
    in.seekg(end_ - static_cast<std::streamoff>(last_.size()));
    if (!in.read(line.data(), static_cast<std::streamsize>(line.size())) || line != last_) {
        *this = SessionFile(path_);
        in.clear();
        in.seekg(0);
    }
    for (; std::getline(in, line) && !in.eof(); ++lines_) {
        try {
            AddLine(line, session_);
        } catch (const std::exception&) {
            const int number = lines_ + 1;
            *this = SessionFile(path_);
            throw BenchError(path_ + ":" + std::to_string(number) + ": this is no line of a session");
        }
        last_ = line + "\n";
        end_ = in.tellg();
    }
    if (session_.runs.empty())
        throw BenchError(path_ + ": holds no session");
    return session_;
}

Session ReadSession(const std::string& file) {
    return SessionFile(file).Read();
}

const Session::Run& RunOf(const Session& session, std::size_t run) {
    const std::size_t runs = session.runs.size();
    if (run >= runs)
        throw Refused("the session has only " + std::to_string(runs) + (runs == 1 ? " start" : " starts"));
    return session.runs[run];
}

void MustBeExact(bool exact) {
    if (!exact)
        throw BenchError(
            "this run cannot be gone through again: something came from outside while the program computed, "
            "or could not be kept");
}

std::string DescribeMoment(const std::string& file, const Moment& moment) {
    char text[48];
    std::snprintf(text, sizeof text, "@%zu:%.6f", moment.run + 1, static_cast<double>(moment.us) / 1e6);
    return file + text;
}

MomentOf FindMoment(const std::string& text) {
    const std::size_t at = text.rfind('@');
    MomentOf found;
    found.session = ReadSession(text.substr(0, at));
    found.moment.run = found.session.runs.size() - 1;
    std::string when = at == std::string::npos ? "" : text.substr(at + 1);
    const std::size_t colon = when.find(':');
    if (colon != std::string::npos) {
        const std::string run = when.substr(0, colon);
        if (run.empty() || run.find_first_not_of("0123456789") != std::string::npos || run.size() > 6 ||
            std::stoul(run) < 1)
            throw BenchError("\"" + run + "\" is no number of a start");
        found.moment.run = std::stoul(run) - 1;
        when = when.substr(colon + 1);
    }
    const auto& inputs = RunOf(found.session, found.moment.run).inputs;
    found.moment.us = inputs.empty() ? 0 : inputs.back().atUs;
    if (at == std::string::npos)
        return found;
    char* end = nullptr;
    const double seconds = std::strtod(when.c_str(), &end);
    if (when.empty() || *end != '\0' || !(seconds >= 0 && seconds < 1e9))
        throw BenchError("\"" + when + "\" is no time in seconds since power-on");
    found.moment.us = std::llround(seconds * 1e6);
    return found;
}

nlohmann::json Tell(const Session::Input& input) {
    json told = {{"at_us", input.atUs}, {"request", input.request}};
    if (!input.control.empty())
        told["control"] = input.control;
    return told;
}

void KeepPowerOn(const std::string& stateDir, unsigned seed, unsigned bits, const nlohmann::json& start,
                 bool goOn) {
    const std::string file = stateDir + "/" + kSessionFile;
    StateFiles before;
    try {
        if (goOn)
            before = ReadSession(file).runs.back().files;
    } catch (const BenchError&) {
        goOn = false;  // what cannot be read cannot be gone on with
    }
    std::error_code none;
    if (!goOn)
        fs::remove(file, none);
    Session::Run run;
    run.seed = seed;
    run.bits = bits;
    run.start = start;
    run.files = ReadState(stateDir);
    Append(file, PowerOnLine(run, before));
}

void KeepAside(const std::string& stateDir) {
    const fs::path folder = stateDir;
    if (!fs::exists(folder / kSessionFile))
        return;
    for (int number = 1;; ++number)
        if (const fs::path kept = folder / ("session-" + std::to_string(number) + ".jsonl");
            !fs::exists(kept))
            return fs::rename(folder / kSessionFile, kept);
}

void WriteSession(const std::string& file, const Session& session, std::size_t count) {
    std::error_code ignored;
    fs::remove(file, ignored);
    std::string text;
    StateFiles before;
    for (std::size_t i = 0; i < count; ++i) {
        const Session::Run& run = session.runs[i];
        text += PowerOnLine(run, before);
        before = run.files;
        for (const Session::Input& input : run.inputs) {
            json line = Tell(input);
            if (!run.exact && &input == &run.inputs.back())
                line["unsettled"] = true;
            text += line.dump() + "\n";
        }
    }
    if (count > 0)
        Append(file, text);
}

void LayOut(const StateFiles& files, const std::string& stateDir) {
    for (const char* name : kLasting)
        fs::remove_all(fs::path(stateDir) / name);
    for (const auto& [path, content] : files) {
        const fs::path place = fs::path(stateDir) / path;
        fs::create_directories(place.parent_path());
        std::ofstream out(place, std::ios::binary);
        out << content;
        if (!out.flush())
            throw BenchError(place.string() + ": cannot be written");
    }
}

}  // namespace k905
