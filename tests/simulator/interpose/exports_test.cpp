// What the library takes over: the written list, what it exports in fact, and what programs need.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <fstream>
#include <set>
#include <sstream>

#include "tests/simulator/interpose/probe_run.h"

namespace {

using Names = std::set<std::string>;

Names FromCommand(const std::string& command) {
    Names names;
    FILE* pipe = popen(command.c_str(), "r");
    char line[512] = "";
    while (pipe != nullptr && fgets(line, sizeof line, pipe) != nullptr) {
        std::istringstream words(line);
        std::string word;
        std::string last;
        while (words >> word)
            last = word;
        last.erase(std::min(last.find('@'), last.size()));
        names.insert(last);
    }
    if (pipe != nullptr)
        pclose(pipe);
    return names;
}

Names WrittenList() {
    std::ifstream file(K905_EXPORTS);
    std::ostringstream text;
    text << file.rdbuf();
    std::string plain = text.str();
    for (std::size_t at = 0; (at = plain.find("/*")) != std::string::npos;)
        plain.erase(at, plain.find("*/", at) + 2 - at);
    Names names;
    std::istringstream words(plain);
    for (std::string word; words >> word;)
        if (word.back() == ';' && word != "};" && word != "*;")
            names.insert(word.substr(0, word.size() - 1));
    return names;
}

TEST(Exports, TheLibraryExportsTheWrittenListAndNothingElse) {
    const Names written = WrittenList();
    EXPECT_GT(written.size(), 80u);
    EXPECT_EQ(written, FromCommand("nm -D --defined-only " K905_PRELOAD));
}

// Functions of the C library that a probe needs and that touch neither devices, files, time nor threads.
const Names kHarmless = {"printf",
                         "__printf_chk",
                         "abort",
                         "__fdelt_chk",
                         "__stack_chk_fail",
                         "__libc_start_main",
                         "closedir",
                         "__errno_location",
                         "__cxa_finalize",
                         "__gmon_start__",
                         "_ITM_deregisterTMCloneTable",
                         "_ITM_registerTMCloneTable",
                         "memset"};

// And those that the product needs besides: memory, text and numbers.
const Names kHarmlessToTheProduct = {
    "calloc",       "malloc",       "free",    "fgets",   "log10f",  "log10",   "memcmp",      "memcpy",
    "memmove",      "perror",       "puts",    "putchar", "readdir", "setvbuf", "sigemptyset", "snprintf",
    "strcmp",       "strdup",       "strcpy",  "strlen",  "strncmp", "strstr",  "strchr",      "strrchr",
    "sysconf",      "pthread_exit", "sqrtf",   "powf",    "fprintf", "fputs",   "fwrite",      "fread",
    "fflush",       "vsnprintf",    "realloc", "strtol",  "truncf",  "exit",    "stdout",      "stderr",
    "pthread_self", "fputc",        "sscanf"};

TEST(Exports, EveryCallOfTheProductIsCovered) {
    if (K905_SANITIZED)
        GTEST_SKIP() << "the product is linked to a sanitizer's functions";
    const Names needed = FromCommand("nm -D --undefined-only " K905_BINARY_DIR "/bin/fct");
    EXPECT_TRUE(needed.count("open") != 0 || needed.count("__open_2") != 0);
    const Names written = WrittenList();
    for (const std::string& name : needed)
        EXPECT_TRUE(written.count(name) + kHarmless.count(name) + kHarmlessToTheProduct.count(name) != 0)
            << name << " goes past the simulator";
}

// Those that are counted and can be made to fail.
Names Fallible() {
    test::ProbeRun run("fallible", "stepped");
    std::istringstream words(run.Ask({{"do", "fail_call"}, {"function", "none"}}).value("error", ""));
    Names names;
    for (std::string word; words >> word;)
        names.insert(word.substr(0, word.find(',')));
    return names;
}

// And what of the covered calls cannot fail, or only by a mistake of the product's own. Formatted output goes
// through the stream that it fills: what it cannot write shows as the stream is closed.
const Names kInfallible = {"free",
                           "clock_gettime",
                           "pthread_join",
                           "pthread_kill",
                           "pthread_exit",
                           "pthread_mutex_lock",
                           "pthread_mutex_unlock",
                           "pthread_mutex_destroy",
                           "fprintf",
                           "printf",
                           "puts",
                           "putchar",
                           "perror",
                           "snprintf",
                           "vsnprintf",
                           "fputc",
                           "fwrite",
                           "sigemptyset",
                           "log10",
                           "log10f",
                           "sqrtf",
                           "powf",
                           "truncf",
                           "strtol",
                           "sscanf",
                           "exit",
                           "stdout",
                           "stderr",
                           "pthread_self"};

TEST(Exports, EveryCallOfTheProductThatCanFailCanBeMadeTo) {
    if (K905_SANITIZED)
        GTEST_SKIP() << "the product is linked to a sanitizer's functions";
    const Names fallible = Fallible();
    EXPECT_GT(fallible.size(), 30u);
    for (const std::string& name : FromCommand("nm -D --undefined-only " K905_BINARY_DIR "/bin/fct"))
        EXPECT_TRUE(fallible.count(name) != 0 || kInfallible.count(name) != 0 ||
                    name.compare(0, 3, "str") == 0 || name.compare(0, 3, "mem") == 0 || name[0] == '_')
            << name << " cannot be made to fail";
}

class Variant : public testing::TestWithParam<const char*> {};

TEST_P(Variant, EveryCallOfAProgramIsCovered) {
    const std::string program = std::string(K905_BINARY_DIR "/bin/probe_calls_") + GetParam();
    const Names needed = FromCommand("nm -D --undefined-only " + program);
    EXPECT_GT(needed.size(), 60u);
    const Names written = WrittenList();
    for (const std::string& name : needed)
        EXPECT_TRUE(written.count(name) != 0 || kHarmless.count(name) != 0)
            << name << " goes past the simulator";
}

INSTANTIATE_TEST_SUITE_P(Builds, Variant, testing::Values("plain", "fortified", "large_files"));

TEST(Exports, TheVariantsNeedTheNamesThatTheyWereMadeFor) {
#ifdef __clang__
    GTEST_SKIP() << "this compiler checks no buffers of these calls";
#endif
    const std::string programs = K905_BINARY_DIR "/bin/probe_calls_";
    EXPECT_THAT(FromCommand("nm -D --undefined-only " + programs + "fortified"),
                testing::IsSupersetOf({"__read_chk", "__open_2", "__poll_chk"}));
    EXPECT_THAT(FromCommand("nm -D --undefined-only " + programs + "large_files"),
                testing::IsSupersetOf({"open64", "mmap64", "lseek64", "fcntl64", "fopen64", "stat64"}));
}

}  // namespace
