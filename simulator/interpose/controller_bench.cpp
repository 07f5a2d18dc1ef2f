// The bench, and the samples behind the optical module's last acquisition.
#include "simulator/interpose/controller.h"
#include "simulator/models/parts.h"

namespace k905 {

namespace {

using Json = Controller::Json;

constexpr std::size_t kMostSamples = 65536;

}  // namespace

Json Controller::Bench(const Json& request) {
    Guard guard(machine_.lock);
    return bench_.Do(request);
}

Json Controller::Samples() {
    Guard guard(machine_.lock);
    Instrument::Parts& parts = machine_.Hardware().Inside();
    const Json fpga = parts.fpga.State();
    const OpticsInput input = OpticsInputFrom(parts.fpga.Values(), parts.Temperature(),
                                              parts.InjectedSignal(), parts.InjectedChannel());
    const Json optics = parts.optics.State(input);
    const Registers& registers = parts.fpga.Values();
    const std::size_t wanted = std::size_t{registers[kRegSampleCountHigh]} << 16 | registers[kRegSampleCount];
    std::vector<std::uint16_t> samples(fpga["acquisitions"] == 0 ? 0 : std::min(wanted, kMostSamples));
    samples.resize(parts.fpga.Fetch(samples.data(), samples.size()));
    const double step = optics["metres_per_sample"];
    const double first = (static_cast<double>(input.delay) - Optics::kLeadIn) * step -
                         parts.optics.OffsetSamples() * kFinestStep;
    return {{"acquisition", fpga["acquisitions"]},
            {"metres_per_sample", step},
            {"first_metres", first},
            {"wavelength", optics["wavelength"]},
            {"samples", samples}};
}

}  // namespace k905
