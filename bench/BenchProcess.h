#pragma once
// Running a helper program and reading the one-line JSON it prints, shared by
// the benchmarks that judge their atlases with an outside tool.

#include <cstdio>
#include <string>

namespace benchprocess {

// Everything `command` writes to standard output ("" when it cannot start).
inline std::string CommandOutput(const std::string& command) {
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char chunk[4096];
        for (size_t n; (n = fread(chunk, 1, sizeof(chunk), pipe)) > 0;) text.append(chunk, n);
        pclose(pipe);
    }
    return text;
}

// The raw value after "key": in one line of JSON, "-" when absent.
inline std::string JsonField(const std::string& json, const std::string& key) {
    const std::string pattern = "\"" + key + "\":";
    const size_t at = json.find(pattern);
    if (at == std::string::npos) return "-";
    const size_t from = at + pattern.size();
    return json.substr(from, json.find_first_of(",}", from) - from);
}

}  // namespace benchprocess
