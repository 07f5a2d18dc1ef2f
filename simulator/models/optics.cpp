#include "simulator/models/optics.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace k905 {

namespace {

// The test input swings the level far below and a little above the dark level, whatever the attenuators are
// set to.
constexpr double kTestVoltage0 = 0.10, kTestVoltage1 = -0.80;

constexpr double kResponsivity = 0.95;  // amperes a watt, InGaAs
constexpr double kReceiveLoss = 3.5;    // dB from the port to the diode: the coupler and its splices
constexpr double kShortestFibre = 0.1;  // metres: what is left of one that is too short
constexpr double kDelay = 40.6, kDelaySpread = 2.8;             // metres, half range
constexpr double kPowerSpread = 0.08;                           // of the laser's power, half range
constexpr double kPortLoss = 0.25, kPortLossSpread = 0.15;      // dB
constexpr double kPortReflection = -48, kReflectionSpread = 3;  // dB: mated polished connectors
constexpr double kTurnOn = 0.7;                                 // nanoseconds until the laser lights

// What the laser driver's current step couples into the receiver, away from where light moves it.
constexpr double kCrosstalk = 0.003, kCrosstalkDecay = 10;  // volts, nanoseconds

}  // namespace

ModuleSpread DrawModuleSpread(unsigned seed) {
    Chance chance(seed, "laser and port");
    ModuleSpread spread = {};
    static_cast<ReceiverSpread&>(spread) = DrawReceiverSpread(seed);
    spread.apd = DrawApdSpread(seed);
    spread.delay = kDelay + chance.Spread(kDelaySpread);
    spread.laserFactor = 1 + chance.Spread(kPowerSpread);
    spread.portLoss = kPortLoss + chance.Spread(kPortLossSpread);
    spread.portReflection = kPortReflection + chance.Spread(kReflectionSpread);
    return spread;
}

OpticsInput OpticsInputFrom(const Registers& registers, double temperature, TestSignal signal,
                            unsigned testChannel) {
    OpticsInput input = {};
    input.controlOut = registers[kRegControlOut];
    input.current0 = registers[kRegCurrent0];
    input.current1 = registers[kRegCurrent1];
    input.att0 = registers[kRegAtt0] & kDacMask;
    input.att1 = registers[kRegAtt1] & kDacMask;
    input.vdd = registers[kRegVdd] & kDacMask;
    input.apd = registers[kRegApd] & kDacMask;
    input.apdBias = registers[kRegApdBias] & kDacMask;
    input.pulse = registers[kRegPulse];
    input.pulseMode = registers[kRegPulseMode];
    input.memory = registers[kRegMemory];
    input.averages = registers[kRegAverages];
    input.delay = static_cast<std::uint32_t>(registers[kRegDelayHigh]) << 16 | registers[kRegDelayLow];
    input.temperature = temperature;
    input.testSignal = signal;
    input.testChannel = testChannel;
    return input;
}

void Optics::SetSeed(unsigned seed) {
    seed_ = seed;
    spread_ = DrawModuleSpread(seed);
    SetNoise(seed);
}

void Optics::SetNoise(unsigned seed) {
    noise_ = Chance(seed, "receiver noise");
}

void Optics::SetFibre(const Fibre& fibre) {
    plugged_ = fibre;
    PlugFibre();
}

void Optics::SetBentFibre(double at, double loss) {
    bendAt_ = at;
    bendLoss_ = loss;
    PlugFibre();
}

void Optics::SetLongerFibre(double metres) {
    longer_ = metres;
    PlugFibre();
}

// A shorter fibre ends before the events that it no longer has.
void Optics::PlugFibre() {
    fibre_ = plugged_;
    std::vector<FibreEvent>& events = fibre_.events;
    if (events.empty())
        return;
    const auto byPlace = [](const FibreEvent& event, double at) { return event.at < at; };
    FibreEvent end = events.back();
    events.pop_back();
    end.at = std::max(end.at + longer_, kShortestFibre);
    events.erase(std::lower_bound(events.begin(), events.end(), end.at, byPlace), events.end());
    if (bendLoss_ > 0 && bendAt_ < end.at)
        events.insert(std::lower_bound(events.begin(), events.end(), bendAt_, byPlace),
                      {bendAt_, bendLoss_, kNoReflection});
    events.push_back(end);
}

