// The whole soak, and one table of what came of it.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "tests/soak/soak.h"

namespace k905::soak {
namespace {

constexpr const char* kUsage =
    "usage: k905_soak [--seed N] [--hours H] [--changes N] [--stop-at N] [--one-program]\n"
    "                 [--verbose]\n"
    "\n"
    "  --seed N      of everything that is done and of the module (default: 1)\n"
    "  --hours H     virtual hours, at least (default: 24)\n"
    "  --changes N   changes of the screen, at least (default: 10000)\n"
    "  --stop-at N   ends with the change after this one, and tells every step\n"
    "  --one-program no power cuts and no ends but the last\n"
    "  --verbose     tells every step\n";

double ProcessorSeconds(int who) {
    rusage used = {};
    getrusage(who, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
}

void PrintRow(const char* screen, const Row& row) {
    printf("%-14s %8lu %8lu %8lu %8lu %8lu %8lu\n", screen, row.visits, row.run, row.passed, row.failed,
           row.free, row.findings);
}

int Command(const Options& options) {
    const auto begin = std::chrono::steady_clock::now();
    const Report report = Run(options, [](const std::string& line) {
        puts(line.c_str());
        fflush(stdout);
    });
    printf("%-14s %8s %8s %8s %8s %8s %8s\n", "screen", "visits", "checks", "passed", "failed", "free",
           "findings");
    Row sum;
    for (int screen = 0; screen < kScreens; ++screen) {
        const Row& row = report.screens[screen];
        PrintRow(NameOf(static_cast<Screen>(screen)), row);
        sum.visits += row.visits;
        sum.run += row.run;
        sum.passed += row.passed;
        sum.failed += row.failed;
        sum.free += row.free;
        sum.findings += row.findings;
    }
    PrintRow("all", sum);
    unsigned long on = 0, off = 0;
    printf("on and off:");
    for (const auto& [name, counts] : report.switched) {
        printf(" %s %lu/%lu", name.c_str(), counts.first, counts.second);
        on += counts.first;
        off += counts.second;
    }
    printf(
        "\nswitched on %lu, off %lu; %lu keys, %lu touches anywhere; %lu starts, %lu ends, %lu power cuts\n",
        on, off, report.keys, report.touches, report.starts, report.ends, report.cuts);
    if (!report.footprints.empty())
        for (const auto* one : {&report.footprints.front(), &report.footprints.back()})
            printf("after %.1f h: %s\n", one->first, one->second.Describe().c_str());
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    printf("seed %u: %.1f virtual hours, %lu changes, hash %016lx; %.0f s, of the processor %.0f s\n",
           options.seed, static_cast<double>(report.virtualUs) / 3.6e9, report.changes,
           static_cast<unsigned long>(report.hash), wall,
           ProcessorSeconds(RUSAGE_SELF) + ProcessorSeconds(RUSAGE_CHILDREN));
    return report.findings == 0 ? 0 : 1;
}

}  // namespace
}  // namespace k905::soak

int main(int count, char** arguments) {
    k905::soak::Options options;
    for (int i = 1; i < count; ++i) {
        const std::string name = arguments[i];
        const char* value = i + 1 < count ? arguments[i + 1] : nullptr;
        if (name == "--verbose" || name == "--one-program") {
            (name == "--verbose" ? options.verbose : options.oneProgram) = true;
            continue;
        }
        if (name == "--help" || value == nullptr)
            return fputs(k905::soak::kUsage, name == "--help" ? stdout : stderr), name == "--help" ? 0 : 2;
        ++i;
        if (name == "--seed")
            options.seed = static_cast<unsigned>(strtoul(value, nullptr, 10));
        else if (name == "--hours")
            options.hours = atof(value);
        else if (name == "--changes")
            options.changes = static_cast<unsigned>(std::max(1, atoi(value)));
        else if (name == "--stop-at")
            options.stopAt = static_cast<unsigned>(std::max(1, atoi(value)));
        else
            return fputs(k905::soak::kUsage, stderr), 2;
    }
    try {
        return k905::soak::Command(options);
    } catch (const std::exception& error) {
        fprintf(stderr, "k905_soak: %s\n", error.what());
        return 2;
    }
}
