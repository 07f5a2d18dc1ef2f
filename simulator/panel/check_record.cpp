#include "simulator/panel/check_record.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "device/Opm.h"
#include "simulator/panel/control_client.h"

namespace k905 {

namespace {

enum class Kind { kCode, kInteger, kWhole, kReal };  // low 16 bits; 32 bits; a float's whole part; a float

// Consecutive values of the record, each a line.
struct Field {
    const char* label;  // with the value's number where there are several
    std::size_t offset;
    int count;
    Kind kind;
};

constexpr Field kFields[] = {
    {"iAtt0=", offsetof(OPM_TUNING, iAtt0), 1, Kind::kCode},
    {"iAtt1=", offsetof(OPM_TUNING, iAtt1), 1, Kind::kCode},
    {"iVdd%d =", offsetof(OPM_TUNING, iVddValue), 4, Kind::kCode},
    {"iApdBias%d =", offsetof(OPM_TUNING, iApdBias), 4, Kind::kCode},
    {"iTemperatureSet=", offsetof(OPM_TUNING, iTemperatureSet), 1, Kind::kWhole},
    {"iApdVoltageSet%d =", offsetof(OPM_TUNING, iApdVoltageSet), 6, Kind::kCode},
    {"fTempCoefficient%d =", offsetof(OPM_TUNING, fTempCoefficient), 6, Kind::kReal},
    {"OffsetPoint =", offsetof(OPM_TUNING, OffsetPoint), 1, Kind::kInteger},
};

std::string Value(const char* bytes, Kind kind) {
    std::uint32_t word = 0;
    float real = 0;
    std::memcpy(&word, bytes, sizeof word);
    std::memcpy(&real, bytes, sizeof real);
    char text[32];
    switch (kind) {
        case Kind::kCode:
            std::snprintf(text, sizeof text, "%04x", word & 0xFFFF);
            break;
        case Kind::kInteger:
            std::snprintf(text, sizeof text, "%04x", word);
            break;
        case Kind::kWhole:
            std::snprintf(text, sizeof text, "%04x", static_cast<unsigned>(static_cast<int>(real)) & 0xFFFF);
            break;
        case Kind::kReal:
            std::snprintf(text, sizeof text, "%5.2f", static_cast<double>(real));
            break;
    }
    return text;
}

}  // namespace

std::vector<std::string> RecordLines(const std::string& file) {
    char record[sizeof(OPM_TUNING)];
    if (!std::ifstream(file, std::ios::binary).read(record, sizeof record))
        throw BenchError(file.substr(file.rfind('/') + 1) + ": no tuning record is stored");
    std::vector<std::string> lines;
    for (const Field& field : kFields)
        for (int i = 0; i < field.count; ++i) {
            char label[64];
            std::snprintf(label, sizeof label, field.label, i);
            lines.push_back("pOpmTunning->" + std::string(label) +
                            Value(record + field.offset + 4 * static_cast<std::size_t>(i), field.kind));
        }
    return lines;
}

}  // namespace k905
