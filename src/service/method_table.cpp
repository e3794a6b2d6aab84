#include "service/method_table.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>

#include "common/bus_io.h"
#include "common/file_descriptor.h"
#include "service/cloud_token.h"
#include "service/corvane_token.h"
#include "service/device_removal.h"
#include "service/gateway_methods.h"
#include "service/logger.h"
#include "service/memory.h"
#include "service/public_address.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"
#include "service/timeouts.h"
#include "service/tunnel_statistics.h"

namespace harbex::service {
namespace {

Method methods[] = {
    {"Get_rxtx", "Retrieve RX and TX statistics", Get_rxtx},
    {"Get_rxtx_bytecount", "Retrieve RX and TX byte count", Get_rxtx_bytecount},
    {"Get_public_ip", "Retrieve the public IP address", Get_public_ip},
    {"Get_port_status", "Retrieve the status of the port", Get_port_status},
    {"Get_gateway_info", "Retrieve the gateway information", Get_gateway_info},
    {"Supernode_halt", "Halt the supernode", Supernode_halt},
    {"Device_unregister_from_nas", "Device unregister from NAS", Device_unregister_from_nas},
    {"Device_remove_by_corvane", "Remove the device by corvane", Device_remove_by_corvane},
    {"Refresh_cloudtoken", "Refresh the cloud token", Refresh_cloudtoken},
    {"Get_cloudtoken", "Get the cloud token", Get_cloudtoken},
    {"Get_corvanetoken", "Get the corvane token", Get_corvanetoken},
    {"Save_cloudtoken", "Save the cloud token", Save_cloudtoken},
    {"Update_org_name", "Update the organization name", Update_org_name},
    {"Update_and_check_timeout", "Update status and check timeout for MQTT and IPSec", Update_and_check_timeout},
    {"Flush_timeout", "Flush the timeout state", Flush_timeout},
};
constexpr size_t kMethodCount = std::size(methods);
static_assert(kMethodCount == 15);

void run(const Method& method, bs_io* io) {
    Logger::Log(DEBUG, "==============API: %s==================", method.name);
    Logger::Log(DEBUG, "log_absolute_path: %s", current_log_path().c_str());
    try {
        const int result = method.handler(io);
        if (result != E_SUCCESS) Logger::Log(ERROR, "method: %s Callback failed, Ret: %d", method.name, result);
    } catch (const std::exception& e) {
        Logger::Log(ERROR, "method: %s Callback threw: %s", method.name, e.what());
    } catch (...) {
        Logger::Log(ERROR, "method: %s Callback threw", method.name);
    }
    check_log_rotation();
}

}  // namespace

int compare_handler(const void* left, const void* right) {
    return strcmp(static_cast<const Method*>(left)->name, static_cast<const Method*>(right)->name);
}

void sort_methods() {
    qsort(methods, kMethodCount, sizeof(Method), compare_handler);
}

const Method* find_method(const char* name) {
    size_t low = 0;
    size_t high = kMethodCount;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        const int order = strcmp(name, methods[middle].name);
        if (order == 0) return &methods[middle];
        if (order < 0) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return nullptr;
}

void service_handler(const char* method, bs_io* io, int fd) noexcept {
    size_t request_size = 0;
    (void)bs_io_read(io, &request_size);
    {
        const system::FileDescriptor connection(fd);
        const bs_auto_io stream(io);
        try {
            if (const Method* found = find_method(method)) {
                run(*found, io);
            } else {
                (void)send_error_response(io, E_ELSE, "Unknown method");  // the code again
            }
        } catch (...) {
            Logger::Log(ERROR, "method: %s dropped", method);
        }
    }
    tidy_memory(request_size);
}

}  // namespace harbex::service
