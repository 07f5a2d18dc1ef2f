// The bench, and the samples behind the optical module's last acquisitions.
#include <algorithm>

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

// The last acquisition, or the last one at the "wavelength" asked for.
Json Controller::Samples(const Json& request) {
    const Json asked = request.value("wavelength", Json(""));
    const std::string wanted = asked.is_string() ? asked.get<std::string>() : asked.dump();
    const auto lit = std::find(std::begin(kWavelengthNames), std::end(kWavelengthNames), wanted);
    if (!wanted.empty() && lit == std::end(kWavelengthNames))
        throw std::runtime_error("wavelength is 1310, 1550, 1625 or \"none\"");
    Guard guard(machine_.lock);
    const Instrument::Parts& parts = machine_.Hardware().Inside();
    const auto& [number, input, samples] =
        wanted.empty() ? parts.fpga.LastAcquired()
                       : parts.fpga.LastAcquired(static_cast<Wavelength>(lit - std::begin(kWavelengthNames)));
    const Json optics = parts.optics.State(input);
    const double step = optics["metres_per_sample"];
    const double first = (static_cast<double>(input.delay) - Optics::kLeadIn) * step -
                         parts.optics.OffsetSamples() * kFinestStep;
    return {{"acquisition", number},
            {"metres_per_sample", step},
            {"first_metres", first},
            {"wavelength", wanted.empty() ? optics["wavelength"] : Json(wanted)},
            {"pulse_nanoseconds", optics["pulse_nanoseconds"]},
            {"samples", samples}};
}

}  // namespace k905
