// A TLS connection to the simulated cloud. Keeps the bytes of the current request as they came, and holds the answer
// back until it is whole, so that it leaves in one piece or is cut on purpose.
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>

namespace appliance {

class TlsStream : public httplib::Stream {
public:
    // Takes over `ssl`; the descriptor stays the caller's.
    TlsStream(SSL* ssl, socket_t descriptor) : ssl_(ssl), descriptor_(descriptor) {}

    bool is_readable() const override;
    bool is_writable() const override { return true; }
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return descriptor_; }

    // Whether bytes of a request have come, within `timeout_ms`.
    bool wait_for_request(int timeout_ms) const;
    // Forgets the last request's bytes.
    void begin_request();
    // The request's bytes as far as they were read, header lines first.
    std::string_view request_bytes() const { return request_; }
    enum class Ending { kWhole, kCut, kReset };
    void end_with(Ending ending) { ending_ = ending; }
    // Sends the answer in the way that was asked for. False when the connection is of no more use.
    bool send_answer();
    void close_properly() { SSL_shutdown(ssl_.get()); }

private:
    bool send_all(std::string_view bytes);

    struct Release {
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };
    std::unique_ptr<SSL, Release> ssl_;
    socket_t descriptor_;
    std::string buffer_;  // read from the connection, not yet asked for
    size_t taken_ = 0;    // of buffer_
    std::string request_;
    std::string answer_;
    Ending ending_ = Ending::kWhole;
};

// Makes the closing of the descriptor a reset.
void reset_on_close(socket_t descriptor);

}  // namespace appliance
