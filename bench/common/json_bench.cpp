// Builds a document of 30 mixed members and writes it as text: JsonValue against jansson's own builder.
#include <jansson.h>
#include <time.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "common/json.h"
#include "common/json_owner.h"
#include "measure.h"

namespace {

constexpr int kDocuments = 10'000;
constexpr size_t kGroups = 6;  // of five members each

// The names and values of the SD-WAN side's own documents.
struct Group {
    const char *text, *integer, *real, *flag, *counter;
};
constexpr std::array<Group, kGroups> kNames = {{
    {"display_name", "vlan_id", "rx_rate", "link_running", "rx_bytes"},
    {"ip4_address", "metric", "tx_rate", "is_mqtt_timeout", "tx_bytes"},
    {"physical_loc", "error", "latitude", "is_ipsec_timeout", "rx_packets"},
    {"interface_type", "mtu", "longitude", "carrier_status", "tx_packets"},
    {"organization_name", "port", "loss_percent", "is_hub", "expires_at"},
    {"virtual_ip", "priority", "load", "enabled", "remaining_bytes"},
}};
constexpr std::array<const char*, kGroups> kTexts = {
    "Adapter 1 (virtual switch)", "192.168.1.10", "eth0", "ethernet", "K\xc3\xb6ln \"North\" branch", "10.147.20.5",
};

size_t build_own() {
    JsonValue document;
    for (size_t i = 0; i < kGroups; ++i) {
        document[kNames[i].text] = kTexts[i];
        document[kNames[i].integer] = static_cast<int>(i) * 1500;
        document[kNames[i].real] = static_cast<double>(i) * 12.75;
        document[kNames[i].flag] = i % 2 == 0;
        document[kNames[i].counter] = static_cast<long long>(i) * 1234567890123LL;
    }
    std::string text;
    document.toString(text);
    return text.size();
}

size_t build_jansson() {
    const harbex::JsonOwner document(json_object());
    for (size_t i = 0; i < kGroups; ++i) {
        json_object_set_new(document.get(), kNames[i].text, json_string(kTexts[i]));
        json_object_set_new(document.get(), kNames[i].integer, json_integer(static_cast<int>(i) * 1500));
        json_object_set_new(document.get(), kNames[i].real, json_real(static_cast<double>(i) * 12.75));
        json_object_set_new(document.get(), kNames[i].flag, json_boolean(i % 2 == 0));
        json_object_set_new(document.get(), kNames[i].counter,
                            json_integer(static_cast<long long>(i) * 1234567890123LL));
    }
    const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(document.get(), JSON_COMPACT), &std::free);
    return std::strlen(text.get());
}

// Processor time: on a busy machine the longer of two rounds is interrupted more often.
double cpu_ns() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double document_ns(size_t (*build)()) {
    size_t bytes = 0;
    const double start = cpu_ns();
    for (int i = 0; i < kDocuments; ++i)
        bytes += build();
    bench::require(bytes != 0, "nothing was written");
    return (cpu_ns() - start) / kDocuments;
}

}  // namespace

int main() {
    bench::compare(
        "30 members built and written: JsonValue / jansson", "ns", bench::Must::kAtMost, 0.5,
        [] { return document_ns(build_own); }, [] { return document_ns(build_jansson); });
}
