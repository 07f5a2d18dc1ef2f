// What is plugged into the module's port, and the light that comes back from it.
//
// Distances in metres from the port. A pulse that spans `length` metres (two-way: 0.102 m a nanosecond) comes
// back from a reflection as a copy of itself, and from the glass as back-scatter of everything that it covers
// at the moment.
#pragma once

#include <cmath>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace k905 {

// Power ratio of a level in decibels.
inline double Ratio(double decibels) {
    return std::pow(10.0, decibels / 10);
}

enum class Wavelength { k1310, k1550, k1625, kNone };
constexpr const char* kWavelengthNames[] = {"1310", "1550", "1625", "none"};
constexpr std::size_t kWavelengths = sizeof kWavelengthNames / sizeof kWavelengthNames[0];

constexpr double kNoReflection = -200;  // dB
constexpr double kOpenEnd = -14.5;      // dB: Fresnel reflection of a flat end in air, index 1.468

// Connector, splice or end. The last event of a fibre is its end.
struct FibreEvent {
    double at;          // metres
    double loss;        // dB, one way
    double reflection;  // dB below the light that arrives
};

struct Fibre {
    std::string name = "none";
    std::vector<FibreEvent> events;  // ascending; empty: nothing plugged in
    double End() const { return events.empty() ? 0 : events.back().at; }
};

// "none", "5 m", "1 km", "1.5 km", or a list of events {"at": metres, "loss": dB, "reflection": dB} of which
// the last one is the end ("loss" 0, "reflection" none where left out). "" or the error text.
std::string ParseFibre(const nlohmann::json& value, Fibre& fibre);

double LossPerKilometre(Wavelength wavelength);  // dB
// Back-scatter of a pulse of one nanosecond, dB below it.
double BackscatterLevel(Wavelength wavelength);

constexpr double kMetresPerNanosecond = 0.1021;  // two-way, group index 1.468

// The module's own port as the light meets it.
struct Port {
    double loss;        // dB, one way
    double reflection;  // dB, with a connector in it; an empty port reflects as an open end
};

// Light that returns out of 1 W of pulse as a function of time.
struct EchoGrid {
    double start;  // distance of sample 0, metres; negative before the pulse is out
    double step;   // metres a sample
    double pulse;  // metres
};
// Adds nothing before the pulse is out. Watts per watt, `count` samples.
std::vector<double> Echo(const Fibre& fibre, const Port& port, Wavelength wavelength, const EchoGrid& grid,
                         std::size_t count);

}  // namespace k905