ApdSpread Optics::Diode() const {
    ApdSpread diode = spread_.apd;
    diode.leakage = diodeError_.leakage.value_or(diode.leakage);
    diode.breakdown25 = diodeError_.breakdown.value_or(diode.breakdown25);
    return diode;
}

LaserSetup Optics::Laser(const OpticsInput& input) const {
    constexpr unsigned kShift = 6, kNoLaser = 3;
    const unsigned selected = input.current1 >> kShift & 3u;
    const unsigned lit = selected < kNoLaser ? static_cast<unsigned>(lit_[selected]) : kNoLaser;
    const auto current1 = static_cast<std::uint16_t>((input.current1 & ~(3u << kShift)) | lit << kShift);
    return LaserFrom(current1, input.pulse, VddVolts(seed_, Code(Dac::kVdd, input.vdd)));
}

bool Optics::ChannelDead(const OpticsInput& input) const {
    return (receiverError_.deadChannels >> (input.current0 & 7u) & 1u) != 0;
}

double Optics::PerAmpere(const OpticsInput& input) const {
    return ChannelDead(input) ? 0 : Transimpedance(input.current0) * receiverError_.gain;
}

ApdState Optics::Apd(const OpticsInput& input) const {
    if (apdDefective_)
        return {};
    const double light = kResponsivity * diodeError_.responsivity * light_ *
                         Ratio(-kReceiveLoss - spread_.portLoss - connectorLoss_);
    return RestingApd(Diode(), ApdVolts(seed_, Code(Dac::kApd, input.apd)), input.temperature, light);
}

double Optics::DarkVolts(const OpticsInput& input) const {
    return DarkVolts(input, Apd(input));
}

double Optics::DarkVolts(const OpticsInput& input, const ApdState& apd) const {
    if (pathBroken_)
        return 0;
    double volts = BalancedVolts(spread_, DacVolts(Code(Dac::kAtt0, input.att0)),
                                 DacVolts(Code(Dac::kAtt1, input.att1))) -
                   apd.current * PerAmpere(input);
    if (input.testSignal != TestSignal::kOpen && (input.current0 & 7u) == input.testChannel &&
        !ChannelDead(input))
        volts += input.testSignal == TestSignal::kVoltage0 ? kTestVoltage0 : kTestVoltage1;
    return volts;
}

std::vector<double> Optics::PulseCurrent(const OpticsInput& input, std::size_t count) const {
    const LaserSetup laser = Laser(input);
    if (laser.watts <= 0 || laserOff_ || apdDefective_)
        return {};
    const double step = SampleStep(input.pulseMode, input.memory);
    const double first = static_cast<double>(input.delay) - kLeadIn;
    const EchoGrid grid = {first * step - spread_.delay - kTurnOn * kMetresPerNanosecond, step,
                           laser.nanoseconds * kMetresPerNanosecond};
    if (grid.start + static_cast<double>(count) * step <= 0)
        return {};
    const Port port = {spread_.portLoss + connectorLoss_,
                       connectorReflection_.value_or(spread_.portReflection)};
    std::vector<double> current = Echo(fibre_, port, laser.wavelength, grid, count);
    const double amperes = kResponsivity * diodeError_.responsivity * laser.watts * laserPower_ *
                           spread_.laserFactor * Ratio(-kReceiveLoss);
    for (double& sample : current)
        sample *= amperes;
    return current;
}

// The driver fires at the end of the lead-in, whether or not its laser lights.
void Optics::AddCrosstalk(const OpticsInput& input, std::vector<double>& signal, std::size_t count) const {
    const std::size_t fired = input.delay < kLeadIn ? kLeadIn - input.delay : count;
    if (pathBroken_ || fired >= count || Laser(input).watts <= 0)
        return;
    signal.resize(count);
    const double step = SampleStep(input.pulseMode, input.memory) / kMetresPerNanosecond;
    const double decay = std::exp(-step / kCrosstalkDecay);
    double volts = kCrosstalk;
    for (std::size_t i = fired; i < count && volts > kCrosstalk * 1e-4; ++i, volts *= decay)
        signal[i] -= volts;
}

