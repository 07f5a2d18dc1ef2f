// The product's functions and variables by name, as its symbol table tells them.
#pragma once

#include <string>

namespace k905 {

// Plain name of the function at an address of the running program ("DefaultWindowThread"), or "" when its
// symbol table does not tell.
std::string SymbolName(const void* function);

// Where the variable of that plain name lies ("pShownScreen"), or null when the symbol table does not tell.
const void* ObjectAddress(const std::string& name);

}  // namespace k905
