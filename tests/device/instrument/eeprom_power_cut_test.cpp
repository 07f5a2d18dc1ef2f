// What a power cut leaves of the store, byte by byte: the windows of docs/eeprom.md, what is guaranteed and
// what is not. Most cuts are made in the part's image, where they cost nothing; CutsInTheImage compares these
// with cuts under the running program. Opening and recovery go over the bus.
#include <string.h>

#include <algorithm>
#include <functional>

#include "tests/device/instrument/eeprom_fixture.h"

using test::Bytes;
using test::Damage;
using test::Pattern;
using test::WriteCycle;

namespace {

constexpr int kEntry = 13;          // entry of the page under test in its checksum page
constexpr int kPage = 27 + kEntry;  // that page
constexpr int kSlot = 2;            // slot it goes through
constexpr int kFilled = 60;         // pages with contents of their own
enum { kHalfA, kHalfB, kData, kRelease, kSums, kCycles };  // write cycles of a page write
enum { kReplayedData, kReplayedSums, kReplayedRelease, kReplayCycles };

const Bytes kNew = Pattern(128, 1000);

uint32_t AddressOf(int page) {
    return static_cast<uint32_t>(page) * 128;
}

const char* NameOf(Damage damage) {
    return damage == Damage::kPrefix ? "prefix" : damage == Damage::kHalfByte ? "half" : "page";
}

class PowerCut : public test::StoreTest {
  protected:
    // A store with contents, each slot used before, and the write cycles of kNew to kPage.
    PowerCut() {
        Format();
        for (int slot = 0; slot < 16; ++slot) {
            const std::vector<WriteCycle> cycles = CyclesOfWrite(slot, slot, Pattern(128, 500u + slot));
            for (const size_t cycle : {kHalfA, kHalfB, kRelease})
                memcpy(Image() + cycles[cycle].address, cycles[cycle].bytes.data(),
                       cycles[cycle].bytes.size());
        }
        FillImage(kFilled);
        write_ = CyclesOfWrite(kSlot, kPage, kNew);
        // A torn entry is told from a whole one by its last byte, a torn slot by the last byte of its seal.
        EXPECT_NE(kept_.image[CRC_BASE_ADDR + 128 + 4 * kEntry + 3], write_[kSums].bytes[4 * kEntry + 3]);
        EXPECT_NE(kept_.image[BUFF_BASE_ADDR + 256 * kSlot + 255], write_[kHalfB].bytes[127]);
    }

    // The action with the supply going away after `cut` bytes, and power again. Not opened.
    void CutDuring(int cut, const std::function<void()>& action) {
        Fault("module.eeprom_cut", {{"after", cut}, {"damage", "prefix"}});
        action();
        PowerOn();
    }

    bool PageIs(int page, const Bytes& bytes) { return memcmp(ImagePage(page), bytes.data(), 128) == 0; }
    bool PageIsKept(int page) {
        return memcmp(ImagePage(page), kept_.image.data() + SYSPARA_BASE_ADDR + AddressOf(page), 128) == 0;
    }
    bool Pending(int slot) {
        const uint8_t* state = Image() + BUFF_BASE_ADDR + 256 * slot + 128;
        return state[0] == 0x5A && state[1] == 0x5A;
    }

    // Is the slot's state that of a pending one after so many bytes of a write cycle?
    static bool PendingAfter(size_t cycle, size_t done) {
        return (cycle == kHalfB && done >= 2) || cycle == kData || (cycle == kRelease && done == 0);
    }
    // The bytes of kPage, and whether they are good.
    void ExpectPage(const Bytes& bytes, bool good) {
        EXPECT_TRUE(PageIs(kPage, bytes));
        EXPECT_EQ(good, PageAgrees(kPage));
    }
    // What the user of the store gets of it, over the bus.
    void ExpectRead(const Bytes& bytes, bool good) {
        ExpectPage(bytes, good);
        int32_t result = 0;
        EXPECT_EQ(bytes, Read(AddressOf(kPage), 128, result));
        EXPECT_EQ(good ? 128 : -999, result);
    }
    // Nothing but the slot, the page and its checksum page has changed.
    void ExpectTheRestAsKept() {
        Bytes expected = kept_.image;
        const uint32_t own[][2] = {{BUFF_BASE_ADDR + 256 * kSlot, 256},
                                   {SYSPARA_BASE_ADDR + AddressOf(kPage), 128},
                                   {CRC_BASE_ADDR + 128, 128}};
        for (const auto& [address, count] : own)
            memcpy(expected.data() + address, Image() + address, count);
        EXPECT_EQ(0, memcmp(expected.data(), Image(), expected.size()));
    }
    // The other pages under the same checksum page, of which `right` bytes were programmed and the rest can
    // be anything: lost are the pages whose entries lie there, but for a last byte that came out right.
    void ExpectNeighbours(size_t right) {
        for (int entry = 0; entry < 27; ++entry) {
            if (entry == kEntry)
                continue;
            const size_t end = static_cast<size_t>(4 * entry) + 4;
            const bool good = right >= end || (right + 1 == end && Lucky(entry));
            EXPECT_EQ(good, PageAgrees(27 + entry)) << "entry " << entry;
        }
    }
    // All four bytes of an entry are right although the cut spoilt them.
    bool Lucky(int entry) {
        return memcmp(Image() + CRC_BASE_ADDR + 128 + 4 * entry, write_[kSums].bytes.data() + 4 * entry, 4) ==
               0;
    }

