// Names of the product's functions, for people who look at its threads.
#pragma once

#include <string>

namespace k905 {

// Plain name of the function at an address of the running program ("DefaultWindowThread"), or "" when its
// symbol table does not tell.
std::string SymbolName(const void* function);

}  // namespace k905
