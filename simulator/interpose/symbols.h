// The product's functions and variables by name, as its symbol table tells them.
#pragma once

#include <cstdint>
#include <string>

namespace k905 {

// Plain name of the function at an address of the running program ("DefaultWindowThread"), or "" when its
// symbol table does not tell.
std::string SymbolName(const void* function);

// The same of the function that an instruction of the program stands in.
std::string FunctionAt(const void* instruction);

// An address of the running program as the program's file has it, wherever it was loaded.
std::uintptr_t ProgramOffset(const void* address);

// Where the variable of that plain name lies ("pShownScreen"), or null when the symbol table does not tell.
const void* ObjectAddress(const std::string& name);

}  // namespace k905
