// The control client's requests in words ("fault sd.missing") instead of JSON, its help, and what completes
// them.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace k905 {

// The instrument's keys, row by row.
const std::vector<std::string>& KeyNames();

// The request that the words mean: a command and its members in their order; those that are no number, true,
// false, null, object or list are texts. Throws BenchError that tells how the command is used.
nlohmann::json RequestFromWords(const std::vector<std::string>& words);

// One line for each command.
std::string WordsHelp();

// What can stand as the last of the words, each begun with what is there of it. `ask` does a request and may
// throw BenchError: names that only the instrument knows are left out then.
std::vector<std::string> CompleteWords(const std::vector<std::string>& words,
                                       const std::function<nlohmann::json(const nlohmann::json&)>& ask);

// For bash: source <(k905 ctl completion).
std::string BashCompletion();

}  // namespace k905
