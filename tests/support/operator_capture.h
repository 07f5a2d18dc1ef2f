// The screens' part of device/operator_report.h for tests that have no screens: it keeps what the operator
// would read.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace test {

// Collects the operator's lines while it lives; one at a time. Each entry is "<line>: <text>", the line being
// adjust, adjust data 1..4, opm, mainboard, apd 1, apd 2, apd trace or optcheck. Without a capture alive the
// texts are dropped.
class OperatorCapture {
  public:
    OperatorCapture();
    ~OperatorCapture();
    OperatorCapture(const OperatorCapture&) = delete;
    OperatorCapture& operator=(const OperatorCapture&) = delete;

    const std::vector<std::string>& Lines() const { return lines_; }
    void Clear() { lines_.clear(); }
    // Called with each entry as it comes, for tests that look at the order against other events.
    std::function<void(const std::string&)> onLine;

    // For the functions of operator_report.h.
    static int Add(const std::string& line, const char* text);

  private:
    std::vector<std::string> lines_;
};

}  // namespace test
