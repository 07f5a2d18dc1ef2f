// The tuning record as the E2PROM view must show it.
#pragma once

#include <string>
#include <vector>

namespace k905 {

// The 24 lines of the view for the record of `file` (96 bytes, as the optic driver keeps it), left column
// first. Throws BenchError when there is no such file or it is shorter; its text names no folder,
// because that of a job is another one each time.
std::vector<std::string> RecordLines(const std::string& file);

}  // namespace k905
