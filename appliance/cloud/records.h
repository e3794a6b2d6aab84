// Requests of the simulated cloud and their answers, and the records of those it has seen, for people and tests to
// read: one JSON line a request with "number", "host", "method", "target", "headers" (lines as sent, in order),
// "body" and "status".
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace appliance {

struct CloudRequest {
    std::string host;
    std::string method;
    std::string target;                // path and query
    std::vector<std::string> headers;  // "Name: value", as sent
    std::string body;

    std::string path() const { return target.substr(0, target.find('?')); }
    // The query without its question mark.
    std::string query() const;
    // The value of the first header line of that name, whatever its case; "" when there is none.
    std::string header(std::string_view name) const;
};

struct CloudAnswer {
    int status;
    std::string body;
};

class Records {
public:
    explicit Records(std::string file) : file_(std::move(file)) {}
    // The number of a new connection, 1 for the first since the start or the last clearing.
    unsigned count_connection();
    void add(unsigned number, const CloudRequest& request, int status);
    void clear();

private:
    const std::string file_;
    std::mutex mutex_;
    unsigned connections_ = 0;  // guarded by mutex_
};

}  // namespace appliance
