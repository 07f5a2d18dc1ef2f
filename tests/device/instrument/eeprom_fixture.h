// The store on the simulated instrument's AT24C512, with the part's image at hand: what does not have to go
// over the bus, bit by bit, is put there or looked at directly.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

#include "device/eeprom.h"
#include "simulator/models/eeprom_cells.h"
#include "simulator/models/host_file.h"
#include "tests/device/instrument/device_fixture.h"
#include "tests/power_cuts/starts.h"

namespace test {

using power_cuts::Bytes;
using power_cuts::Damage;
using power_cuts::Pattern;
using power_cuts::WriteCycle;

constexpr int kParameterPages = 216;

class StoreTest : public DeviceTest {
  protected:
    StoreTest();
    ~StoreTest() override;

    void PowerOff();
    // The instrument with the EEPROM as it was left, and the program's variables as they start. `seed` of the
    // bits that a cut damages, among others.
    void PowerOn(unsigned seed = 1);
    static void ResetVariables() { power_cuts::BarePart::ResetVariables(); }

    // Opens the store as its user does. Returns true when a journalled page was written to its place.
    bool Open();
    // As Open, but where the pages of the module record or of the checksums are as kept by Keep, the choice
    // made then serves again: reading them over the bus is what takes the time.
    bool OpenAgain();
    // A zeroed store, opened.
    void Format();

    static int32_t Write(uint32_t address, const Bytes& bytes);
    static Bytes Read(uint32_t address, size_t count, int32_t& result);
    void ExpectHolds(uint32_t address, const Bytes& bytes);
    void StartTrace();

    // The part's array, as the program's own bus transfers change it.
    uint8_t* Image() { return image_->Data(); }
    Bytes ImageBytes(uint32_t address, size_t count) {
        return {Image() + address, Image() + address + count};
    }
    uint8_t* ImagePage(int parameterPage) { return Image() + SYSPARA_BASE_ADDR + parameterPage * 128; }
    module_part ModuleCopy(int copy);
    void PutModule(int copy, module_part record);
    // Good under the checksums in use?
    bool PageAgrees(int parameterPage);

    // Fills `pages` parameter pages with patterns of their own, with their checksums, in the image; then
    // keeps the opened store for Restore and OpenAgain.
    void FillImage(int pages);
    void Keep();
    // The image as kept, and the program's variables as they start.
    void Restore();

    // Write cycles of a page write through journal slot `slot`, and of the replay of a slot.
    std::vector<WriteCycle> CyclesOfWrite(int slot, int parameterPage, const Bytes& bytes);
    std::vector<WriteCycle> CyclesOfReplay(int slot, int parameterPage, const Bytes& bytes);
    // The cycles up to number `cycle`, which ends after `bytes` of its bytes.
    void CutInImage(const std::vector<WriteCycle>& cycles, size_t cycle, size_t bytes);

    std::string stateDir_;
    std::unique_ptr<k905::host::MappedFile> image_;
    struct {
        Bytes image;
        module_part module;
        crc_part crc;
    } kept_;
};

}  // namespace test
