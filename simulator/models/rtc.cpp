#include "simulator/models/rtc.h"

#include <linux/rtc.h>

#include <cerrno>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "simulator/models/text.h"

namespace k905 {

namespace {

constexpr std::int64_t kDay = 86400;

// Days since 1970-01-01 of a date in the Gregorian calendar, and back. Years count from March, so that the
// leap day is the last of a year; an era is 400 years.
std::int64_t DaysOf(std::int64_t year, unsigned month, unsigned day) {
    year -= month <= 2;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const auto ofEra = static_cast<unsigned>(year - era * 400);
    const unsigned ofYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146097 + ofEra * 365 + ofEra / 4 - ofEra / 100 + ofYear - 719468;
}

rtc_time Split(std::int64_t seconds) {
    std::int64_t days = seconds / kDay, rest = seconds % kDay;
    if (rest < 0) {
        rest += kDay;
        --days;
    }
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const auto ofEra = static_cast<unsigned>(shifted - era * 146097);
    const unsigned year = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const unsigned ofYear = ofEra - (365 * year + year / 4 - year / 100);
    const unsigned fromMarch = (5 * ofYear + 2) / 153;
    const unsigned month = fromMarch < 10 ? fromMarch + 3 : fromMarch - 9;
    const std::int64_t calendarYear = year + era * 400 + (month <= 2);

    rtc_time time = {};
    time.tm_sec = static_cast<int>(rest % 60);
    time.tm_min = static_cast<int>(rest / 60 % 60);
    time.tm_hour = static_cast<int>(rest / 3600);
    time.tm_mday = static_cast<int>(ofYear - (153 * fromMarch + 2) / 5 + 1);
    time.tm_mon = static_cast<int>(month) - 1;
    time.tm_year = static_cast<int>(calendarYear - 1900);
    time.tm_wday = static_cast<int>(((days + 4) % 7 + 7) % 7);
    time.tm_yday = static_cast<int>(days - DaysOf(calendarYear, 1, 1));
    return time;
}

std::int64_t Join(const rtc_time& time) {
    return DaysOf(time.tm_year + 1900, static_cast<unsigned>(time.tm_mon + 1),
                  static_cast<unsigned>(time.tm_mday)) *
               kDay +
           time.tm_hour * 3600 + time.tm_min * 60 + time.tm_sec;
}

bool Valid(const rtc_time& time) {
    if (time.tm_mon < 0 || time.tm_mon > 11 || time.tm_mday < 1 || time.tm_mday > 31 || time.tm_hour < 0 ||
        time.tm_hour > 23 || time.tm_min < 0 || time.tm_min > 59 || time.tm_sec < 0 || time.tm_sec > 59 ||
        time.tm_year < 70 || time.tm_year > 8099)
        return false;
    return Split(Join(time)).tm_mday == time.tm_mday;  // no 31st of June
}

}  // namespace

class RtcFile : public DeviceFile {
  public:
    explicit RtcFile(Rtc& rtc) : rtc_(rtc) {}

    int Ioctl(unsigned long request, void* argument) override {
        if (request != RTC_RD_TIME && request != RTC_SET_TIME)
            return -ENOTTY;
        const bool read = request == RTC_RD_TIME;
        rtc_.world_.Trace("ioctl", Text("rtc %s%s", read ? "read" : "set", rtc_.failing_ ? " failed" : ""));
        if (rtc_.failing_)
            return -EIO;
        if (argument == nullptr)
            return -EFAULT;
        auto& time = *static_cast<rtc_time*>(argument);
        if (read)
            time = Split(rtc_.Now());
        else if (Valid(time))
            rtc_.Set(Join(time));
        else
            return -EINVAL;
        return 0;
    }

  private:
    Rtc& rtc_;
};

std::unique_ptr<DeviceFile> Rtc::Open(int /*flags*/, int& /*error*/) {
    return std::make_unique<RtcFile>(*this);
}

std::string Rtc::SetText(const std::string& text) {
    rtc_time time = {};
    int year = 0, month = 0, end = 0;
    const int fields = std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%n", &year, &month, &time.tm_mday,
                                   &time.tm_hour, &time.tm_min, &time.tm_sec, &end);
    std::string wrong = "a date and time until 9998 is expected, as 2012-05-14 09:30:00" +
                        (text.empty() ? "" : ", not " + text);
    // The clock goes on, and its text has four digits for the year.
    if (year < -9999 || year > 9998 || month < 0 || month > 12)
        return wrong;
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    if (fields != 6 || static_cast<std::size_t>(end) != text.size() || !Valid(time))
        return wrong;
    Set(Join(time));
    return "";
}

void Rtc::SetStopped(bool stopped) {
    stopped_ = stopped;
    stoppedAt_ = world_.Now();
}

nlohmann::json Rtc::State() const {
    const rtc_time time = Split(Now());
    return {{"time", Text("%04d-%02d-%02d %02d:%02d:%02d", time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
                          time.tm_hour, time.tm_min, time.tm_sec)},
            {"failing", failing_}};
}

}  // namespace k905
