// An instrument behind the page with its past, on the real fct, in fast time.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "simulator/panel/panel_past.h"

namespace k905 {

class Past : public ::testing::Test {
  protected:
    static BenchOptions Fast() {
        BenchOptions options;
        options.speed = 1000;
        return options;
    }

    nlohmann::json Ask(const nlohmann::json& request) {
        nlohmann::json reply = past_.Ask(request);
        EXPECT_TRUE(reply["ok"].get<bool>()) << request << reply;
        return reply;
    }
    bool Sees(const std::string& text) {
        const bool met = Ask({{"do", "until"}, {"text", text}, {"limit_ms", 100'000'000}})["met"];
        EXPECT_TRUE(met) << text << Ask({{"do", "text"}}).dump(1);
        return met;
    }
    bool Go(const std::string& control, const std::string& text) {
        Ask({{"do", "touch"}, {"control", control}});
        return Sees(text);
    }
    std::int64_t Now() { return Ask({{"do", "hello"}})["now_us"]; }
    std::string Refusal(const nlohmann::json& request) {
        try {
            past_.Ask(request);
        } catch (const BenchError& error) {
            return error.what();
        }
        return "";
    }
    // What the loop of the launcher does, until another program runs.
    void UntilRestarted() {
        const unsigned run = past_.GetStatus().run;
        for (int tries = 0; tries < 1000 && past_.GetStatus().run == run; ++tries) {
            bench_.Watch();
            past_.Watch();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_EQ(run + 1, past_.GetStatus().run) << past_.GetStatus().how;
    }

    void UntilOff() {
        for (int tries = 0; tries < 1000 && past_.GetStatus().running; ++tries) {
            bench_.Watch();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_FALSE(past_.GetStatus().running);
    }

    PanelBench bench_{Fast()};
    PanelPast past_{bench_};
};

}  // namespace k905
