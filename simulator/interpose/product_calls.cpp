#include "simulator/interpose/product_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <type_traits>
#include <unordered_map>

#include "simulator/interpose/call.h"
#include "simulator/interpose/imports.h"
#include "simulator/interpose/real_calls.h"
#include "simulator/interpose/symbols.h"

namespace k905 {

namespace {

// What a call can give to the product, or take back from it.
enum class Held { kNothing, kBlock, kDescriptor, kStream, kFolder, kPipe, kMap, kThread, kMutex };
constexpr const char* kHeldNames[] = {"",     "block", "descriptor", "stream", "folder",
                                      "pipe", "map",   "thread",     "mutex"};

// Whether a call that fails does its work all the same: what was to be given back is gone.
enum class Work { kNone, kDone };

// name, signature (of the variable part as much as the product uses), errno of a failure, its work, what it
// gives and takes. What is taken is the first argument.
#define K905_PRODUCT_CALLS(CALL)                                                                             \
    CALL(malloc, void*(size_t), ENOMEM, kNone, kBlock, kNothing)                                             \
    CALL(calloc, void*(size_t, size_t), ENOMEM, kNone, kBlock, kNothing)                                     \
    CALL(realloc, void*(void*, size_t), ENOMEM, kNone, kBlock, kBlock)                                       \
    CALL(strdup, char*(const char*), ENOMEM, kNone, kBlock, kNothing)                                        \
    CALL(free, void(void*), 0, kNone, kNothing, kBlock)                                                      \
    CALL(open, int(const char*, int, unsigned), EMFILE, kNone, kDescriptor, kNothing)                        \
    CALL(close, int(int), EIO, kDone, kNothing, kDescriptor)                                                 \
    CALL(read, ssize_t(int, void*, size_t), EIO, kNone, kNothing, kNothing)                                  \
    CALL(write, ssize_t(int, const void*, size_t), EIO, kNone, kNothing, kNothing)                           \
    CALL(lseek, off_t(int, off_t, int), EIO, kNone, kNothing, kNothing)                                      \
    CALL(fcntl, int(int, int, long), EINVAL, kNone, kNothing, kNothing)                                      \
    CALL(ioctl, int(int, unsigned long, void*), EIO, kNone, kNothing, kNothing)                              \
    CALL(mmap, void*(void*, size_t, int, int, int, off_t), ENOMEM, kNone, kMap, kNothing)                    \
    CALL(munmap, int(void*, size_t), EINVAL, kDone, kNothing, kMap)                                          \
    CALL(select, int(int, fd_set*, fd_set*, fd_set*, timeval*), EINTR, kNone, kNothing, kNothing)            \
    CALL(tcgetattr, int(int, termios*), EIO, kNone, kNothing, kNothing)                                      \
    CALL(tcsetattr, int(int, int, const termios*), EIO, kNone, kNothing, kNothing)                           \
    CALL(tcflush, int(int, int), EIO, kNone, kNothing, kNothing)                                             \
    CALL(tcdrain, int(int), EINTR, kNone, kNothing, kNothing)                                                \
    CALL(fopen, FILE*(const char*, const char*), EMFILE, kNone, kStream, kNothing)                           \
    CALL(fgets, char*(char*, int, FILE*), EIO, kNone, kNothing, kNothing)                                    \
    CALL(fputs, int(const char*, FILE*), EIO, kNone, kNothing, kNothing)                                     \
    CALL(setvbuf, int(FILE*, char*, int, size_t), ENOMEM, kNone, kNothing, kNothing)                         \
    CALL(fclose, int(FILE*), EIO, kDone, kNothing, kStream)                                                  \
    CALL(popen, FILE*(const char*, const char*), EAGAIN, kNone, kPipe, kNothing)                             \
    CALL(pclose, int(FILE*), ECHILD, kDone, kNothing, kPipe)                                                 \
    CALL(system, int(const char*), EAGAIN, kNone, kNothing, kNothing)                                        \
    CALL(opendir, DIR*(const char*), EMFILE, kNone, kFolder, kNothing)                                       \
    CALL(readdir, dirent*(DIR*), EIO, kNone, kNothing, kNothing)                                             \
    CALL(closedir, int(DIR*), EIO, kDone, kNothing, kFolder)                                                 \
    CALL(access, int(const char*, int), EIO, kNone, kNothing, kNothing)                                      \
    CALL(stat, int(const char*, struct stat*), EIO, kNone, kNothing, kNothing)                               \
    CALL(nanosleep, int(const timespec*, timespec*), EINTR, kNone, kNothing, kNothing)                       \
    CALL(setitimer, int(__itimer_which_t, const itimerval*, itimerval*), EINVAL, kNone, kNothing, kNothing)  \
    CALL(sigaction, int(int, const struct sigaction*, struct sigaction*), EINVAL, kNone, kNothing, kNothing) \
    CALL(sysconf, long(int), EINVAL, kNone, kNothing, kNothing)                                              \
    CALL(pthread_create, int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*), EAGAIN, kNone,     \
         kThread, kNothing)                                                                                  \
    CALL(pthread_join, int(pthread_t, void**), 0, kNone, kNothing, kThread)                                  \
    CALL(pthread_tryjoin_np, int(pthread_t, void**), EBUSY, kNone, kNothing, kThread)                        \
    CALL(pthread_mutex_init, int(pthread_mutex_t*, const pthread_mutexattr_t*), ENOMEM, kNone, kMutex,       \
         kNothing)                                                                                           \
    CALL(pthread_mutex_destroy, int(pthread_mutex_t*), 0, kNone, kNothing, kMutex)                           \
    CALL(pthread_mutex_trylock, int(pthread_mutex_t*), EBUSY, kNone, kNothing, kNothing)

enum Id {
#define K905_ID(name, signature, error, work, gives, takes) k_##name,
    K905_PRODUCT_CALLS(K905_ID)
#undef K905_ID
        kFunctions
};

struct Function {
    const char* name;
    int error;  // 0: it does not fail, and is only followed for what it gives back
    Work work;
    Held gives, takes;
};
constexpr Function kTable[kFunctions] = {
#define K905_ROW(name, signature, error, work, gives, takes) \
    {#name, error, Work::work, Held::gives, Held::takes},
    K905_PRODUCT_CALLS(K905_ROW)
#undef K905_ROW
};

// One place of the program that calls a function.
struct Caller {
    unsigned long count = 0;
    bool wanted = false;  // the calls that are to fail are of this one
};

struct Possession {
    const void* caller;
    size_t bytes;
};

struct Failed {
    unsigned long times = 0;  // so far
    // The first one.
    const void* caller = nullptr;
    int thread = 0;
    std::string label;
    Micros time = 0;
};

struct Counts {
    bool counting = false;
    std::unordered_map<const void*, Caller> callers[kFunctions];
    std::unordered_map<std::uintptr_t, Possession> held[std::size(kHeldNames)];
    size_t bytes = 0, mostBytes = 0;  // in blocks
    CallFailure plan;
    int planned = -1;  // the function of the plan; -1: none
    unsigned long seen = 0;
    Failed failed;
};

// Used to the last instruction of the process.
Counts& counts = *new Counts;
void* realFunctions[kFunctions];
std::vector<std::pair<void**, void*>> diverted;  // places and what stood in them

std::string OffsetText(const void* caller) {
    char text[24];
    snprintf(text, sizeof text, "0x%lx", static_cast<unsigned long>(ProgramOffset(caller)));
    return text;
}

bool IsWanted(const void* caller) {
    const std::string& wanted = counts.plan.caller;
    return wanted.empty() || wanted == OffsetText(caller) || wanted == FunctionAt(caller);
}

// Counts a call. The errno with which it is to fail, or 0.
int Judge(Call& call, Id id, const void* caller) {
    const auto [found, isNew] = counts.callers[id].try_emplace(caller);
    Caller& from = found->second;
    ++from.count;
    if (id != counts.planned)
        return 0;
    if (isNew)
        from.wanted = IsWanted(caller);
    const CallFailure& plan = counts.plan;
    if (!from.wanted || ++counts.seen < plan.call)
        return 0;
    if (plan.times != 0 && counts.seen - plan.call >= plan.times)
        return 0;
    if (counts.failed.times++ == 0) {
        const ProductThread& self = call.Self();
        counts.failed = {1, caller, self.ordinal, self.label, call->Now()};
    }
    return plan.error != 0 ? plan.error : kTable[id].error;
}

void Take(Held what, std::uintptr_t handle) {
    auto& held = counts.held[static_cast<int>(what)];
    const auto found = held.find(handle);
    if (found == held.end())
        return;  // from before the counting
    if (what == Held::kBlock)
        counts.bytes -= found->second.bytes;
    held.erase(found);
}

void Give(Held what, std::uintptr_t handle, size_t bytes, const void* caller) {
    counts.held[static_cast<int>(what)][handle] = {caller, bytes};
    if (what != Held::kBlock)
        return;
    counts.bytes += bytes;
    counts.mostBytes = std::max(counts.mostBytes, counts.bytes);
}

template <typename T>
std::uintptr_t Handle(T value) {
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<std::uintptr_t>(value);
    else
        return static_cast<std::uintptr_t>(value);
}

// Bytes that a call asks for.
size_t Size(size_t size) {
    return size;
}
size_t Size(size_t count, size_t size) {
    return count * size;
}
size_t Size(void*, size_t size) {
    return size;
}
size_t Size(const char* text) {
    return strlen(text) + 1;
}

// A sleep that a signal broke off at its beginning has all of its time left.
void LeaveRest(const timespec* duration, timespec* left) {
    if (left != nullptr)
        *left = *duration;
}
template <typename... Arguments>
void LeaveRest(Arguments...) {}

template <Id id, typename Result>
Result FailedResult(int error) {
    if constexpr (std::is_void_v<Result>) {
        return;
    } else if constexpr (id == k_mmap) {
        errno = error;
        return MAP_FAILED;
    } else if constexpr (std::is_pointer_v<Result>) {
        errno = error;
        return nullptr;
    } else {
        if (strncmp(kTable[id].name, "pthread_", 8) == 0)
            return static_cast<Result>(error);
        errno = error;
        return Result{-1};
    }
}

template <Id id, typename Result>
bool Succeeded(Result result) {
    if constexpr (id == k_mmap)
        return result != MAP_FAILED;
    else if constexpr (std::is_pointer_v<Result>)
        return result != nullptr;
    else if constexpr (id == k_open)
        return result >= 0;
    else
        return result == 0;
}

// What stands in a function's place while calls are counted.
template <Id id, typename Signature>
struct Diversion;

template <Id id, typename Result, typename First, typename... Rest>
struct Diversion<id, Result(First, Rest...)> {
    static constexpr Function kFunction = kTable[id];
    static constexpr bool kVariable = id == k_open || id == k_fcntl || id == k_ioctl;
    using Real = std::conditional_t<kVariable, Result (*)(First, ...), Result (*)(First, Rest...)>;
    // A thread may refuse to be joined; all else that is given back is gone once the call begins.
    static constexpr bool kTakesIfDone = kFunction.takes == Held::kThread;

    static Result Run(First first, Rest... rest) {
        const void* caller = __builtin_return_address(0);
        const int error = Begin(caller, first, rest...);
        const auto real = reinterpret_cast<Real>(realFunctions[id]);
        if constexpr (std::is_void_v<Result>) {
            real(first, rest...);
        } else {
            if (error != 0 && kFunction.work == Work::kNone)
                return FailedResult<id, Result>(error);
            const Result result = real(first, rest...);
            if (error != 0)
                return FailedResult<id, Result>(error);
            if constexpr (kFunction.gives != Held::kNothing || kTakesIfDone)
                if (Succeeded<id>(result))
                    End(caller, Given(result, first), first, rest...);
            return result;
        }
    }

  private:
    static int Begin(const void* caller, First first, Rest... rest) {
        Call call;
        if (!call)
            return 0;
        const int error = Judge(call, id, caller);
        if constexpr (kFunction.takes != Held::kNothing && !kTakesIfDone)
            if (error == 0 || kFunction.work == Work::kDone)
                Take(kFunction.takes, Handle(first));
        if (error != 0) {
            LeaveRest(first, rest...);
            call.Charge(cost::kTransfer);  // a loop that tries again moves the clock
        }
        return error;
    }

    // The name that the thing has from now on.
    template <typename Returned>
    static std::uintptr_t Given(Returned result, First first) {
        if constexpr (kFunction.gives == Held::kThread)
            return Handle(*first);
        else
            return kFunction.gives == Held::kMutex ? Handle(first) : Handle(result);
    }

    static void End(const void* caller, std::uintptr_t handle, First first, Rest... rest) {
        const int error = errno;
        if (Call call; call) {
            if constexpr (kTakesIfDone)
                Take(kFunction.takes, Handle(first));
            else if constexpr (kFunction.gives == Held::kBlock)
                Give(kFunction.gives, handle, Size(first, rest...), caller);
            else
                Give(kFunction.gives, handle, 0, caller);
        }
        errno = error;
    }
};

void* const kDiversions[kFunctions] = {
#define K905_DIVERSION(name, signature, error, work, gives, takes) \
    reinterpret_cast<void*>(&Diversion<k_##name, signature>::Run),
    K905_PRODUCT_CALLS(K905_DIVERSION)
#undef K905_DIVERSION
};

int FindFunction(const std::string& name) {
    for (int id = 0; id < kFunctions; ++id)
        if (name == kTable[id].name)
            return id;
    return -1;
}

void Divert() {
    const auto imports = ProgramImports();
    for (int id = 0; id < kFunctions; ++id) {
        const auto found = imports.find(kTable[id].name);
        if (found == imports.end())
            continue;
        realFunctions[id] = dlsym(RTLD_DEFAULT, kTable[id].name);
        for (void** place : found->second)
            diverted.emplace_back(place, SetImport(place, kDiversions[id]));
    }
}

nlohmann::json Place(const void* caller) {
    return {{"caller", OffsetText(caller)}, {"in", FunctionAt(caller)}};
}

// As people and comparisons want it: what addresses the program was loaded at says nothing.
template <typename Value>
std::vector<std::pair<const void*, Value>> InOrder(const std::unordered_map<const void*, Value>& map) {
    std::vector<std::pair<const void*, Value>> sorted(map.begin(), map.end());
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return sorted;
}

nlohmann::json CountsOfFunctions() {
    nlohmann::json functions = nlohmann::json::array();
    for (int id = 0; id < kFunctions; ++id) {
        if (counts.callers[id].empty())
            continue;
        unsigned long count = 0;
        nlohmann::json callers = nlohmann::json::array();
        for (const auto& [address, caller] : InOrder(counts.callers[id])) {
            nlohmann::json entry = Place(address);
            entry["count"] = caller.count;
            callers.push_back(std::move(entry));
            count += caller.count;
        }
        functions.push_back({{"function", kTable[id].name},
                             {"count", count},
                             {"can_fail", kTable[id].error != 0},
                             {"callers", callers}});
    }
    return functions;
}

nlohmann::json Possessions() {
    nlohmann::json things = nlohmann::json::array();
    for (size_t what = 1; what < std::size(kHeldNames); ++what) {
        std::unordered_map<const void*, std::pair<unsigned long, size_t>> byCaller;
        for (const auto& [handle, possession] : counts.held[what]) {
            auto& [count, bytes] = byCaller[possession.caller];
            ++count;
            bytes += possession.bytes;
        }
        for (const auto& [address, sum] : InOrder(byCaller)) {
            nlohmann::json entry = Place(address);
            entry["what"] = kHeldNames[what];
            entry["count"] = sum.first;
            if (sum.second != 0)
                entry["bytes"] = sum.second;
            things.push_back(std::move(entry));
        }
    }
    return {{"things", things},
            {"blocks", counts.held[static_cast<int>(Held::kBlock)].size()},
            {"bytes", counts.bytes},
            {"most_bytes", counts.mostBytes}};
}

nlohmann::json WhatFailed() {
    if (counts.failed.times == 0)
        return nullptr;
    nlohmann::json failed = Place(counts.failed.caller);
    failed["function"] = kTable[counts.planned].name;
    failed["times"] = counts.failed.times;
    failed["thread"] = counts.failed.thread;
    failed["label"] = counts.failed.label;
    failed["at_us"] = counts.failed.time;
    return failed;
}

}  // namespace

void StartCountingCalls() {
    counts = {};
    counts.counting = true;
    if (diverted.empty())
        Divert();
}

void StopCountingCalls() {
    for (const auto& [place, address] : diverted)
        SetImport(place, address);
    diverted.clear();
    counts = {};
}

std::string FailCalls(const CallFailure& failure) {
    const int id = FindFunction(failure.function);
    if (id < 0 || kTable[id].error == 0) {
        std::string known;
        for (const Function& function : kTable)
            if (function.error != 0)
                known += (known.empty() ? "" : ", ") + std::string(function.name);
        return "no function \"" + failure.function + "\" to fail; there are " + known;
    }
    if (failure.call == 0)
        return "calls count from 1";
    if (!counts.counting)
        StartCountingCalls();
    counts.plan = failure;
    counts.planned = id;
    counts.seen = 0;
    counts.failed = {};
    for (auto& [address, caller] : counts.callers[id])
        caller.wanted = IsWanted(address);
    return "";
}

nlohmann::json CallReport() {
    if (!counts.counting)
        return nullptr;
    return {{"functions", CountsOfFunctions()}, {"failed", WhatFailed()}, {"holds", Possessions()}};
}

}  // namespace k905
