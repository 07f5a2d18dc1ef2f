#include "simulator/interpose/imports.h"

#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace k905 {

namespace {

struct Program {
    ElfW(Addr) bias = 0;
    const ElfW(Dyn) * dynamic = nullptr;

    // Addresses that the loader may have made absolute already.
    template <typename T>
    const T* At(ElfW(Addr) address) const {
        return reinterpret_cast<const T*>(address < bias ? address + bias : address);
    }
    ElfW(Addr) Entry(ElfW(Sxword) tag) const {
        for (const ElfW(Dyn)* entry = dynamic; entry->d_tag != DT_NULL; ++entry)
            if (entry->d_tag == tag)
                return entry->d_un.d_ptr;
        return 0;
    }
};

Program TheProgram() {
    Program program;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* result) {
            auto& found = *static_cast<Program*>(result);
            found.bias = info->dlpi_addr;
            for (int i = 0; i < info->dlpi_phnum; ++i)
                if (info->dlpi_phdr[i].p_type == PT_DYNAMIC)
                    found.dynamic =
                        reinterpret_cast<const ElfW(Dyn)*>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr);
            return 1;  // the first one is the program
        },
        &program);
    return program;
}

using Imports = std::map<std::string, std::vector<void**>>;

// One of the program's tables of relocations, with or without addends.
template <typename Relocation>
void Read(const Program& program, ElfW(Addr) table, size_t size, Imports& imports) {
    const auto* symbols = program.At<ElfW(Sym)>(program.Entry(DT_SYMTAB));
    const char* names = program.At<char>(program.Entry(DT_STRTAB));
    const auto* relocations = program.At<Relocation>(table);
    for (size_t i = 0; i < size / sizeof(Relocation); ++i) {
#if __SIZEOF_POINTER__ == 8
        const size_t symbol = ELF64_R_SYM(relocations[i].r_info);
#else
        const size_t symbol = ELF32_R_SYM(relocations[i].r_info);
#endif
        if (symbol != 0 && symbols[symbol].st_shndx == SHN_UNDEF)
            imports[names + symbols[symbol].st_name].push_back(
                reinterpret_cast<void**>(program.bias + relocations[i].r_offset));
    }
}

}  // namespace

Imports ProgramImports() {
    Imports imports;
    const Program program = TheProgram();
    if (program.dynamic == nullptr)
        return imports;
    Read<ElfW(Rela)>(program, program.Entry(DT_RELA), program.Entry(DT_RELASZ), imports);
    Read<ElfW(Rel)>(program, program.Entry(DT_REL), program.Entry(DT_RELSZ), imports);
    if (program.Entry(DT_PLTREL) == DT_RELA)
        Read<ElfW(Rela)>(program, program.Entry(DT_JMPREL), program.Entry(DT_PLTRELSZ), imports);
    else
        Read<ElfW(Rel)>(program, program.Entry(DT_JMPREL), program.Entry(DT_PLTRELSZ), imports);
    return imports;
}

void* SetImport(void** place, void* address) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(place) & ~(page - 1);
    mprotect(reinterpret_cast<void*>(begin), page, PROT_READ | PROT_WRITE);
    return __atomic_exchange_n(place, address, __ATOMIC_ACQ_REL);
}

}  // namespace k905
