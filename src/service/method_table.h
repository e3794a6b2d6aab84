// The fifteen methods, and the callback that the bus enters for each call. The daemon's own.
#pragma once

#include <bsvc.h>

namespace harbex::service {

struct Method {
    const char* name;
    const char* description;
    int (*handler)(bs_io* io);  // 0, or an ErrorCode; has sent its own reply, or has chosen to send none
};

// Orders two Methods by name, for qsort.
int compare_handler(const void* left, const void* right);

// Must run once, before the first lookup and before there are threads; from then on the table only is read.
void sort_methods();

// The row of exactly that name, or null.
const Method* find_method(const char* name);

// The bus's callback: answers one request, frees `io` and closes `fd`. Entered from several threads at once; lets no
// exception out.
void service_handler(const char* method, bs_io* io, int fd) noexcept;

}  // namespace harbex::service
