#include "tests/power_cuts/sweep.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <deque>
#include <set>
#include <unordered_map>

#include "device/crc32.h"

namespace power_cuts {

namespace {

constexpr uint32_t kPages = SYSPARA_PART_SIZE / kPageSize;  // of parameters
constexpr size_t kRecordSealed = offsetof(module_part, reserved);
constexpr uint32_t kNone = UINT32_MAX;

Window WindowOf(const WriteCycle& cycle) {
    if (cycle.address < SYSPARA_BASE_ADDR)
        return kRecord;
    if (cycle.address < CRC_BASE_ADDR)
        return kPage;
    if (cycle.address < BUFF_BASE_ADDR)
        return kChecksums;
    if (cycle.bytes.size() == sizeof(uint16_t))
        return kRelease;
    return cycle.address % sizeof(buffer_part) == 0 ? kFirstHalf : kSecondHalf;
}

uint32_t PageOf(const WriteCycle& cycle) {
    return cycle.address / kPageSize;
}

// The cuts of a cycle: after each byte with the rest as it was, and each byte that is hit with what it may
// leave.
std::vector<Cut> CutsOf(uint32_t cycle, size_t count, unsigned step) {
    std::vector<Cut> cuts;
    for (const Damage damage : {Damage::kPrefix, Damage::kHalfByte, Damage::kPage})
        for (size_t bytes = 0; bytes < count + (damage == Damage::kPrefix); ++bytes)
            if (bytes % step == 0 || bytes + 1 >= count)
                cuts.push_back({cycle, static_cast<uint16_t>(bytes), damage});
    return cuts;
}

// The cycle on the part's array.
void Program(BarePart& part, const WriteCycle& cycle) {
    memcpy(part.Image() + cycle.address, cycle.bytes.data(), cycle.bytes.size());
}

void ProgramAndCut(BarePart& part, const WriteCycle& cycle, const Cut& cut, unsigned seed) {
    part.PowerOn(SeedOf(cycle.address, seed));
    part.Cells().CutAfter(cut.bytes, cut.damage);
    part.Cells().Program(cycle.address, cycle.bytes, 0);
}

// A state of the part's array: of each page that is not as at the start, its number and bytes.
using Delta = std::string;

struct State {
    const Delta* delta;
    uint32_t parent;
    Cut cut;
    int depth;
    Window window;   // of the first cut
    bool spoilt;     // a cut has spoilt checksums of other pages
    Bytes expected;  // of each page that is written, a PageState
    uint64_t hits;   // cuts that leave it
    Outcome outcome;
};

enum PageState : uint8_t { kOldGood, kNewGood, kOldTold, kNewTold, kAny };

class Exploration {
  public:
    Exploration(const Start& start, const Options& options) : start_(start), options_(options) { Prepare(); }

    Result Run();
    Bytes ImageAfter(const std::vector<Cut>& cuts);

  private:
    void Prepare();
    void Load(const Delta& delta);
    void MarkDirty(const std::vector<WriteCycle>& cycles);
    Delta Take();
    void Add(const State& parent, uint32_t parentIndex, const Cut& cut, const WriteCycle& cycle);
    void Expand(uint32_t index, const std::vector<WriteCycle>& cycles);
    Outcome Judge(const State& state, const std::vector<WriteCycle>& cycles);
    Outcome JudgeWritten(const State& state);
    Outcome JudgeOthers(const State& state);
    Outcome JudgeChecksums(const State& state);
    Outcome WriteAgain(const State& state);
    Bytes Expected();
    const uint8_t* ParameterPage(uint32_t page) {
        return part_.Image() + (static_cast<uint32_t>(firstPage_) + page) * kPageSize;
    }
    const uint8_t* Pending();
    Outcome Fail(const State& state, const char* what, uint32_t page);
    std::vector<Cut> PathOf(const State& state) const;
    void Remember(const std::vector<WriteCycle>& cycles);

