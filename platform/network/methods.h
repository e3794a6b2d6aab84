// The methods of the bus service.
#pragma once

#include <string>
#include <string_view>

#include "interface_rates.h"
#include "internet_access.h"

namespace network {

class Methods {
public:
    // The reply to one call, an envelope of its own in every case; "" only when memory is short. Any thread.
    std::string answer(std::string_view method, std::string_view body);

private:
    Json dispatch(std::string_view method, const json_t* request);

    RateHistory rates_;
    InternetAccess internet_;
};

}  // namespace network
