// What the last request of this thread to somebody else came to, for programs that tell people why something failed.
// The library's own.
#pragma once

namespace harbex::system {

struct LastExchange {
    enum class Kind { kNone, kTransfer };

    Kind kind = Kind::kNone;
    char peer[256] = "";   // the host, with a port that is not the usual one
    int result = 0;        // libcurl's code
    long http_status = 0;  // 0 when no answer came
};

// Valid for the thread that asks, until its next request.
const LastExchange& last_exchange();
void forget_last_exchange();

// What makes requests notes them. `url` may be null.
void note_transfer(const char* url, int result, long http_status);

}  // namespace harbex::system
