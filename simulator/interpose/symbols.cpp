#include "simulator/interpose/symbols.h"

#include <cxxabi.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <stdlib.h>
#include <string.h>

#include <iterator>
#include <map>

#include "simulator/interpose/real_calls.h"

namespace k905 {

namespace {

using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);
using Symbol = ElfW(Sym);

std::string PlainName(const char* symbol) {
    int status = 0;
    char* readable = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
    std::string name = status == 0 && readable != nullptr ? readable : symbol;
    free(readable);
    name.erase(name.find('(') == std::string::npos ? name.size() : name.find('('));
    return name.substr(name.rfind("::") == std::string::npos ? 0 : name.rfind("::") + 2);
}

// Symbols of one type (STT_FUNC, STT_OBJECT), by their value.
using Symbols = std::map<ElfW(Addr), std::string>;

// Those of an ELF image in memory.
Symbols ReadSymbols(const char* image, size_t size, int type) {
    Symbols symbols;
    const auto inside = [size](size_t offset, size_t length) {
        return offset <= size && length <= size - offset;
    };
    const auto* header = reinterpret_cast<const Header*>(image);
    if (size < sizeof(Header) || memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
        !inside(header->e_shoff, header->e_shnum * sizeof(Section)))
        return symbols;
    const auto* sections = reinterpret_cast<const Section*>(image + header->e_shoff);
    for (unsigned i = 0; i < header->e_shnum; ++i) {
        const Section& section = sections[i];
        if (section.sh_type != SHT_SYMTAB || section.sh_link >= header->e_shnum)
            continue;
        const Section& strings = sections[section.sh_link];
        if (!inside(section.sh_offset, section.sh_size) || !inside(strings.sh_offset, strings.sh_size))
            continue;
        const auto* entries = reinterpret_cast<const Symbol*>(image + section.sh_offset);
        for (size_t n = 0; n < section.sh_size / sizeof(Symbol); ++n)
            if ((entries[n].st_info & 0xf) == type && entries[n].st_name < strings.sh_size)
                symbols[entries[n].st_value] = image + strings.sh_offset + entries[n].st_name;
    }
    return symbols;
}

// Where the main program was loaded, less the addresses that it was linked for.
ElfW(Addr) LoadBias() {
    ElfW(Addr) bias = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* result) {
            *static_cast<ElfW(Addr)*>(result) = info->dlpi_addr;
            return 1;  // the first one is the program
        },
        &bias);
    return bias;
}

Symbols ProgramSymbols(int type) {
    Symbols symbols;
    const int fd = Real().open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    struct stat64 status = {};
    if (fd >= 0 && Real().fstat64(fd, &status) == 0) {
        const auto size = static_cast<size_t>(status.st_size);
        void* image = Real().mmap64(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (image != MAP_FAILED) {
            symbols = ReadSymbols(static_cast<const char*>(image), size, type);
            Real().munmap(image, size);
        }
    }
    if (fd >= 0)
        Real().close(fd);
    return symbols;
}

const Symbols& Functions() {
    static const Symbols& symbols = *new Symbols(ProgramSymbols(STT_FUNC));  // until the process is gone
    return symbols;
}

}  // namespace

std::string SymbolName(const void* function) {
    const Symbols& symbols = Functions();
    const auto found = symbols.find(ProgramOffset(function));
    return found == symbols.end() ? "" : PlainName(found->second.c_str());
}

std::string FunctionAt(const void* instruction) {
    const Symbols& symbols = Functions();
    const auto after = symbols.upper_bound(ProgramOffset(instruction));
    return after == symbols.begin() ? "" : PlainName(std::prev(after)->second.c_str());
}

std::uintptr_t ProgramOffset(const void* address) {
    static const ElfW(Addr) bias = LoadBias();
    return reinterpret_cast<std::uintptr_t>(address) - bias;
}

const void* ObjectAddress(const std::string& name) {
    for (const auto& [value, symbol] : ProgramSymbols(STT_OBJECT))
        if (PlainName(symbol.c_str()) == name)
            return reinterpret_cast<const void*>(value + LoadBias());
    return nullptr;
}

}  // namespace k905
