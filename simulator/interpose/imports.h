// The functions that the program has from libraries, and where it keeps their addresses: every call of its
// own goes through one of these places, and no call of another library does.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace k905 {

// The places of the running program, by the functions' names.
std::map<std::string, std::vector<void**>> ProgramImports();

// Puts an address there, also where the loader has closed the page. What stood there before.
void* SetImport(void** place, void* address);

}  // namespace k905
