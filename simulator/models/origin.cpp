#include "simulator/models/origin.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "simulator/models/json_values.h"
#include "simulator/models/parts.h"
#include "simulator/models/register_names.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

nlohmann::json OfRegister(const Fpga& fpga, const nlohmann::json& wanted) {
    const auto known = FindRegister(wanted);
    if (!known)
        throw std::invalid_argument(kNoRegister);
    const std::uint16_t index = *known;
    const std::uint16_t value = fpga.Values()[index];
    nlohmann::json reply = {{"found", false},
                            {"register", Text("0x%08x", kRegisterBase + 2u * index)},
                            {"value", Text("0x%04x", unsigned{value})}};
    const auto& written = fpga.Origin(index);
    if (!fpga.Configured())
        reply["why"] = "the FPGA is not configured";
    else if (fpga.Stuck(index))
        reply["why"] = "the fault optic.register_stuck holds it";
    else if (!written)
        reply["why"] = "not written since the FPGA was configured";
    else
        reply.update(
            {{"found", true},
             {"at_us", written->at},
             {"thread", written->thread},
             {"what", Text("reg write 0x%08x 0x%04x", kRegisterBase + 2u * index, unsigned{written->value})},
             {"explained", ExplainRegister(index, written->value)},
             {"before", Text("0x%04x", unsigned{written->before})}});
    return reply;
}

}  // namespace

const NamedMemory& MemoryOf(const nlohmann::json& request) {
    const std::string name = WordOf(request, "memory");
    for (const NamedMemory& memory : kNamedMemories)
        if (name == memory.name)
            return memory;
    throw std::invalid_argument("\"memory\" is module or mainboard");
}

std::size_t CellOf(const nlohmann::json& request) {
    if (!WholeInRange(MemberOf(request, "at"), 0, EepromCells::kSize - 1))
        throw std::invalid_argument("\"at\" is an address from 0 to 65535");
    return request["at"];
}

nlohmann::json DescribeOrigin(const NamedMemory& memory, const CellOrigin& origin, unsigned value) {
    nlohmann::json reply = {{"found", origin.how != CellOrigin::kAsFound}, {"value", Text("0x%02x", value)}};
    if (origin.how != CellOrigin::kAsFound)
        reply.update({{"at_us", origin.at},
                      {"thread", origin.thread},
                      {"what", Text("i2c %s write 0x%04x %u bytes%s", memory.name, unsigned{origin.first},
                                    unsigned{origin.count},
                                    origin.how == CellOrigin::kTorn ? ", torn by a power cut" : "")},
                      {"before", Text("0x%02x", unsigned{origin.before})}});
    return reply;
}

nlohmann::json OriginOf(Instrument& instrument, const nlohmann::json& request) {
    Instrument::Parts& parts = instrument.Inside();
    if (request.contains("register"))
        return OfRegister(parts.fpga, request["register"]);
    const NamedMemory& memory = MemoryOf(request);
    const std::size_t at = CellOf(request);
    EepromCells& cells = parts.Cells(memory.name);
    return DescribeOrigin(memory, cells.Origins()->At(at), cells.Image()[at]);
}

}  // namespace k905
