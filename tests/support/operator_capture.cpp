#include "tests/support/operator_capture.h"

#include <mutex>

#include "device/operator_report.h"

namespace test {

namespace {
OperatorCapture* current = nullptr;
std::mutex guard;  // reports come from worker threads too
}  // namespace

OperatorCapture::OperatorCapture() {
    const std::lock_guard<std::mutex> lock(guard);
    current = this;
}

OperatorCapture::~OperatorCapture() {
    const std::lock_guard<std::mutex> lock(guard);
    current = nullptr;
}

int OperatorCapture::Add(const std::string& line, const char* text) {
    const std::lock_guard<std::mutex> lock(guard);
    if (current == nullptr || text == nullptr)
        return 0;
    current->lines_.push_back(line + ": " + text);
    if (current->onLine)
        current->onLine(current->lines_.back());
    return 0;
}

}  // namespace test

int FrmAdjustSetInfo(const char* pInfo) {
    return test::OperatorCapture::Add("adjust", pInfo);
}

int FrmAdjustSetDataInfo(const char* pInfo, int iBtnNo) {
    return test::OperatorCapture::Add("adjust data " + std::to_string(iBtnNo), pInfo);
}

int FrmOPMSetInfo(const char* pInfo) {
    return test::OperatorCapture::Add("opm", pInfo);
}

int FrmMainBoardSetInfo(const char* pInfo) {
    return test::OperatorCapture::Add("mainboard", pInfo);
}

int FrmApdAdjSetInfo1(const char* pInfo) {
    return test::OperatorCapture::Add("apd 1", pInfo);
}

int FrmApdAdjSetInfo2(const char* pInfo) {
    return test::OperatorCapture::Add("apd 2", pInfo);
}

int FrmOptcheckSetInfo(const char* pInfo) {
    return test::OperatorCapture::Add("optcheck", pInfo);
}

void initTraceArea() {
    test::OperatorCapture::Add("apd trace", "empty");
}

void DrawCurve() {
    test::OperatorCapture::Add("apd trace", "curve");
}
