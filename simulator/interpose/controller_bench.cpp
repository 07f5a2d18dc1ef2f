// The bench, and the samples behind the optical module's last acquisition.
#include "simulator/interpose/controller.h"
#include "simulator/models/parts.h"

namespace k905 {

namespace {

using Json = Controller::Json;

}  // namespace

Json Controller::Bench(const Json& request) {
    Guard guard(machine_.lock);
    return bench_.Do(request);
}

Json Controller::Samples() {
    Guard guard(machine_.lock);
    Instrument::Parts& parts = machine_.Hardware().Inside();
    const auto& [input, count] = parts.fpga.LastAcquired();
    const Json optics = parts.optics.State(input);
    std::vector<std::uint16_t> samples(count);
    samples.resize(parts.fpga.Fetch(samples.data(), samples.size()));
    const double step = optics["metres_per_sample"];
    const double first = (static_cast<double>(input.delay) - Optics::kLeadIn) * step -
                         parts.optics.OffsetSamples() * kFinestStep;
    return {{"acquisition", parts.fpga.State()["acquisitions"]},
            {"metres_per_sample", step},
            {"first_metres", first},
            {"wavelength", optics["wavelength"]},
            {"pulse_nanoseconds", optics["pulse_nanoseconds"]},
            {"samples", samples}};
}

}  // namespace k905
