#include "methods.h"

#include <cstdlib>
#include <exception>

#include "gateways.h"
#include "subnet_conflict.h"

namespace network {

namespace {

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

// A body that is no JSON object is a null `request`, in which no member is found.
Json Methods::dispatch(std::string_view method, const json_t* request) {
    if (method == "api.get_currentGWinfo") return current_gateways();
    if (method == "interfaces_monitor.get_info_interfaces") return interface_info(request, rates_);
    if (method == "api.check_network_intersect") return check_subnet(request);
    if (method == "api.check_access_internet") return internet_.ask(request);
    return failure(kUnknownMethod, "Unknown method");
}

std::string Methods::answer(std::string_view method, std::string_view body) {
    try {
        const Json request(json_loadb(body.data(), body.size(), 0, nullptr));
        const Json reply = dispatch(method, request.get());
        const std::unique_ptr<char, FreeText> text(json_dumps(reply.get(), 0));
        return text ? text.get() : "";
    } catch (const std::exception&) {
        return "";
    }
}

}  // namespace network