    std::vector<WriteCycle> write_;
};

class EachByte : public PowerCut, public testing::WithParamInterface<Damage> {};

std::string DamageName(const testing::TestParamInfo<Damage>& info) {
    return NameOf(info.param);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Damages, EachByte,
                         testing::Values(Damage::kPrefix, Damage::kHalfByte, Damage::kPage), DamageName);

// The image after a cut is the same whether the program's own write was cut or the cycles were played to the
// part's array.
TEST_F(PowerCut, CutsInTheImage) {
    size_t begin = 0;
    for (size_t cycle = 0; cycle < kCycles; ++cycle) {
        for (const size_t bytes : {write_[cycle].bytes.size() / 2, write_[cycle].bytes.size()}) {
            SCOPED_TRACE(testing::Message() << "cycle " << cycle << ", " << bytes << " bytes");
            Restore();
            OpenAgain();
            buffer_id = kSlot;
            CutDuring(static_cast<int>(begin + bytes), [] { Write(AddressOf(kPage), kNew); });
            const Bytes cut = ImageBytes(0, k905::EepromCells::kSize);
            Restore();
            CutInImage(write_, cycle, bytes, Damage::kPrefix, 1);
            EXPECT_EQ(0, memcmp(cut.data(), Image(), cut.size()));
        }
        begin += write_[cycle].bytes.size();
    }
    // The replay.
    const std::vector<WriteCycle> replay = CyclesOfReplay(kSlot, kPage, kNew);
    for (const int after : {64, 192, 257}) {
        Restore();
        CutInImage(write_, kHalfB, 128, Damage::kPrefix, 1);
        CutDuring(after, [this] { EXPECT_TRUE(OpenAgain()); });
        const Bytes cut = ImageBytes(0, k905::EepromCells::kSize);
        Restore();
        CutInImage(write_, kHalfB, 128, Damage::kPrefix, 1);
        const size_t cycle = static_cast<size_t>(after) / 128;
        CutInImage(replay, cycle, static_cast<size_t>(after) % 128, Damage::kPrefix, 1);
        EXPECT_EQ(0, memcmp(cut.data(), Image(), cut.size())) << after;
    }
}

// The write of one page, cut after every byte of each of its write cycles (after the last byte of one and
// before the first of the next are different instants when more than a prefix is damaged).
TEST_P(EachByte, OfAPageWrite) {
    const Damage damage = GetParam();
    const Bytes old = Pattern(128, kPage);
    unsigned seed = 0;
    int replayed = 0;
    for (size_t cycle = 0; cycle < kCycles; ++cycle) {
        const size_t count = write_[cycle].bytes.size();
        for (size_t done = 0; done <= count; ++done) {
            SCOPED_TRACE(testing::Message() << "cycle " << cycle << " cut after " << done << " bytes");
            Restore();
            CutInImage(write_, cycle, done, damage, ++seed);
            // The byte that was hit can have come out right.
            const bool whole =
                done == count || (damage == Damage::kHalfByte && done + 1 == count &&
                                  Image()[write_[cycle].address + done] == write_[cycle].bytes[done]);
            const bool pending = Pending(kSlot);
            const bool lucky = damage != Damage::kPrefix && done == 4 * kEntry + 3 && Lucky(kEntry);
            const struct {
                bool recovered, isNew, good;
            } outcomes[kCycles] = {
                {false, false, true},                            // kHalfA
                {whole, whole, true},                            // kHalfB
                {true, true, true},                              // kData
                {pending, true, pending},                        // kRelease
                {false, true, done >= 4 * kEntry + 4 || lucky},  // kSums
            };
            const auto& expected = outcomes[cycle];
            const bool recovered = OpenAgain();
            replayed += recovered;
            EXPECT_EQ(expected.recovered, recovered);
            ExpectPage(expected.isNew ? kNew : old, expected.good);
            if (done % 16 == 0)
                ExpectRead(expected.isNew ? kNew : old, expected.good);
            // A torn slot keeps the state until it is used again.
            EXPECT_TRUE(damage != Damage::kPrefix || pending == PendingAfter(cycle, done));
            ExpectNeighbours(cycle == kSums && damage == Damage::kPage ? done : 128);
            ExpectTheRestAsKept();
            if (HasFailure())
                return;
        }
    }
    EXPECT_GT(replayed, 128);
}

// A page write was cut in the middle of the page, and the replay is cut too, after every byte of its cycles
// (with damage beyond that, after every fourth or eighth and the last two).
TEST_P(EachByte, OfAReplay) {
    const Damage damage = GetParam();
    const std::vector<WriteCycle> replay = CyclesOfReplay(kSlot, kPage, kNew);
    CutInImage(write_, kData, 50, Damage::kPrefix, 1);
    const Bytes firstCut = ImageBytes(0, k905::EepromCells::kSize);
    const size_t step = damage == Damage::kPrefix ? 1 : damage == Damage::kHalfByte ? 4 : 8;
    unsigned seed = 0;
    for (size_t cycle = 0; cycle < kReplayCycles; ++cycle) {
        const size_t count = replay[cycle].bytes.size();
        for (size_t done = 0; done <= count; ++done) {
            if (done % step != 0 && done + 1 < count)
                continue;
            SCOPED_TRACE(testing::Message() << "cycle " << cycle << " cut after " << done << " bytes");
            Restore();
            memcpy(Image(), firstCut.data(), firstCut.size());
            CutInImage(replay, cycle, done, damage, ++seed);
            const bool pending = Pending(kSlot);
            EXPECT_TRUE(pending || cycle == kReplayedRelease);
            EXPECT_EQ(pending, OpenAgain());
            EXPECT_FALSE(Pending(kSlot));
            ExpectPage(kNew, true);
            if (done % 16 == 0)
                ExpectRead(kNew, true);
            ExpectNeighbours(cycle == kReplayedSums && damage == Damage::kPage ? done : 128);
            ExpectTheRestAsKept();
            if (HasFailure())
                return;
        }
    }
}

// The module's supply fails while the program runs on: its variables stay as the last opening left them.
TEST_F(PowerCut, OfAReplayIsMadeUpForOnce) {
    const std::vector<WriteCycle> replay = CyclesOfReplay(kSlot, kPage, kNew);
    const Bytes newer = Pattern(128, 1001);
    CutInImage(write_, kData, 50, Damage::kPrefix, 1);
    EXPECT_TRUE(OpenAgain());
    for (const size_t cycle : {kReplayedData, kReplayedSums}) {
        SCOPED_TRACE(testing::Message() << "cycle " << cycle);
        CutInImage(write_, kHalfB, 128, Damage::kPrefix, 1);
        CutInImage(replay, cycle, 50, Damage::kPrefix, 1);
        EXPECT_TRUE(Open());
        ExpectRead(kNew, true);
        EXPECT_EQ(128, Write(AddressOf(kPage), newer));
        EXPECT_FALSE(Open());
        ExpectRead(newer, true);
    }
}

// The module record, written to copies 0 to 3: the old one until copy 0 is whole. (The seal is its last
// field.)
TEST_P(EachByte, OfAModuleRecord) {
    const Damage damage = GetParam();
    module_part record = kept_.module;
    record.crc_err = 8;
    PutModule(0, record);
    const Bytes bytes = ImageBytes(0, 128);
    const std::vector<WriteCycle> cycles = {{0, bytes}, {128, bytes}, {256, bytes}, {384, bytes}};
    EXPECT_NE(kept_.image[127], bytes[127]);
    for (size_t cycle = 0; cycle < cycles.size(); ++cycle) {
        for (size_t done = 0; done <= 128; done += cycle == 0 ? 1 : 16) {
            SCOPED_TRACE(testing::Message() << "copy " << cycle << " cut after " << done << " bytes");
            Restore();
            CutInImage(cycles, cycle, done, damage, static_cast<unsigned>(done));
            const bool whole = cycle > 0 || done == 128 ||
                               (damage == Damage::kHalfByte && memcmp(Image(), bytes.data(), 128) == 0);
            EXPECT_FALSE(OpenAgain());
            EXPECT_EQ(whole ? 8 : 0, valid_module.crc_err);
            EXPECT_EQ(0, valid_module.module_index);
            if (HasFailure())
                return;
        }
    }
}

// ---- Not guaranteed ----

TEST_F(PowerCut, OfSeveralPagesLeavesThoseNotReachedWithTheirNewChecksums) {
    const struct {
        int cut;                        // bytes of the write
        std::vector<bool> isNew, good;  // of pages 25 to 28; 25 and 26 share a checksum page, 27 and 28 too
    } cuts[] = {
        {300, {true, false, false, false}, {true, true, true, true}},
        {514, {true, false, false, false}, {true, false, true, true}},
        {514 + 300, {true, true, false, false}, {true, true, true, true}},
        {2 * 514, {true, true, false, false}, {true, true, true, true}},
        {3 * 514, {true, true, true, false}, {true, true, true, false}},
        {4 * 514, {true, true, true, true}, {true, true, true, true}},
    };
    const Bytes change = Pattern(4 * 128, 2000);
    for (const auto& expected : cuts) {
        SCOPED_TRACE(expected.cut);
        Restore();
        OpenAgain();
        CutDuring(expected.cut, [&] { Write(AddressOf(25), change); });
        OpenAgain();
        for (int i = 0; i < 4; ++i) {
            const Bytes part(change.begin() + i * 128, change.begin() + (i + 1) * 128);
            EXPECT_EQ(expected.isNew[static_cast<size_t>(i)], PageIs(25 + i, part)) << 25 + i;
            EXPECT_NE(PageIsKept(25 + i), PageIs(25 + i, part)) << 25 + i;
            EXPECT_EQ(expected.good[static_cast<size_t>(i)], PageAgrees(25 + i)) << 25 + i;
        }
        for (int page = 0; page < test::kParameterPages; ++page) {
            EXPECT_TRUE((page >= 25 && page <= 28) || (PageIsKept(page) && PageAgrees(page))) << page;
        }
    }
    // Writing such a page again makes it good.
    Restore();
    OpenAgain();
    CutDuring(514, [&] { Write(AddressOf(25), change); });
    OpenAgain();
    EXPECT_FALSE(PageAgrees(26));
    EXPECT_EQ(256, Write(AddressOf(26), Bytes(change.begin(), change.begin() + 256)));
    EXPECT_TRUE(PageAgrees(26));
}

// The slot last carried the same bytes for page 7, which has changed since: its old seal agrees again once
// the state is written.
TEST_F(PowerCut, AtOneByteCanSetAnotherPageBack) {
    const Bytes before = Pattern(128, 7);
    const std::vector<WriteCycle> earlier = CyclesOfWrite(kSlot, 7, kNew);
    for (const size_t cycle : {kHalfA, kHalfB, kRelease})
        memcpy(Image() + earlier[cycle].address, earlier[cycle].bytes.data(), earlier[cycle].bytes.size());
    Keep();
    for (const int n : {129, 130, 131}) {
        SCOPED_TRACE(n);
        Restore();
        CutInImage(write_, kHalfB, static_cast<size_t>(n - 128), Damage::kPrefix, 1);
        EXPECT_EQ(n == 130, OpenAgain());
        EXPECT_TRUE(PageIsKept(kPage));
        EXPECT_TRUE(PageIs(7, n == 130 ? kNew : before));
        EXPECT_TRUE(PageAgrees(7)) << "unnoticed";
    }
}

// Slot 0 is marked, its cells hold again; the first write after opening uses it all the same.
TEST_F(PowerCut, WithAMarkedSlotInUseCanLeaveAMixture) {
    module_part record = kept_.module;
    record.buff_err = 1;
    for (int copy = 0; copy < 4; ++copy)
        PutModule(copy, record);
    OpenAgain();
    Keep();
    write_ = CyclesOfWrite(0, kPage, kNew);
    const Bytes old = Pattern(128, kPage);
    for (const int n : {256, 257, 300, 383, 384, 386}) {
        SCOPED_TRACE(n);
        Restore();
        OpenAgain();
        CutDuring(n, [] { Write(AddressOf(kPage), kNew); });
        EXPECT_TRUE(Pending(0) || n == 386);
        EXPECT_FALSE(OpenAgain());
        Bytes mixture = old;
        const size_t programmed = std::min<size_t>(static_cast<size_t>(n) - 256, 128);
        std::copy_n(kNew.begin(), programmed, mixture.begin());
        ExpectRead(mixture, n == 256);
    }
}

TEST_F(PowerCut, WithoutAnySlotLeavesAMixture) {
    nlohmann::json cells = nlohmann::json::array();
    for (int slot = 0; slot < 16; ++slot)
        cells.push_back({{"address", 0xF003 + 256 * slot}, {"value", 0x11}});
    Fault("module.eeprom_stuck", cells);
    OpenAgain();
    EXPECT_EQ(128, Write(AddressOf(50), kNew)) << "every slot is marked now";
    EXPECT_EQ(0xFFFF, ModuleCopy(0).buff_err);
    constexpr int kTry = 128 + 4 * 128;  // half a slot, and the module record to mark it
    CutDuring(kTry + 64, [] { Write(AddressOf(kPage), kNew); });
    ResetVariables();
    EXPECT_FALSE(Open());
    Bytes mixture = Pattern(128, kPage);
    std::copy_n(kNew.begin(), 64, mixture.begin());
    ExpectRead(mixture, false);
}

// Checksum page 1 cannot be written any more: it moves to partition 1, and nothing else does.
TEST_F(PowerCut, OrAnyRestartAfterAMoveOfChecksumsLosesTheOtherPages) {
    Fault("module.eeprom_stuck", {{"address", 0xE080}, {"value", kept_.image[0xE080] ^ 1}});
    OpenAgain();
    EXPECT_EQ(128, Write(AddressOf(kPage), kNew));
    EXPECT_EQ(1, valid_module.crc_index);
    EXPECT_TRUE(PageAgrees(0)) << "in memory they are all there";
    PowerOn();
    Open();
    ExpectRead(kNew, true);
    for (int page = 0; page < kFilled; ++page)
        EXPECT_EQ(page / 27 == 1, PageAgrees(page)) << page;
    EXPECT_EQ(128, Write(AddressOf(3), Pattern(128, 3)));
    EXPECT_TRUE(PageAgrees(3));
    EXPECT_FALSE(PageAgrees(4));
}

// The fault lies where no seal looks: the slot left behind is a good pending one, but for the mark.
TEST_F(PowerCut, WouldReplayASlotThatIsOnlyKeptBackByItsMark) {
    Fault("module.eeprom_stuck", {{"address", BUFF_BASE_ADDR + 200}, {"value", 0x11}});
    OpenAgain();
    EXPECT_EQ(128, Write(AddressOf(kPage), kNew));
    EXPECT_EQ(1, valid_module.buff_err);
    const Bytes later = Pattern(128, 3000);
    EXPECT_EQ(128, Write(AddressOf(kPage), later));
    EXPECT_TRUE(Pending(0));
    ResetVariables();
    EXPECT_FALSE(Open());
    ExpectRead(later, true);

    for (int copy = 0; copy < 4; ++copy)
        PutModule(copy, kept_.module);  // without the mark
    ResetVariables();
    EXPECT_TRUE(Open());
    ExpectRead(kNew, true);
}

// Copy 0 has a fault where its seal does not look, so the record goes on from copy 1.
TEST_F(PowerCut, OrAnyRestartReadsAnEarlierRecordInAFaultyCopy) {
    Fault("module.eeprom_stuck", {{"address", 60}, {"value", 0x11}});
    OpenAgain();
    EXPECT_EQ(0, module_update_info(&valid_module));
    EXPECT_EQ(1, valid_module.module_index);
    valid_module.crc_err = 4;
    EXPECT_EQ(0, module_update_info(&valid_module));
    EXPECT_EQ(4, ModuleCopy(1).crc_err);
    ResetVariables();
    Open();
    EXPECT_EQ(0, valid_module.crc_err);
    EXPECT_EQ(0, valid_module.module_index);
}

TEST_F(PowerCut, OfAnEraseLeavesZerosWithTheEarlierChecksums) {
    OpenAgain();
    CutDuring((16 + 10) * 128, [] { optic_eeprom_erase(); });
    ResetVariables();
    output_ = "";
    Open();
    EXPECT_EQ(SYSPARA_BASE_ADDR, valid_module.syspara_base_addr) << "the defaults";
    for (int page = 0; page < kFilled; ++page) {
        EXPECT_EQ(page < 10, PageIs(page, Bytes(128, 0))) << page;
        EXPECT_EQ(page >= 10, PageAgrees(page)) << page;
    }
}
