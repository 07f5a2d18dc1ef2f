#include "simulator/models/explain.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "simulator/models/board_frames.h"
#include "simulator/models/board_rails.h"
#include "simulator/models/register_names.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

constexpr const char* kSent = "serial tx";
constexpr const char* kReceived = "serial rx";

bool Begins(const std::string& line, const char* with) {
    return line.rfind(with, 0) == 0;
}

std::vector<std::uint8_t> BytesBehind(const std::string& line, const char* head) {
    std::vector<std::uint8_t> bytes;
    const char* at = line.c_str() + std::strlen(head);
    unsigned byte = 0;
    int length = 0;
    for (; std::sscanf(at, " %2x%n", &byte, &length) == 1; at += length)
        bytes.push_back(static_cast<std::uint8_t>(byte));
    return bytes;
}

std::string NameOfChannel(std::uint8_t channel) {
    for (const BoardRail& rail : kBoardRails)
        if (rail.channel == channel)
            return rail.name;
    switch (channel) {
        case kChannelVdd:
            return "VDD";
        case kChannelApd:
            return "APD";
        case kChannelAtt0:
            return "ATT0";
        case kChannelAtt1:
            return "ATT1";
        default:
            return Text("channel %u", unsigned{channel});
    }
}

std::string ExplainRequest(const std::vector<std::uint8_t>& frame) {
    if (frame.size() < 3 || frame.size() != frame[0] + 1u)
        return "";
    for (const auto& known : kBoardCommands)
        if (known.command == frame[1])
            return known.name + (known.channel ? " " + NameOfChannel(frame[2]) : "");
    return "";
}

std::uint32_t BigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
           bytes[3];
}

std::string ExplainReply(const std::vector<std::uint8_t>& frame, const std::vector<std::uint8_t>& request) {
    const std::string asked = ExplainRequest(request);
    const std::string to = asked.empty() ? "" : asked + " -> ";
    if (frame.size() < kShortReply + 1u || frame.size() != frame[0] + 1u ||
        (frame[0] != kShortReply && frame[0] != kLongReply))
        return to + "not a whole reply";
    if (!asked.empty() && request[1] == kConnect)
        return to + "connected";
    const std::uint32_t bits = BigEndian(&frame[2]);
    float volts = 0;
    std::memcpy(&volts, &bits, sizeof volts);
    std::string text = asked.empty() ? NameOfChannel(frame[1]) + " -> " : to;
    if (!asked.empty() && request[2] != frame[1])
        text += NameOfChannel(frame[1]) + " ";
    text += Text("%.4f V", static_cast<double>(volts));
    if (frame[0] == kLongReply)
        text += Text(", %u counts", static_cast<unsigned>(BigEndian(&frame[6])));
    return text;
}

}  // namespace

std::string ExplainTrace(const std::string& line, const std::string& asked) {
    unsigned address = 0, value = 0;
    if (std::sscanf(line.c_str(), "reg write 0x%x 0x%x", &address, &value) == 2 ||
        std::sscanf(line.c_str(), "reg read 0x%x -> 0x%x", &address, &value) == 2)
        return ExplainRegister(static_cast<std::uint16_t>((address - kRegisterBase) / 2),
                               static_cast<std::uint16_t>(value));
    if (Begins(line, kSent))
        return ExplainRequest(BytesBehind(line, kSent));
    if (Begins(line, kReceived))
        return ExplainReply(BytesBehind(line, kReceived),
                            Begins(asked, kSent) ? BytesBehind(asked, kSent) : std::vector<std::uint8_t>());
    return "";
}

}  // namespace k905
