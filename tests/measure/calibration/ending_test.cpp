// The program is told to end at every millisecond of a measurement: each time it leaves the module at rest,
// within a second, and the tuning record as it was or as the whole measurement saves it. Every 50th
// millisecond is tried, or with K905_STOP_EVERY_MS=1 all of them.
//
// A measurement runs once, and at each of the moments a child process takes its place and ends it, so that
// what has gone before need not be gone through again.
#include <setjmp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <set>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "gui/guischeduler.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/fiber_offset.h"
#include "simulator/interpose/machine.h"
#include "simulator/models/parts.h"
#include "simulator/models/registers.h"
#include "tests/measure/calibration/calibration_fixture.h"

namespace {

constexpr k905::Micros kMillisecond = 1000;
constexpr k905::Micros kWithin = 1'000'000;

bool ending = false;           // this process is a child, and the program is to end
jmp_buf* threadEnd = nullptr;  // where a thread body that is called like a function returns to

}  // namespace

extern "C" {

// The order to end comes at the next look at the exit flag: where the child was made, its mutex may be held.
int __real__Z11GetExitFlagv();
int __wrap__Z11GetExitFlagv() {
    if (ending && __real__Z11GetExitFlagv() == 0)
        SetExitFlag(1);
    return __real__Z11GetExitFlagv();
}

[[noreturn]] void __real_pthread_exit(void* result);
[[noreturn]] void __wrap_pthread_exit(void* result) {
    if (threadEnd != nullptr)
        longjmp(*threadEnd, 1);
    __real_pthread_exit(result);
}

}  // extern "C"

