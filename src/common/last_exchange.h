// What the last request of this thread to somebody else came to, for programs that tell people why something failed.
// The library's own.
#pragma once

#include <jansson.h>

namespace harbex::system {

struct LastExchange {
    enum class Kind { kNone, kTransfer, kBusCall };

    Kind kind = Kind::kNone;
    char peer[256] = "";   // the host, with a port that is not the usual one, or the bus service
    int result = 0;        // libcurl's code, or that of bs_call
    long status = 0;       // of HTTP, 0 when no answer came; or the "error" of the service's answer
    char words[256] = "";  // the service's "error_message"
};

// Valid for the thread that asks, until its next request.
const LastExchange& last_exchange();
void forget_last_exchange();

// What makes requests notes them. `url` may be null.
void note_transfer(const char* url, int result, long http_status);
void note_bus_call(const char* service, int result);
// Behind its call.
void note_bus_answer(const json_t* answer);

}  // namespace harbex::system
