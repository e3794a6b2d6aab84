// The notification centre's messages of this application, and how one is sent. Published.
#pragma once

namespace harbex {

// One row of the catalogue. In `message` the place {0} stands for the application's display name, {1} and on for the
// sender's values.
struct nc_msg_struct {
    const char* category_id;  // C001 servers, C002 client profiles, C003 more of both, C004 SD-WAN
    const char* message_id;   // four digits; 0031 to 0034 stand in C001 and again in C004
    const char* level;        // info, warn, error
    const char* message;
};

// Addressed by index; the index of a row never changes.
extern const nc_msg_struct __NC_MSG_DB__[44];

namespace nclog {

// Hands `msg` to the notification tool with the values of {1}, {2} and so on: C strings, ended by a null pointer of
// pointer type (`static_cast<const char*>(nullptr)`); at most 12 are taken. Detached: returns as soon as the tool's
// process is on its own way, and nothing is learnt of its fate. A null `msg` sends nothing. Any thread may call it.
void notify_send(const nc_msg_struct* msg, ...) __attribute__((sentinel));

}  // namespace nclog
}  // namespace harbex
