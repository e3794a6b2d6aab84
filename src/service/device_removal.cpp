#include "service/device_removal.h"

#include <jansson.h>
#include <unistd.h>

#include "common/bus_io.h"
#include "common/json_owner.h"
#include "common/service_names.h"
#include "corvane/cloud/unregistration.h"
#include "corvane/device/edge_scripts.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"
#include "service/bus_client.h"
#include "service/cloud_token.h"
#include "service/corvane_token.h"
#include "service/logger.h"
#include "service/refusal.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr BusCall kSendConfig{
    .service = system::kEdgeDaemon,
    .method = "SendSupernodeConfig",
    .timeout_s = 60,
    .announcement = "bsh API: bsh corvane_expressd.SendSupernodeConfig {'data':{'superNodeId':''}}",
    .call_failed = "Fail to execute corvane_expressd.SendSupernodeConfig",
    .no_reply = "Failed to read response from corvane_expressd.SendSupernodeConfig",
    .rejected = "Failed to check bsh response from corvane_expressd.SendSupernodeConfig",
};
constexpr BusCall kClearConnections{
    .service = system::kEdgeDaemon,
    .method = "ClearIpsecConnections",
    .timeout_s = 60,
    .announcement = "bsh API: bsh corvane_expressd.ClearIpsecConnections region=supernode",
    .call_failed = "Fail to execute corvane_expressd.ClearIpsecConnections",
    .no_reply = "Failed to read response from corvane_expressd.ClearIpsecConnections",
    .rejected = "Failed to check bsh response from corvane_expressd.ClearIpsecConnections",
};

struct Deletion {
    const char* path;
    const char* complaint;
};
constexpr Deletion kSupernodeFiles[] = {
    {"/etc/ipsec.d/certs/supernode.pem", "Failed to delete supernode.pem"},
    {"/etc/config/harbex/supernode.json", "Failed to delete supernode.json"},
    {"/etc/config/harbex/supernode_config.conf", "Failed to delete supernode_config.conf"},
};

// What a step came to that ended with `words`.
std::string failed(const char* words) {
    Logger::Log(ERROR, "%s", words);
    return words;
}

// Calls with `arguments`; "" on success. `unwritten` is for arguments that cannot be put on the stream.
std::string call_daemon(const BusCall& call, const JsonOwner& arguments, const char* unwritten, const char* success) {
    const BusReply reply = call_service(call, arguments.get());
    if (reply.result == E_JSON_FAIL) return failed(unwritten);
    if (reply.result != E_SUCCESS) return reply.failure;
    Logger::Log(DEBUG, "%s", success);
    return "";
}

// The stream's bytes as a C string.
std::string text_of(bs_io* io) {
    const char* text = bs_io_read(io, nullptr);
    return text == nullptr ? "" : text;
}

}  // namespace

int do_exec_safe(const std::vector<std::string>& argv, std::string& output) {
    output.clear();
    Logger::Log(DEBUG, "Creating bs_auto_io for output in do_exec_safe");
    const bs_auto_io standard_output;
    Logger::Log(DEBUG, "Creating bs_auto_io for err_output in do_exec_safe");
    const bs_auto_io standard_error;
    std::vector<char*> arguments;
    arguments.reserve(argv.size() + 1);
    // The runner does not write to the texts; its signature is exec's.
    for (const std::string& argument : argv)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const int result = bs_io_execv(0, standard_output, standard_error, arguments.data());
    output = text_of(result == 0 ? standard_output : standard_error);
    return result;
}

std::string supernodeHalt() {
    // Names the other call; kept because people search the log for it.
    Logger::Log(DEBUG, "Creating bs_auto_io for corvane_expressd.ClearIpsecConnections");
    JsonOwner data(json_object());
    if (json_object_set_new(data.get(), "superNodeId", json_string("")) != 0) {
        return failed("Failed to set superNodeId in JSON");
    }
    const JsonOwner arguments(json_object());
    if (json_object_set_new(arguments.get(), "data", data.release()) != 0) {
        return failed("Failed to set data in JSON");
    }
    return call_daemon(kSendConfig, arguments, "Failed to set data in JSON",
                       "call bsh corvane_expressd.SendSupernodeConfig successfully");
}

