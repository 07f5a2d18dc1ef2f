// What a power cut leaves of the store: that the sweep of tests/power_cuts tells what happens on the bus, a
// sample of that sweep, and what docs/eeprom.md says is not guaranteed.
#include <string.h>

#include <algorithm>
#include <functional>

#include "tests/device/instrument/eeprom_fixture.h"
#include "tests/power_cuts/sweep.h"

using test::Bytes;
using test::Damage;
using test::Pattern;
using test::WriteCycle;

namespace {

constexpr int kEntry = 13;                        // entry of the page under test in its checksum page
constexpr int kPage = 27 + kEntry;                // that page
constexpr int kSlot = 2;                          // slot it goes through
enum { kHalfA, kHalfB, kData, kRelease, kSums };  // write cycles of a page write
enum { kReplayedData, kReplayedSums };

const Bytes kNew = Pattern(128, 1000);

uint32_t AddressOf(int page) {
    return static_cast<uint32_t>(page) * 128;
}

class PowerCut : public test::StoreTest {
  protected:
    // A store with contents, each slot used before, and the write cycles of kNew to kPage.
    PowerCut() {
        power_cuts::FillStore(Image());
        FillImage(test::kParameterPages);
        write_ = CyclesOfWrite(kSlot, kPage, kNew);
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

    std::vector<WriteCycle> write_;
};

}  // namespace

// The part's array after cuts over the bus, of the module's part on the instrument, is the one that the sweep
// has: one after each cut, and after the last opening.
TEST_F(PowerCut, OnTheBusLeavesWhatTheSweepHas) {
    const power_cuts::Start& start = power_cuts::StartOf("page 13");
    const uint32_t slot = BUFF_BASE_ADDR, page = SYSPARA_BASE_ADDR + start.address, sums = CRC_BASE_ADDR;
    const struct {
        std::vector<power_cuts::Cut> cuts;
        std::vector<uint32_t> addresses;  // of the cycles that are cut
        std::vector<int> after;           // programmed bytes
    } rows[] = {
        {{{0, 100, Damage::kPage}}, {slot}, {100}},
        {{{1, 3, Damage::kHalfByte}}, {slot + 128}, {131}},
        {{{1, 128, Damage::kPrefix}, {1, 128, Damage::kPrefix}}, {slot + 128, sums}, {256, 256}},
        {{{2, 50, Damage::kPage}, {0, 20, Damage::kHalfByte}, {1, 60, Damage::kPage}},
         {page, page, sums},
         {306, 20, 188}},
        {{{3, 1, Damage::kPrefix}}, {slot + 128}, {385}},
        {{{4, 77, Damage::kHalfByte}, {0, 9, Damage::kPage}}, {sums, sums}, {463, 9}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(power_cuts::Text(row.cuts));
        std::vector<Bytes> expected;
        for (size_t count = 1; count <= row.cuts.size(); ++count)
            expected.push_back(power_cuts::ImageAfter(
                start, {row.cuts.begin(), row.cuts.begin() + static_cast<int>(count)}, 1));
        std::vector<power_cuts::Cut> all = row.cuts;
        all.push_back({UINT32_MAX, 0, Damage::kPrefix});  // behind the last cycle of the opening
        expected.push_back(power_cuts::ImageAfter(start, all, 1));

        power_cuts::FillStore(Image());
        ResetVariables();
        EXPECT_FALSE(Open());
        for (size_t i = 0; i < row.cuts.size(); ++i) {
            // A cut damages bits by the seed of the instrument.
            PowerOn(power_cuts::SeedOf(row.addresses[i], 1));
            if (i == 0)
                Open();
            Fault("module.eeprom_cut",
                  {{"after", row.after[i]}, {"damage", power_cuts::NameOf(row.cuts[i].damage)}});
            i == 0 ? power_cuts::Work(start) : static_cast<int32_t>(Open());
            EXPECT_EQ(0, memcmp(expected[i].data(), Image(), expected[i].size())) << "cut " << i + 1;
        }
        PowerOn();
        Open();
        EXPECT_EQ(0, memcmp(expected.back().data(), Image(), expected.back().size())) << "opened";
    }
}

// The windows of docs/eeprom.md for a page with entry 13: each byte of its write cut in each of three ways,
// prefix, half byte and rest of the page (the last two make no difference after the last byte).
TEST_F(PowerCut, AfterEachByteLeavesTheOldOrTheNewPage) {
    power_cuts::Options options;
    options.depth = 1;
    options.seed = 2;  // with which no byte of the entry that is hit comes out right
    power_cuts::Result result = {};
    test::Printed([&] { result = power_cuts::Sweep(power_cuts::StartOf("page 13"), options); });
    using namespace power_cuts;
    const uint64_t expected[kWindows][kOutcomes] = {
        {385, 0, 0, 0, 0, 0, 0},  // n = 0 to 128
        {384, 1, 0, 0, 0, 0, 0},  // 128 to 256: pending from the last byte on
        {0, 385, 0, 0, 0, 0, 0},  // 256 to 384
        {0, 1, 6, 0, 0, 0, 0},    // 384 to 386: pending before the first byte
        {0, 165, 112, 108, 0, 0,
         0},  // 386 to 514: told to 389 + 4 * 13, others lost with the rest of the page
        {0, 0, 0, 0, 0, 0, 0},
    };
    for (int window = 0; window < kWindows; ++window)
        for (int outcome = 0; outcome < kOutcomes; ++outcome)
            EXPECT_EQ(expected[window][outcome], result.windows[window].outcomes[outcome])
                << NameOf(static_cast<Window>(window)) << ", " << NameOf(static_cast<Outcome>(outcome));
}

// The whole of it, with all starts and a second and third cut at each byte, is k905_power_cuts.
TEST_F(PowerCut, AfterAnotherIsAsHarmless) {
    for (const char* name :
         {"page 26", "slots blank", "40 bytes in two", "slot 0 fails", "module record", "record, copy 1",
          "records lost", "same bytes before", "slot 0 marked", "program ran on"}) {
        SCOPED_TRACE(name);
        power_cuts::Start start = power_cuts::StartOf(name);
        start.second = start.third = 61;
        power_cuts::Result result = {};
        test::Printed([&] { result = power_cuts::Sweep(start, {}); });
        uint64_t cuts = 0;
        for (const power_cuts::Counts& counts : result.windows) {
            cuts += counts.cuts;
            EXPECT_EQ(0u, counts.outcomes[power_cuts::kFinding]);
        }
        EXPECT_GT(cuts, 1000u);
        EXPECT_EQ((start.limits & power_cuts::kNoJournal) != 0,
                  result.windows[power_cuts::kPage].outcomes[power_cuts::kMixed] > 0);
        EXPECT_EQ((start.limits & power_cuts::kSetsBack) != 0,
                  result.windows[power_cuts::kSecondHalf].outcomes[power_cuts::kSetBack] > 0);
    }
}

// The module's supply fails while the program runs on: its variables stay as the last opening left them.
TEST_F(PowerCut, OfAReplayIsMadeUpForOnce) {
    const std::vector<WriteCycle> replay = CyclesOfReplay(kSlot, kPage, kNew);
    const Bytes newer = Pattern(128, 1001);
    CutInImage(write_, kData, 50);
    EXPECT_TRUE(OpenAgain());
    for (const size_t cycle : {kReplayedData, kReplayedSums}) {
        SCOPED_TRACE(testing::Message() << "cycle " << cycle);
        CutInImage(write_, kHalfB, 128);
        CutInImage(replay, cycle, 50);
        EXPECT_TRUE(Open());
        ExpectRead(kNew, true);
        EXPECT_EQ(128, Write(AddressOf(kPage), newer));
        EXPECT_FALSE(Open());
        ExpectRead(newer, true);
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
        CutInImage(write_, kHalfB, static_cast<size_t>(n - 128));
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
    for (int page = 0; page < test::kParameterPages; ++page)
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
    for (int page = 0; page < test::kParameterPages; ++page) {
        EXPECT_EQ(page < 10, PageIs(page, Bytes(128, 0))) << page;
        EXPECT_EQ(page >= 10, PageAgrees(page)) << page;
    }
}