    const Start& start_;
    const Options& options_;
    BarePart part_;
    Bytes base_;  // the array before the work
    std::vector<WriteCycle> work_;
    uint32_t first_ = 0, count_ = 0;  // pages that are written
    int firstPage_ = 0;
    std::vector<Bytes> old_, new_;
    std::vector<bool> good_;  // parameter pages before the work
    uint32_t crcBefore_[kPages] = {};
    std::set<std::string> records_;  // module records that were ever written, what their seal is over
    std::string recordAfter_;        // the one that the work leaves
    std::vector<uint16_t> dirty_;    // pages that can differ from base_, sorted
    std::unordered_map<Delta, uint32_t> known_;
    std::deque<State> states_;
    Result result_ = {};
    int shown_ = 0;
};

std::string Sealed(const void* record) {
    return {static_cast<const char*>(record), kRecordSealed};
}

uint32_t EntryOf(uint32_t page) {
    return valid_crc.crc_data[page / CRC_PER_PAGE].crc[page % CRC_PER_PAGE];
}

void Exploration::Prepare() {
    FillStore(part_.Image());
    part_.PowerOn();
    BarePart::ResetVariables();
    BarePart::Open();
    start_.prepare(part_);
    Remember(part_.TakeCycles());
    base_.assign(part_.Image(), part_.Image() + k905::EepromCells::kSize);
    const std::string recordBefore = Sealed(&valid_module);
    const bool opened = valid_module.syspara_base_addr != 0;
    firstPage_ =
        (valid_module.syspara_base_addr + valid_module.syspara_part_size * valid_module.syspara_index) /
        static_cast<int>(kPageSize);
    if (start_.count > 0) {
        first_ = start_.address / kPageSize;
        count_ = (start_.address + start_.count - 1) / kPageSize - first_ + 1;
    }
    const auto take = [this](std::vector<Bytes>& pages) {
        for (uint32_t page = first_; page < first_ + count_; ++page)
            pages.emplace_back(ParameterPage(page), ParameterPage(page) + kPageSize);
    };
    take(old_);
    crc_part before = valid_crc;
    Work(start_);
    work_ = part_.TakeCycles();
    take(new_);
    recordAfter_ = Sealed(&valid_module);
    records_.insert(recordAfter_);
    Remember(work_);
    if (opened) {
        records_.insert(recordBefore);
    } else {  // the work is the opening: what it makes of the store is what counts
        before = valid_crc;
        firstPage_ = SYSPARA_BASE_ADDR / static_cast<int>(kPageSize);
    }
    for (uint32_t page = 0; page < kPages; ++page) {
        const uint32_t offset = (static_cast<uint32_t>(firstPage_) + page) * kPageSize;
        crcBefore_[page] = before.crc_data[page / CRC_PER_PAGE].crc[page % CRC_PER_PAGE];
        good_.push_back(crcBefore_[page] == crc32c(base_.data() + offset, kPageSize));
    }
}

void Exploration::Remember(const std::vector<WriteCycle>& cycles) {
    for (const WriteCycle& cycle : cycles)
        if (cycle.address < MODULE_PART_COUNT * kPageSize)
            records_.insert(Sealed(cycle.bytes.data()));
}

// The array as at the start, but for the delta.
void Exploration::Load(const Delta& delta) {
    for (const uint16_t page : dirty_)
        memcpy(part_.Image() + page * kPageSize, base_.data() + page * kPageSize, kPageSize);
    dirty_.clear();
    for (size_t at = 0; at < delta.size(); at += sizeof(uint16_t) + kPageSize) {
        uint16_t page = 0;
        memcpy(&page, delta.data() + at, sizeof page);
        memcpy(part_.Image() + page * kPageSize, delta.data() + at + sizeof page, kPageSize);
        dirty_.push_back(page);
    }
}

void Exploration::MarkDirty(const std::vector<WriteCycle>& cycles) {
    for (const WriteCycle& cycle : cycles)
        dirty_.push_back(static_cast<uint16_t>(PageOf(cycle)));
    std::sort(dirty_.begin(), dirty_.end());
    dirty_.erase(std::unique(dirty_.begin(), dirty_.end()), dirty_.end());
}

Delta Exploration::Take() {
    Delta delta;
    for (const uint16_t page : dirty_) {
        const uint8_t* bytes = part_.Image() + page * kPageSize;
        if (memcmp(bytes, base_.data() + page * kPageSize, kPageSize) == 0)
            continue;
        delta.append(reinterpret_cast<const char*>(&page), sizeof page);
        delta.append(reinterpret_cast<const char*>(bytes), kPageSize);
    }
    return delta;
}

// The slot that the next opening will find, as docs/eeprom.md has it; null when it replays nothing.
const uint8_t* Exploration::Pending() {
    module_part record = {};
    for (int copy = 0; copy < MODULE_PART_COUNT; ++copy) {
        memcpy(&record, part_.Image() + copy * static_cast<int>(kPageSize), sizeof record);
        if (record.syspara_base_addr == SYSPARA_BASE_ADDR &&
            record.crc_self == crc32c(&record, kRecordSealed))
            break;
        record = {};
    }
    for (unsigned slot = 0; slot < BUFF_PART_COUNT; ++slot) {
        const uint8_t* bytes = part_.Image() + BUFF_BASE_ADDR + sizeof(buffer_part) * slot;
        buffer_part journal = {};
        memcpy(&journal, bytes, sizeof journal);
        if ((record.buff_err >> slot & 1) == 0 && journal.state == BUFFER_STATE_PENDING)
            return journal.crc_self == crc32c(&journal, offsetof(buffer_part, reserved)) ? bytes : nullptr;
    }
    return nullptr;
}

// What the guarantees make of the pages that are written, from the array as the first cut left it.
Bytes Exploration::Expected() {
    Bytes expected;
    const uint8_t* slot = Pending();
    uint16_t slotPage = 0;
    if (slot != nullptr)
        memcpy(&slotPage, slot + offsetof(buffer_part, page_addr), sizeof slotPage);
    for (uint32_t i = 0; i < count_; ++i) {
        const bool replayed = slotPage == static_cast<uint32_t>(firstPage_) + first_ + i;
        const uint8_t* bytes = replayed ? slot : ParameterPage(first_ + i);
        const bool isNew = memcmp(bytes, new_[i].data(), kPageSize) == 0;
        if ((start_.limits & (kMoves | kOldRecord)) != 0 ||
            (!isNew && memcmp(bytes, old_[i].data(), kPageSize) != 0)) {
            expected.push_back(kAny);
            continue;
        }
        const uint32_t page = first_ + i;
        uint32_t entry = 0;
        memcpy(&entry,
               part_.Image() + valid_module.crc_base_addr +
                   valid_module.crc_part_size * valid_module.crc_index + page / CRC_PER_PAGE * kPageSize +
                   page % CRC_PER_PAGE * sizeof entry,
               sizeof entry);
        const bool good = replayed || entry == crc32c(bytes, kPageSize);
        expected.push_back(isNew ? (good ? kNewGood : kNewTold) : good ? kOldGood : kOldTold);
    }
    return expected;
}

// Notes the state that the array has after the cut.
void Exploration::Add(const State& parent, uint32_t parentIndex, const Cut& cut, const WriteCycle& cycle) {
    const bool first = parentIndex == kNone;
    const int depth = parent.depth + 1;
    const Window window = first ? WindowOf(cycle) : parent.window;
    const bool spoilt = parent.spoilt || (cut.damage == Damage::kPage && WindowOf(cycle) == kChecksums);
    Bytes expected = first ? Expected() : parent.expected;
    ++result_.windows[window].cuts;
    ++result_.cutsAt[std::min(depth, kDepths) - 1];
    Delta key(1, static_cast<char>(window << 1 | spoilt));
    key.append(expected.begin(), expected.end());
    key += Take();
    const auto [at, isNew] = known_.emplace(std::move(key), static_cast<uint32_t>(states_.size()));
    if (isNew)
        states_.push_back(
            {&at->first, parentIndex, cut, depth, window, spoilt, std::move(expected), 0, kOld});
    ++states_[at->second].hits;
}

// Cuts the cycles that the work, or the opening of a state, has: all of them in turn.
void Exploration::Expand(uint32_t index, const std::vector<WriteCycle>& cycles) {
    const State parent =
        index == kNone ? State{nullptr, kNone, {}, 0, kRecord, false, {}, 0, kOld} : states_[index];
    const unsigned step = parent.depth == 0 ? 1 : parent.depth == 1 ? start_.second : start_.third;
    for (uint32_t number = 0; number < cycles.size(); ++number) {
        const WriteCycle& cycle = cycles[number];
        uint8_t* bytes = part_.Image() + cycle.address;
        const Bytes before(bytes, bytes + cycle.bytes.size());
        for (const Cut& cut : CutsOf(number, cycle.bytes.size(), step)) {
            ProgramAndCut(part_, cycle, cut, options_.seed);
            Add(parent, index, cut, cycle);
            memcpy(bytes, before.data(), before.size());
        }
        Program(part_, cycle);
    }
}

std::vector<Cut> Exploration::PathOf(const State& state) const {
    std::vector<Cut> cuts = {state.cut};
    for (uint32_t at = state.parent; at != kNone; at = states_[at].parent)
        cuts.insert(cuts.begin(), states_[at].cut);
    return cuts;
}

Outcome Exploration::Fail(const State& state, const char* what, uint32_t page) {
    if (shown_++ < options_.findings)
        fprintf(stderr, "%s: cuts %s: %s (%u)\n", start_.name, Text(PathOf(state)).c_str(), what, page);
    return kFinding;
}

// What the opened store holds.
Outcome Exploration::Judge(const State& state, const std::vector<WriteCycle>& cycles) {
    Remember(cycles);
    if (records_.count(Sealed(&valid_module)) == 0)
        return Fail(state, "a module record that was never written", 0);
    const Outcome record = count_ == 0 && Sealed(&valid_module) == recordAfter_ ? kNew : kOld;
    return std::max(
        {record, JudgeWritten(state), JudgeOthers(state), JudgeChecksums(state), WriteAgain(state)});
}

// The pages that were being written, as they are read.
Outcome Exploration::JudgeWritten(const State& state) {
    Outcome outcome = kOld;
    for (uint32_t i = 0; i < count_; ++i) {
        Bytes bytes(kPageSize);
        const int32_t result = optic_eeprom_read((first_ + i) * kPageSize, bytes.data(), kPageSize);
        const bool isNew = bytes == new_[i], isOld = bytes == old_[i], good = result == kPageSize;
        if (!good && result != EEPROM_MISMATCH)
            return Fail(state, "a read gives another code", first_ + i);
        if (!isNew && !isOld) {
            if (good || (start_.limits & kNoJournal) == 0)
                return Fail(state, good ? "a mixture reads as good" : "a mixture", first_ + i);
            outcome = std::max(outcome, kMixed);
            continue;
        }
        const uint8_t expected = state.expected[i];
        if (expected != kAny) {
            const bool expectNew = expected == kNewGood || expected == kNewTold;
            const bool expectGood = expected == kOldGood || expected == kNewGood;
            if (isNew != expectNew)
                return Fail(state, isNew ? "new in place of old" : "old in place of new", first_ + i);
            if (expectGood != good && !(expectGood && state.spoilt))
                return Fail(state, good ? "good in place of told" : "told in place of good", first_ + i);
        }
        outcome = std::max(outcome, !good ? kTold : isNew ? kNew : kOld);
    }
    return outcome;
}

// The bytes of all others. Copies of the module record, checksum pages and slots may have changed.
Outcome Exploration::JudgeOthers(const State& state) {
    Outcome outcome = kOld;
    for (const uint16_t page : dirty_) {
        const auto number = static_cast<uint32_t>(page - firstPage_);
        if (page < MODULE_PART_COUNT || page >= CRC_BASE_ADDR / kPageSize ||
            (number >= first_ && number < first_ + count_) ||
            memcmp(part_.Image() + page * kPageSize, base_.data() + page * kPageSize, kPageSize) == 0)
            continue;
        if ((start_.limits & kSetsBack) == 0)
            return Fail(state, "another page has changed", page);
        outcome = kSetBack;
    }
    return outcome;
}

// Other pages that were good and are told now.
Outcome Exploration::JudgeChecksums(const State& state) {
    Outcome outcome = kOld;
    const bool strict = (start_.limits & (kMoves | kSetsBack)) == 0;
    const uint32_t last = first_ + count_ - 1;
    for (uint32_t page = 0; page < kPages; ++page) {
        const bool own = page >= first_ && page < first_ + count_;
        if (own || !good_[page] || EntryOf(page) == crcBefore_[page] ||
            EntryOf(page) == crc32c(ParameterPage(page), kPageSize))
            continue;
        const uint32_t sums = page / CRC_PER_PAGE;
        if (strict && !state.spoilt)
            return Fail(state, "another page is told", page);
        if (strict && sums != first_ / CRC_PER_PAGE && sums != last / CRC_PER_PAGE)
            return Fail(state, "a page of another checksum page is told", page);
        if (strict && state.depth == 1 && (page % CRC_PER_PAGE + 1) * sizeof(uint32_t) <= state.cut.bytes)
            return Fail(state, "a page whose checksum was written is told", page);
        outcome = kLost;
    }
    return outcome;
}

// Whatever is told, a write brings it back.
Outcome Exploration::WriteAgain(const State& state) {
    for (uint32_t i = 0; i < count_; ++i) {
        const Bytes again = Pattern(kPageSize, 9000 + i);
        Bytes back(kPageSize);
        const uint32_t address = (first_ + i) * kPageSize;
        if (optic_eeprom_write(address, again.data(), kPageSize) != kPageSize ||
            optic_eeprom_read(address, back.data(), kPageSize) != kPageSize || back != again)
            return Fail(state, "cannot be written again", first_ + i);
    }
    return kOld;
}

Result Exploration::Run() {
    const size_t prefix = 1 + count_;
    Load({});
    memcpy(part_.Image(), base_.data(), base_.size());
    MarkDirty(work_);
    Expand(kNone, work_);
    for (uint32_t index = 0; index < states_.size(); ++index) {
        const State state = states_[index];
        const Delta delta = state.delta->substr(prefix);
        Load(delta);
        part_.PowerOn();
        BarePart::ResetVariables();
        BarePart::Open();
        const std::vector<WriteCycle> cycles = part_.TakeCycles();
        MarkDirty(cycles);
        ++result_.windows[state.window].states;
        states_[index].outcome = Judge(state, cycles);
        MarkDirty(part_.TakeCycles());
        if (cycles.empty() || state.depth >= options_.depth)
            continue;
        Load(delta);
        MarkDirty(cycles);
        Expand(index, cycles);
    }
    for (const State& state : states_)
        result_.windows[state.window].outcomes[state.outcome] += state.hits;
    return result_;
}

Bytes Exploration::ImageAfter(const std::vector<Cut>& cuts) {
    memcpy(part_.Image(), base_.data(), base_.size());
    std::vector<WriteCycle> cycles = work_;
    Bytes image;
    for (const Cut& cut : cuts) {
        for (uint32_t number = 0; number < cut.cycle && number < cycles.size(); ++number)
            Program(part_, cycles[number]);
        if (cut.cycle < cycles.size())
            ProgramAndCut(part_, cycles[cut.cycle], cut, options_.seed);
        image.assign(part_.Image(), part_.Image() + base_.size());
        part_.PowerOn();
        BarePart::ResetVariables();
        BarePart::Open();
        cycles = part_.TakeCycles();
        memcpy(part_.Image(), image.data(), image.size());
    }
    return image;
}

}  // namespace

unsigned SeedOf(uint32_t address, unsigned seed) {
    return seed + 7919u * address;
}

const char* NameOf(Window window) {
    static const char* const names[] = {"first half", "second half", "page",
                                        "release",    "checksums",   "record"};
    return names[window];
}

const char* NameOf(Outcome outcome) {
    static const char* const names[] = {"old", "new", "told", "others", "mixed", "setback", "finding"};
    return names[outcome];
}

// As the simulator's fault of a cut has it.
const char* NameOf(Damage damage) {
    return damage == Damage::kPrefix ? "prefix" : damage == Damage::kHalfByte ? "half" : "page";
}

std::string Text(const std::vector<Cut>& cuts) {
    std::string text;
    for (const Cut& cut : cuts)
        text += (text.empty() ? "" : ",") + std::to_string(cut.cycle) + "/" + std::to_string(cut.bytes) +
                "/" + NameOf(cut.damage);
    return text;
}

Result Sweep(const Start& start, const Options& options) {
    return Exploration(start, options).Run();
}

Bytes ImageAfter(const Start& start, const std::vector<Cut>& cuts, unsigned seed) {
    Options options;
    options.seed = seed;
    return Exploration(start, options).ImageAfter(cuts);
}

}  // namespace power_cuts
