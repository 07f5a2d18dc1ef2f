// The measurement board on the serial port: an ADuC848 that measures test points and switches signals for
// whoever sends it frames. A byte-stream device: what is written arrives at 115200 baud, replies come back at
// 115200 baud after the time a conversion takes.
//
// Frame, both ways: N, then N bytes. Requests end with '#'.
//   02 07 '#'               connect             reply 06 07 and five bytes
//   04 02 channel range '#' optical channels    reply 06 channel float(4, high byte first) 00
//   04 08 channel range '#' fixture channels    reply likewise
//   04 09 channel range '#' pulse width         reply 0a channel float(4) width(4, high byte first) 00
//   03 13..18 range '#'     switching           no reply
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulator/models/board_rails.h"
#include "simulator/models/chance.h"
#include "simulator/models/device.h"
#include "simulator/models/optics.h"
#include "simulator/models/registers.h"

namespace k905 {

class MeasurementBoard : public DeviceNode {
  public:
    static constexpr unsigned kBaud = 115200;  // 10 bits a byte
    static constexpr std::uint8_t kTerminator = 0x23;

    // `registers` and `module` are those of the optical module whose DACs the board probes.
    MeasurementBoard(World& world, unsigned seed, const Registers& registers, const Optics& module);

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;

    // Bench.
    void SetPlugged(bool plugged);
    bool Plugged() const { return plugged_; }
    // Holds a rail at so many volts, or frees it again. By test point name or channel number. "" or the
    // error text.
    std::string SetRail(const std::string& nameOrChannel, double volts);
    std::string FreeRail(const std::string& nameOrChannel);
    // The same board at another time: other noise.
    void SetNoise(unsigned seed);

    // What the board injects into the receiver's test input.
    TestSignal InjectedSignal() const { return plugged_ ? signal_ : TestSignal::kOpen; }
    unsigned InjectedChannel() const { return signalChannel_; }

    // Fault: the instrument has no such port.
    void SetPortMissing(bool missing) { portMissing_ = missing; }
    bool PortPresent() const { return !portMissing_; }
    // Faults of its replies.
    void SetReplyDelay(Micros delay) { replyDelay_ = delay; }
    void SetReplyShort(bool on) { replyShort_ = on; }
    void SetReplyWrongChannel(bool on) { replyWrongChannel_ = on; }
    void SetReplyGarbage(bool on) { replyGarbage_ = on; }
    // Fault: what it reads is the rail times gain, plus offset (volts), with so many times the noise.
    struct ReadingError {
        double gain = 1, offset = 0, noise = 1;
    };
    void SetReadingError(const ReadingError& error) { readingError_ = error; }

    // Reading of a channel without noise, volts; pulse width in counts of 1 ns.
    double Volts(std::uint8_t channel) const;
    std::uint32_t PulseWidth(std::uint8_t channel) const;

    nlohmann::json State() const;

  private:
    friend class MeasurementBoardFile;
    struct TimedByte {
        Micros at;  // nanoseconds are not needed: 87 microseconds a byte
        std::uint8_t value;
    };

    void Receive(std::uint8_t byte, Micros at);
    void Resynchronise();
    void Frame(const std::vector<std::uint8_t>& frame, Micros at);
    void Switch(std::uint8_t command);
    void Reply(std::vector<std::uint8_t> reply, Micros at);
    void DropArrived();

    World& world_;
    const Registers& registers_;
    const Optics& module_;
    ReadingError readingError_;
    Chance noise_;
    Chance garbage_;
    std::vector<double> rails_;  // by index into kBoardRails, spread included
    std::map<std::size_t, double> held_;
    bool plugged_ = true;
    TestSignal signal_ = TestSignal::kOpen;
    unsigned signalChannel_ = 0;

    Micros sentUntil_ = 0;            // when the last byte written has left the instrument
    std::deque<std::uint8_t> input_;  // bytes of an incomplete frame
    Micros lastInput_ = 0;
    Micros busyUntil_ = 0;          // the board works on one request at a time
    std::deque<TimedByte> output_;  // towards the instrument
    std::uint64_t frames_ = 0, replies_ = 0;

    Micros replyDelay_ = 0;
    bool portMissing_ = false, replyShort_ = false, replyWrongChannel_ = false, replyGarbage_ = false;
};

}  // namespace k905
