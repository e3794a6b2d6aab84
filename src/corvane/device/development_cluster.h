// Addresses of the development cluster, which the site "sy" uses beside its API host. The library's own.
#pragma once

namespace harbex::corvane {

inline constexpr const char kDevelopmentMessageBroker[] = "tcp://message-broker-sy.harbex.example:31512";
inline constexpr const char kDevelopmentManagementWeb[] = "http://management-web-sy.harbex.example:31510";

}  // namespace harbex::corvane
