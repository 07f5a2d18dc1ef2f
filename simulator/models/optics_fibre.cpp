#include "simulator/models/optics_fibre.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace k905 {

namespace {

// G.652 fibre: attenuation, and back-scatter of 1 ns as test instruments assume it.
struct Glass {
    double loss, backscatter;
};
Glass GlassAt(Wavelength wavelength) {
    switch (wavelength) {
        case Wavelength::k1310:
            return {0.34, -79.5};
        case Wavelength::k1550:
            return {0.19, -81.9};
        default:
            return {0.22, -82.6};
    }
}

// A flat pulse that begins to arrive at `at` and lasts `length`, each sample being the mean over its step.
void AddPulse(std::vector<double>& power, const EchoGrid& grid, double at, double level) {
    const double from = (at - grid.start) / grid.step, to = from + grid.pulse / grid.step;
    for (auto i = static_cast<std::ptrdiff_t>(std::floor(from));
         i < static_cast<std::ptrdiff_t>(power.size()); ++i) {
        const double begin = static_cast<double>(i);
        if (begin >= to)
            break;
        if (i >= 0)
            power[static_cast<std::size_t>(i)] += level * (std::min(to, begin + 1) - std::max(from, begin));
    }
}

// Integral of the two-way transmission from the port to each sample's distance, metres; flat behind the end.
std::vector<double> Illuminated(const Fibre& fibre, double loss, double entry, const EchoGrid& grid,
                                std::size_t count) {
    const double perMetre = std::log(10.0) / 10 * 2 * loss / 1000;  // two-way, of the power
    const double perStep = std::exp(-perMetre * grid.step);
    std::vector<double> integral(count);
    std::size_t next = 0;
    double transmission = entry, total = 0, at = 0;
    const double end = fibre.End();
    for (std::size_t i = 0; i < count; ++i) {
        const double here = std::min(grid.start + static_cast<double>(i) * grid.step, end);
        // Events inside this step split it; most steps have none and are one multiplication.
        while (next < fibre.events.size() && fibre.events[next].at <= here) {
            const double stretch = fibre.events[next].at - at;
            total += transmission * stretch;
            transmission *= std::exp(-perMetre * stretch) * Ratio(-2 * fibre.events[next].loss);
            at = fibre.events[next++].at;
        }
        if (here > at) {
            const double stretch = here - at;
            total += transmission * stretch;
            transmission *= stretch == grid.step ? perStep : std::exp(-perMetre * stretch);
            at = here;
        }
        integral[i] = total;
    }
    return integral;
}

void AddBackscatter(std::vector<double>& power, const std::vector<double>& integral, const EchoGrid& grid,
                    double perMetre) {
    const double behind = grid.pulse / grid.step;
    const auto whole = static_cast<std::size_t>(behind);
    const double part = behind - static_cast<double>(whole);
    for (std::size_t i = 0; i < power.size(); ++i) {
        double tail = 0;
        if (i > whole)
            tail = integral[i - whole] * (1 - part) + integral[i - whole - 1] * part;
        power[i] += perMetre * (integral[i] - tail);
    }
}

std::string ParseEvents(const nlohmann::json& list, std::vector<FibreEvent>& events) {
    constexpr double kLongest = 200000;  // metres
    double last = 0;
    for (const auto& entry : list) {
        if (!entry.is_object() || !entry.contains("at"))
            return "an event of a fibre takes {\"at\": metres, \"loss\": dB, \"reflection\": dB}";
        for (const auto& [key, value] : entry.items())
            if ((key != "at" && key != "loss" && key != "reflection") || !value.is_number())
                return "an event of a fibre takes numbers for at, loss and reflection";
        const FibreEvent event = {entry["at"].get<double>(), entry.value("loss", 0.0),
                                  entry.value("reflection", kNoReflection)};
        if (!(event.at > last && event.at <= kLongest) || event.loss < 0 || event.loss > 100 ||
            event.reflection > 0)
            return "events of a fibre ascend from above 0 to 200000 m, lose 0 to 100 dB, reflect 0 dB or "
                   "less";
        last = event.at;
        events.push_back(event);
    }
    return "";
}

}  // namespace

std::string ParseFibre(const nlohmann::json& value, Fibre& fibre) {
    static const struct {
        const char* name;
        double length;
    } kKinds[] = {{"none", 0}, {"5 m", 5}, {"1 km", 1000}, {"1.5 km", 1500}};
    Fibre parsed;
    if (value.is_array() && !value.empty()) {
        parsed.name = "custom";
        std::string problem = ParseEvents(value, parsed.events);
        if (problem.empty())
            fibre = parsed;
        return problem;
    }
    for (const auto& kind : kKinds) {
        if (value != kind.name)
            continue;
        parsed.name = kind.name;
        if (kind.length > 0)
            parsed.events.push_back({kind.length, 0, kOpenEnd});
        fibre = parsed;
        return "";
    }
    return "optics.fibre is \"none\", \"5 m\", \"1 km\", \"1.5 km\", or a list of events up to the end";
}

double LossPerKilometre(Wavelength wavelength) {
    return GlassAt(wavelength).loss;
}

double BackscatterLevel(Wavelength wavelength) {
    return GlassAt(wavelength).backscatter;
}

std::vector<double> Echo(const Fibre& fibre, const Port& port, Wavelength wavelength, const EchoGrid& grid,
                         std::size_t count) {
    std::vector<double> power(count);
    if (wavelength == Wavelength::kNone)
        return power;
    AddPulse(power, grid, 0, Ratio(fibre.events.empty() ? kOpenEnd : port.reflection));
    if (fibre.events.empty())
        return power;
    const Glass glass = GlassAt(wavelength);
    double arriving = -2 * port.loss, at = 0;  // dB
    for (const FibreEvent& event : fibre.events) {
        arriving -= 2 * glass.loss * (event.at - at) / 1000;
        if (event.reflection > kNoReflection)
            AddPulse(power, grid, event.at, Ratio(arriving + event.reflection));
        arriving -= 2 * event.loss;
        at = event.at;
    }
    const double perMetre = Ratio(glass.backscatter) / kMetresPerNanosecond;
    AddBackscatter(power, Illuminated(fibre, glass.loss, Ratio(-2 * port.loss), grid, count), grid, perMetre);
    return power;
}

}  // namespace k905