namespace {

void RunBody(THREADFUNC body) {
    jmp_buf end;
    threadEnd = &end;
    if (setjmp(end) == 0)
        body(nullptr);
    threadEnd = nullptr;
}

// What a child tells with its exit status: what is not as it should be.
enum Finding { kApd = 1, kVdd = 2, kLaser = 4, kOutputs = 8, kLate = 16 };

std::string Describe(int findings) {
    const std::pair<int, const char*> names[] = {
        {kApd, "APD"}, {kVdd, "VDD"}, {kLaser, "laser"}, {kOutputs, "outputs"}, {kLate, "late"}};
    std::string text;
    for (const auto& [bit, name] : names)
        if ((findings & bit) != 0)
            text += std::string(text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

class EndingSweep : public test::Calibration {
  protected:
    EndingSweep() {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
    }
    ~EndingSweep() override {
        cOpmTunning = tuning_;
        SetExitFlag(0);
    }

    // Ends `measurement` at each moment, by way of main()'s end, and expects it to be safe in all. `repeats`
    // tells of moments whose like have been before: they are passed over when not every millisecond is asked
    // for.
    void Sweep(const char* name, const std::function<void()>& measurement,
               const std::function<bool()>& repeats = Never) {
        const char* every = getenv("K905_STOP_EVERY_MS");
        step_ = kMillisecond * (every != nullptr ? std::max(1, atoi(every)) : 50);
        repeats_ = every != nullptr ? Never : repeats;
        StopAfter(step_);
        test::Quietly([&] {
            measurement();
            if (ending)
                EndOfProgram();
            done_ = true;
        });
        EXPECT_GT(stops_, 0);
        records_.insert(Record());
        for (const auto& [record, when] : saved_)
            EXPECT_EQ(1u, records_.count(record))
                << name << ": the end after " << when / kMillisecond << " ms left a record of its own";
        EXPECT_EQ(0, unsafe_) << name << ": " << unsafe_ << " of " << stops_ << " ends, the first after "
                              << firstUnsafe_ / kMillisecond << " ms: " << Describe(firstFindings_);
        printf("%s: ended at %d moments, every %d ms, left safe in %d\n", name, stops_,
               static_cast<int>(step_ / kMillisecond), stops_ - unsafe_);
    }

  private:
    static bool Never() { return false; }
    static k905::Machine& TheMachine() { return *k905::Machine::Current(); }

    void StopAfter(k905::Micros time) {
        TheMachine().timers.At(TheMachine().Now() + time, [this] { Stop(); });
    }

    // Within a call of the product, the machine's lock held.
    void Stop() {
        if (done_ || ending)
            return;
        StopAfter(step_);
        const std::string before = Record();
        records_.insert(before);
        if (repeats_())
            return;
        ++stops_;
        const pid_t child = fork();
        if (child == 0) {
            ending = true;
            toldAt_ = TheMachine().Now();
            // As ThreadEnd wakes what sleeps.
            TheMachine().SetAlarm(10 * kMillisecond, 10 * kMillisecond);
            return;
        }
        int status = -1;
        waitpid(child, &status, 0);
        const int findings = WIFEXITED(status) ? WEXITSTATUS(status) : 255;
        if (findings != 0 && unsafe_++ == 0) {
            firstUnsafe_ = TheMachine().Now();
            firstFindings_ = findings;
        }
        // The child saved into the file that this process goes on with.
        if (Record() == before)
            return;
        saved_.emplace(Record(), TheMachine().Now());
        k905::host::WriteFile(linked_->StateDir() + "/" + kRecordFile, before);
    }

    [[noreturn]] void EndOfProgram() {
        OPMTestEnd();
        const k905::Registers& registers = linked_->Hardware().Inside().fpga.Values();
        const auto at = [&](uint32_t address) { return registers[address >> 1 & 0xFFFF]; };
        int findings = 0;
        findings |= at(OPM_APD_REG) == 2048 ? 0 : kApd;
        findings |= at(OPM_VDD_REG) == 2064 ? 0 : kVdd;
        findings |= at(OPM_CTRL1_REG) == 0x40 ? 0 : kLaser;
        findings |= at(FPGA_CTRLOUT_REG) == 0x07F8 ? 0 : kOutputs;
        findings |= linked_->Now() - toldAt_ <= kWithin ? 0 : kLate;
        _exit(findings);
    }

    std::string Record() const {
        std::string record;
        k905::host::ReadFile(linked_->StateDir() + "/" + kRecordFile, record);
        return record;
    }

    static constexpr char kRecordFile[] = "tuning.bin";
    OPM_TUNING tuning_ = cOpmTunning;
    k905::Micros step_ = 0, toldAt_ = 0, firstUnsafe_ = 0;
    std::set<std::string> records_;              // those of the measurement that nobody ends
    std::map<std::string, k905::Micros> saved_;  // those that the ended ones left instead of what was there
    std::function<bool()> repeats_;
    int stops_ = 0, unsafe_ = 0, firstFindings_ = 0;
    bool done_ = false;
};

TEST_F(EndingSweep, OfAnApdLoop) {
    Sweep("APD loop", [] { RunBody(OPMAdjustAPDThd); });
}

TEST_F(EndingSweep, OfAVddLoop) {
    Sweep("VDD loop", [] { RunBody(OPMAdjustVddThd); });
}

TEST_F(EndingSweep, OfALightPathCheck) {
    Set("optics.fibre", "1.5 km");
    Sweep("light-path check", [] { LightRoadJust(WAVE_LEN_1310); });
}

TEST_F(EndingSweep, OfAnOffsetCalibration) {
    Set("optics.fibre", "5 m");
    Sweep("offset calibration", [] {
        char result[128] = "";
        CalExFiberLen(result);
    });
}

TEST_F(EndingSweep, OfAnApdTuning) {
    Set("module.temperature", -38);
    Set("module.temperature_rate", 3.5);
    static APD_BREAK_PARA samples;
    samples = {};
    // From the tenth sample on each one is followed by a fit, which is saved.
    Sweep(
        "APD tuning", [] { APDTuning(&samples, 0); }, [] { return samples.iNum >= 1 && samples.iNum <= 8; });
    EXPECT_GE(samples.iNum, 10);
}
