// A NAS whose daemon can be called by all its methods again and again, and what is watched of that daemon.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Method {
    const char* name;
    std::string (*request)();  // makes what must be true before the call, and the request
    const char* data;          // how the reply's data begin
};

// All fifteen: each succeeds whatever the others do at the same time.
extern const std::vector<Method> kMethods;

// Signs the NAS in, gives it an organisation, and has what would take it out again succeed without doing so; the
// appliance's own daemon is stopped. Ends the program when that fails.
void prepare_nas();

// Calls the daemon. "" when the reply is the method's envelope of success, else what came instead.
std::string call(const Method& method, const std::string& request);
// What call returns when the connection was closed without a reply.
std::string turned_away(const Method& method);

// Runs `work` with the numbers 0 to `count`-1, each in a thread of its own; returns when all have ended.
void in_threads(unsigned count, const std::function<void(unsigned number)>& work);

// Of the memory that nobody else maps, in KiB; `field` is a field of /proc/…/smaps_rollup.
double memory_kib(pid_t pid, const std::string& field);

// Prints one row for the table of scripts/bench: the value, what it is compared with, and whether it is at most the
// aim.
void report(const char* what, double value, double reference, const char* unit, double ratio, double aim);

}  // namespace bench
