// Which calls are the program's own, and not those of libraries in its process.
#pragma once

#include <elf.h>
#include <link.h>
#include <stdint.h>
#include <sys/auxv.h>

namespace test {

// The program's place in memory, from the headers that the kernel left.
struct ProgramRange {
    uintptr_t from = 0, to = 0;

    ProgramRange() {
        const auto* headers = reinterpret_cast<const ElfW(Phdr)*>(getauxval(AT_PHDR));
        const size_t count = getauxval(AT_PHNUM);
        uintptr_t base = 0;
        for (size_t i = 0; i < count; ++i)
            if (headers[i].p_type == PT_PHDR)
                base = reinterpret_cast<uintptr_t>(headers) - headers[i].p_vaddr;
        from = base;
        for (size_t i = 0; i < count; ++i)
            if (headers[i].p_type == PT_LOAD && base + headers[i].p_vaddr + headers[i].p_memsz > to)
                to = base + headers[i].p_vaddr + headers[i].p_memsz;
    }
};

// Whether a return address lies in the program.
inline bool OfProgram(const void* caller) {
    static const ProgramRange range;
    const auto at = reinterpret_cast<uintptr_t>(caller);
    return at >= range.from && at < range.to;
}

}  // namespace test
