// What the fuzzers share: their entry, a check, and for those of the product an outside of their making.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace fuzz {

// Defined by each fuzzer: tries one input.
void one(std::string_view input);

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

// Up to `end`, which is taken away, too.
inline std::string take(std::string_view& rest, char end) {
    const size_t length = rest.find(end);
    const std::string taken(rest.substr(0, length));
    rest.remove_prefix(length == rest.npos ? rest.size() : length + 1);
    return taken;
}

// What outside.cpp puts in the place of tools, cloud and bus. Every request is answered the same; settings stay in
// memory, by key; a tool prints `answer`.
struct Outside {
    std::string answer;  // of the cloud and of tools
    int result = 0;      // of a request to the cloud
    std::string reply;   // of a bus service
    std::map<std::string, std::string> settings;
};
extern Outside outside;

// A signed-in NAS for which the cloud has `answer`.
Outside signed_in(std::string_view answer);

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::one({reinterpret_cast<const char*>(data), size});
    return 0;
}