std::vector<std::uint16_t> Optics::Acquire(const OpticsInput& input, std::size_t count) {
    const ApdState apd = Apd(input);
    const double level = DarkVolts(input, apd);
    const double perAmpere = PerAmpere(input);
    const double shots = std::max<double>(input.averages, 1);
    const double amplifier =
        AmplifierNoise(input.current0) * receiverError_.noise * std::sqrt(receiverError_.bandwidth);
    const double current = perAmpere * perAmpere * receiverError_.bandwidth;
    const double resting =
        pathBroken_ ? amplifier * amplifier : amplifier * amplifier + current * apd.noiseSquare;
    std::vector<double> signal =
        pathBroken_ || perAmpere <= 0 ? std::vector<double>() : PulseCurrent(input, count);
    const bool pulsed = !signal.empty();
    for (double& sample : signal)
        sample *= perAmpere * apd.gain;
    if (pulsed)
        Amplify(signal,
                SampleStep(input.pulseMode, input.memory) / kMetresPerNanosecond * receiverError_.bandwidth);

    AddCrosstalk(input, signal, count);

    // Shot noise of the echo: its square grows with the light.
    const double perVolt = pulsed ? current * ShotNoiseSquare(1, apd.gain) / (perAmpere * apd.gain) : 0;
    const double still = std::sqrt(resting / shots);
    std::vector<std::uint16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double echo = signal.empty() ? 0 : signal[i];
        const double noise = echo > 0 ? std::sqrt((resting + perVolt * echo) / shots) : still;
        samples[i] = AdcCode((level - echo + noise * noise_.Normal()) * adcError_.gain + adcError_.offset);
    }
    if (!samples.empty())
        samples[0] = AdcCode(adcError_.offset);
    if (adcError_.bit >= 0 || adcError_.missingFrom > 0)
        for (std::uint16_t& sample : samples)
            sample = adcError_.Given(sample);
    return samples;
}

Wavelength Optics::Lit(const OpticsInput& input) const {
    return Laser(input).wavelength;
}

double Optics::BreakdownCode(double temperature) const {
    return ApdCode(seed_, BreakdownVolts(Diode(), temperature));
}

double Optics::OffsetSamples() const {
    return spread_.delay / kFinestStep;
}

nlohmann::json Optics::State(const OpticsInput& input) const {
    const ApdState apd = Apd(input);
    const LaserSetup laser = Laser(input);
    const double atZero = BreakdownCode(0);
    const auto events = [](const Fibre& fibre) {
        nlohmann::json list = nlohmann::json::array();
        for (const FibreEvent& event : fibre.events) {
            list.push_back({{"at", event.at}, {"loss", event.loss}});
            if (event.reflection > kNoReflection)
                list.back()["reflection"] = event.reflection;
        }
        return list;
    };
    // Volts at code 0, volts a code.
    const auto line = [&](Dac dac, double (*volts)(unsigned, double)) {
        const double low = volts(seed_, Code(dac, 0)), high = volts(seed_, Code(dac, kDacMask));
        return nlohmann::json{low, (high - low) / kDacMask};
    };
    return {{"seed", seed_},
            {"dark_volts", DarkVolts(input)},
            {"dark_code", AdcCode(DarkVolts(input))},
            {"att0_zero_code", static_cast<int>(std::lround(spread_.att0Zero * 4096 / 2.5))},
            {"att1_zero_code", static_cast<int>(std::lround(spread_.att1Zero * 4096 / 2.5))},
            {"breakdown_code", BreakdownCode(input.temperature)},
            {"breakdown_code_at_zero", atZero},
            {"breakdown_codes_per_degree", BreakdownCode(1) - atZero},
            {"offset_samples", OffsetSamples()},
            {"apd_line", line(Dac::kApd, ApdVolts)},
            {"vdd_line", line(Dac::kVdd, VddVolts)},
            {"apd_volts", apd.volts},
            {"apd_gain", apd.gain},
            {"apd_current", apd.current},
            {"fibre", fibre_.name},
            {"fibre_length", fibre_.End()},
            {"fibre_events", events(plugged_)},
            {"true_events", events(fibre_)},
            {"light_on_link", light_},
            {"port_loss", spread_.portLoss + connectorLoss_},
            {"path_broken", pathBroken_},
            {"laser_enabled", (input.current1 & 1) != 0},
            {"laser_watts", laserOff_ ? 0.0 : laser.watts * laserPower_ * spread_.laserFactor},
            {"wavelength", kWavelengthNames[static_cast<int>(laser.wavelength)]},
            {"wavelength_code", input.current1 >> 6 & 3},
            {"pulse_code", input.pulse},
            {"pulse_nanoseconds", laser.nanoseconds},
            {"metres_per_sample", SampleStep(input.pulseMode, input.memory)}};
}

}  // namespace k905
