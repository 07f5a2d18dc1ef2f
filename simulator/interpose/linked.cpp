#include "simulator/interpose/linked.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

#include "simulator/interpose/machine.h"

// Asked for by the address sanitizer: its allocator would look at the clock with its own lock held, and
// another thread would take over there.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_release_to_os_interval_ms=-1";
}

namespace k905 {

namespace {

std::string TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "k905-linked-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder");
    return name;
}

// Nobody is left who could run or wake the others: the test would hang for ever.
void ReportDeadlock(Machine& machine, const std::string& temporaryFolder) {
    fprintf(stderr, "the program under test stands still for ever:\n");
    for (const auto& thread : machine.threads.All())
        fprintf(stderr, "  thread %d (%s): %s\n", thread->ordinal, thread->label.c_str(),
                machine.DescribeWait(*thread).c_str());
    std::error_code ignored;
    if (!temporaryFolder.empty())
        std::filesystem::remove_all(temporaryFolder, ignored);
    abort();
}

}  // namespace

LinkedInstrument::LinkedInstrument(const Options& options) : stateDir_(options.stateDir) {
    Inside inside;
    if (Machine::Current() != nullptr)
        throw std::logic_error("there is a LinkedInstrument already");
    if (stateDir_.empty()) {
        stateDir_ = TemporaryFolder();
        temporary_ = true;
    }
    Machine::Options machineOptions;
    machineOptions.stepped = true;
    machineOptions.instrument.stateDir = stateDir_;
    machineOptions.instrument.appDir = options.appDir.empty() ? K905_APP_DIR : options.appDir;
    machineOptions.instrument.seed = options.seed;
    machineOptions.instrument.bits = options.bits;
    machine_ = std::make_unique<Machine>(machineOptions);
    machine_->SteppedRun()->Grant(kNever);
    machine_->SteppedRun()->OnFrozen([machine = machine_.get(), folder = temporary_ ? stateDir_ : ""] {
        ReportDeadlock(*machine, folder);
    });
    machine_->Enter();
}

LinkedInstrument::~LinkedInstrument() {
    Inside inside;
    machine_->Leave();
    for (const std::string& path : machine_->descriptors.OpenPaths())
        ADD_FAILURE() << "left open at the end: " << path;
    bool running = false;
    for (const auto& thread : machine_->threads.All()) {
        const bool lives = thread->ordinal != 0 && thread->state != ThreadState::kDone;
        running = running || lives;
        if (lives)
            ADD_FAILURE() << "still there at the end: thread " << thread->ordinal << " (" << thread->label
                          << "), " << machine_->DescribeWait(*thread);
    }
    if (running)
        machine_.release();  // NOLINT: its threads are parked in it for ever
    if (temporary_) {
        std::error_code ignored;
        std::filesystem::remove_all(stateDir_, ignored);
    }
}

Instrument& LinkedInstrument::Hardware() {
    machine_->Running().DevicesChanged();
    return machine_->Hardware();
}

Micros LinkedInstrument::Now() const {
    return machine_->Now();
}

void LinkedInstrument::StartTrace() {
    machine_->trace.Start();
}

void LinkedInstrument::ClearTrace() {
    machine_->trace.Clear();
}

std::vector<std::string> LinkedInstrument::TraceLines(const std::vector<std::string>& kinds) const {
    Inside inside;
    std::vector<std::string> lines;
    for (const auto& entry : machine_->trace.Select({kinds.begin(), kinds.end()}, {}))
        lines.push_back(entry.line + (entry.count > 1 ? " x" + std::to_string(entry.count) : ""));
    return lines;
}

std::vector<std::string> LinkedInstrument::OpenPaths() const {
    return machine_->descriptors.OpenPaths();
}

}  // namespace k905
