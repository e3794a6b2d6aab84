// The simulated cloud on one port: TLS and the raw bytes of each request are handled here, HTTP by cpp-httplib.
#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include "cloud/certificates.h"
#include "cloud/credentials.h"
#include "cloud/faults.h"
#include "cloud/hosts.h"
#include "cloud/records.h"
#include "cloud/state.h"

namespace appliance {

// What all ports of the cloud share.
struct Cloud {
    Cloud(const std::string& run_directory, const std::string& state_file, const std::string& fault_directory)
        : state(state_file), records(run_directory + "/requests.jsonl"), faults(fault_directory, hosts) {}

    CloudHosts hosts;
    Credentials credentials;
    Certificates certificates;
    CloudState state;
    Records records;
    Faults faults;

    // Waits, but not beyond the cloud's end.
    void pause(double seconds);
    void stop();
    bool stopping() const { return stopping_; }

private:
    std::mutex mutex_;
    std::condition_variable stopped_;
    std::atomic<bool> stopping_ = false;
};

class TlsStream;

class CloudServer : public httplib::Server {
public:
    explicit CloudServer(Cloud& cloud);
    // False when the address or port cannot be had. Serves from listen_after_bind until stop.
    bool open(const std::string& address, int port);

private:
    void make_tables();
    bool process_and_close_socket(socket_t sock) override;
    void serve(TlsStream& stream, unsigned number);
    void answer(const httplib::Request& parsed, httplib::Response& response);

    Cloud& cloud_;
};

}  // namespace appliance