std::string supernodeIpsecClear() {
    Logger::Log(DEBUG, "Creating bs_auto_io for corvane_expressd.ClearIpsecConnections");
    const JsonOwner arguments(json_pack("{s:s}", "region", "supernode"));
    if (!arguments) return failed("Failed to set region in JSON");
    return call_daemon(kClearConnections, arguments, "Failed to set region in JSON",
                       "call bsh corvane_expressd.ClearIpsecConnections successfully");
}

int Supernode_halt(bs_io* io) {
    Logger::Log(DEBUG, "Entering Supernode_halt");
    for (const Deletion& file : kSupernodeFiles) {
        if (unlink(file.path) != 0) Logger::Log(DEBUG, "%s", file.complaint);
    }
    for (std::string (*step)() : {supernodeHalt, supernodeIpsecClear}) {
        const std::string failure = step();
        if (!failure.empty()) return send_error_response(io, E_BS_FAIL, failure.c_str());
    }
    return send_success_response(io, json_string(""));
}

int Device_unregister_from_nas(bs_io* io) {
    Logger::Log(DEBUG, "Entering Device_unregister_from_nas");
    std::string vellum_token;
    if (Get_cloudtoken(vellum_token) != E_SUCCESS) {
        return refuse(io, E_CORVANE_GET_CLOUD_TOKEN_FAIL, "Failed to get cloud token");
    }
    Logger::Log(DEBUG, "vellumToken obtained successfully");
    const std::string device_id = corvane::get_device_id();
    Logger::Log(DEBUG, "deviceId: %s", device_id.c_str());
    std::string org_id;
    if (corvane::get_org_id(org_id) != 0 || org_id.empty()) {
        return refuse(io, E_CORVANE_GET_ORG_ID_FAIL, "Failed to get org id");
    }
    Logger::Log(DEBUG, "orgId: %s", org_id.c_str());
    std::string corvane_token;
    if (Get_corvanetoken(org_id, corvane_token) != E_SUCCESS) {
        return refuse(io, E_CORVANE_GET_CORVANE_TOKEN_FAIL, "Failed to get corvane token");
    }
    Logger::Log(DEBUG, "corvaneToken obtained successfully");
    std::string answer;
    if (corvane::corvane_api_device_unregister(device_id, corvane_token, vellum_token, answer) != 0) {
        return refuse(io, E_CORVANE_API_DEVICE_UNREGISTER_FAIL, "Failed to unregister device from NAS");
    }
    return send_success_response(io, json_stringn(answer.data(), answer.size()));
}

int Device_remove_by_corvane(bs_io* io) {
    Logger::Log(DEBUG, "Entering Device_remove_by_corvane");
    std::string output;
    if (do_exec_safe({corvane::kAgentScript, "remove_dummy_interface"}, output) != 0) {
        Logger::Log(ERROR, "Failed to execute cloudagent remove_dummy_interface. Output: %s. Continuing cleanup...",
                    output.c_str());
    }
    if (do_exec_safe({corvane::kAgentScript, "stop_and_remove_corvane_configs"}, output) != 0) {
        Logger::Log(ERROR, "Failed to execute cloudagent stop. Output: %s. Continuing cleanup...", output.c_str());
    }
    // Only the edge daemon's stop decides.
    if (do_exec_safe({corvane::kExpressScript, "stop"}, output) != 0) {
        Logger::Log(ERROR, "Failed to execute corvane_express stop. Output: %s", output.c_str());
        return refuse(io, E_CMD_FAILED, "Failed to remove device by corvane");
    }
    const int result = send_success_response(io, json_string(""));
    Logger::Log(DEBUG, "call harbex/corvane/device_remove_by_corvane successfully");
    return result;
}

}  // namespace harbex::service
