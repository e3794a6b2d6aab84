#include "corvane/device/internet_check.h"

#include <jansson.h>

#include <chrono>
#include <thread>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/service_names.h"
#include "common/trace_log.h"
#include "corvane/device/bus_query.h"
#include "corvane/device/failure.h"

namespace harbex::corvane {
namespace {

constexpr int kStillRunning = -2;
constexpr int kAttempts = 10;
constexpr BusQuery kInternetCheck{
    .service = system::kNetworkManager,
    .method = "api.check_access_internet",
    .announcement = "bsh API: bsh NetworkService.api.check_access_internet",
    .bad_arguments = "Failed to set ifname",
    .call_failed = "Fail to execute NetworkService.api.check_access_internet",
    .no_reply = "Failed to read response",
    .unparsable = "Failed to parse JSON",
};

int result_of(BusStep step) {
    switch (step) {
        case BusStep::kDone:
            return NO_ERROR;
        case BusStep::kStream:
        case BusStep::kRead:
            return ERR_BS_IO_FAILED;
        case BusStep::kCall:
            return ERR_CMD_FAILED;
        case BusStep::kArguments:
        case BusStep::kParse:
        case BusStep::kCheck:
            break;
    }
    return ERR_WRONG_JSON_FORMAT;
}

// One attempt of the internet check; NO_ERROR with the manager's answer in `state`.
int ask_internet_state(const std::string& ifname, json_int_t& state) {
    const JsonOwner arguments(json_pack("{s:s}", "ifname", ifname.c_str()));
    if (!arguments) return fail(ERR_WRONG_JSON_FORMAT, kInternetCheck.bad_arguments);
    const BusAnswer answer = query_service(kInternetCheck, arguments.get());
    if (answer.stopped_at != BusStep::kDone) return result_of(answer.stopped_at);
    const json_t* error = json_object_get(answer.document.get(), "error");
    if (!json_is_integer(error)) return fail(ERR_WRONG_JSON_FORMAT, "Failed to get error");
    state = json_integer_value(error);
    return NO_ERROR;
}

}  // namespace

int bsh_check_access_internet(const std::string& ifname) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        json_int_t state = 0;
        const int result = ask_internet_state(ifname, state);
        if (result != NO_ERROR) return result;
        if (state == 0) {
            HARBEXLOG(HARBEXLOG_INFO, "bsh NetworkService.api.check_access_internet success\n");
            return NO_ERROR;
        }
        if (state != kStillRunning) {
            HARBEXLOG(HARBEXLOG_ERROR, "bsh NetworkService.api.check_access_internet failed with error code: %d\n",
                      static_cast<int>(state));
            return ERR_BS_API_RET_ERROR;
        }
        HARBEXLOG(HARBEXLOG_INFO, "bsh NetworkService.api.check_access_internet is processing, retry %d times\n",
                  attempt);
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    return ERR_BS_API_RET_ERROR;
}

}  // namespace harbex::corvane
