#include "common/bus_io.h"

#include <algorithm>
#include <climits>

#include "common/error_code.h"
#include "common/trace_statement.h"

namespace harbex::corvane {

int json_write_io(const char* buffer, size_t size, void* io) {
    const ssize_t written = io == nullptr ? -1 : bs_io_write(static_cast<bs_io*>(io), buffer, size);
    // Held to the range of int: a huge chunk that failed must not come out as 0.
    return static_cast<int>(std::max<ssize_t>(written - static_cast<ssize_t>(size), INT_MIN));
}

int json_write_bsh_io(const char* buffer, size_t size, void* io) {
    return json_write_io(buffer, size, io);
}

int bsh_response_checker(json_t* root) {
    if (root == nullptr) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to check bsh response because root is NULL\n");
        return ERR_BS_IO_FAILED;
    }
    const json_t* error = json_object_get(root, "error");
    if (error == nullptr) {
        HARBEXLOG(HARBEXLOG_ERROR, "Failed to get error\n");
        return ERR_WRONG_JSON_FORMAT;
    }
    const json_int_t number = json_integer_value(error);
    if (number == 0) return NO_ERROR;
    const char* const message = json_string_value(json_object_get(root, "error_message"));
    HARBEXLOG(HARBEXLOG_ERROR, "bsh response error %" JSON_INTEGER_FORMAT ", msg = %s\n", number,
              message == nullptr ? "" : message);
    return ERR_WRONG_JSON_FORMAT;
}

}  // namespace harbex::corvane
