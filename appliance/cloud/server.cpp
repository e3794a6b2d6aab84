#include "cloud/server.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

#include "cloud/endpoints.h"
#include "cloud/stream.h"

namespace appliance {
namespace {

constexpr int kSlowClient_s = 10;
constexpr int kIdleConnection_ms = 5000;
constexpr int kStopCheck_ms = 100;
constexpr size_t kThreads = 24;
constexpr int kQueue = 128;

// A connection, while its TLS handshake is under way.
struct Handshake {
    const Cloud& cloud;
    unsigned number;
    bool reset = false;
};

// httplib tells its handlers nothing about the connection, but calls them on the thread that serves it.
struct Served {
    TlsStream* stream = nullptr;
    unsigned number = 0;
};
thread_local Served served;

int choose_certificate(SSL* ssl, int*, void*) {
    auto* handshake = static_cast<Handshake*>(SSL_get_app_data(ssl));
    const char* name = SSL_get_servername(ssl, TLSEXT_NAMETYPE_host_name);
    const Fault fault = handshake->cloud.faults.of_connection(name == nullptr ? "" : name, handshake->number);
    if (fault.kind == Fault::Kind::kReset) {
        handshake->reset = true;
        return SSL_TLSEXT_ERR_ALERT_FATAL;
    }
    SSL_set_SSL_CTX(ssl, handshake->cloud.certificates.context(fault.certificate));
    return SSL_TLSEXT_ERR_OK;
}

CloudRequest read_request(const httplib::Request& parsed, std::string_view bytes) {
    CloudRequest request;
    request.method = parsed.method;
    request.target = parsed.target;
    request.body = parsed.body;
    // Line by line up to the empty one; the first is the request line.
    size_t at = bytes.find("\r\n");
    while (at != std::string_view::npos) {
        const size_t start = at + 2;
        at = bytes.find("\r\n", start);
        if (at == start || at == std::string_view::npos) break;
        request.headers.emplace_back(bytes.substr(start, at - start));
    }
    request.host = request.header("Host");
    request.host.erase(std::min(request.host.find(':'), request.host.size()));
    return request;
}

// As an HTTP date: "Sun, 06 Nov 1994 08:49:37 GMT". The cloud has the names of days and months of the C locale.
std::string http_date(time_t time) {
    tm parts{};
    char text[64] = "";
    (void)strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", gmtime_r(&time, &parts));
    return text;
}

}  // namespace

void Cloud::pause(double seconds) {
    std::unique_lock lock(mutex_);
    stopped_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return stopping_.load(); });
}

void Cloud::stop() {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    stopped_.notify_all();
}

CloudServer::CloudServer(Cloud& cloud) : cloud_(cloud) {
    new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    set_tcp_nodelay(true);
    // The listener of an ended cloud must not keep a new one waiting.
    set_socket_options([](socket_t descriptor) {
        const int yes = 1;
        setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
        answer(request, response);
    };
    Get(".*", handler);
    Post(".*", handler);
    Put(".*", handler);
    Patch(".*", handler);
    Delete(".*", handler);
    Options(".*", handler);
    // What the macro around this call does, without its C casts.
    SSL_CTX_callback_ctrl(cloud.certificates.context(Certificate::kValid), SSL_CTRL_SET_TLSEXT_SERVERNAME_CB,
                          reinterpret_cast<void (*)()>(choose_certificate));
    make_tables();
}

bool CloudServer::open(const std::string& address, int port) {
    // A second listen widens the queue of connections, which httplib keeps at five.
    return bind_to_port(address, port) && ::listen(svr_sock_, kQueue) == 0;
}

// httplib makes a table of methods at its first request. Here that is one which it refuses, before there are threads:
// the thread sanitizer does not see how a library that was built without it orders the making and a use elsewhere.
void CloudServer::make_tables() {
    httplib::detail::BufferStream stream;
    const std::string_view request = "NONE / HTTP/1.1\r\n\r\n";
    stream.write(request.data(), request.size());
    bool closed = false;
    (void)process_request(stream, true, closed, nullptr);
}

bool CloudServer::process_and_close_socket(socket_t sock) {
    const timeval patience{kSlowClient_s, 0};
    setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    setsockopt(sock, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    Handshake handshake{cloud_, cloud_.records.count_connection()};
    {
        SSL* ssl = SSL_new(cloud_.certificates.context(Certificate::kValid));
        TlsStream stream(ssl, sock);
        SSL_set_app_data(ssl, &handshake);
        SSL_set_fd(ssl, sock);
        if (SSL_accept(ssl) == 1) {
            serve(stream, handshake.number);
        } else if (handshake.reset) {
            reset_on_close(sock);
        }
    }
    close(sock);
    return true;
}

void CloudServer::serve(TlsStream& stream, unsigned number) {
    served = {&stream, number};
    bool closed = false;
    for (int idle_ms = 0; !closed && idle_ms < kIdleConnection_ms && !cloud_.stopping(); idle_ms += kStopCheck_ms) {
        if (!stream.wait_for_request(kStopCheck_ms)) continue;
        stream.begin_request();
        if (!process_request(stream, false, closed, nullptr) || !stream.send_answer()) break;
        idle_ms = 0;
    }
    if (closed) stream.close_properly();
    served = {};
}

void CloudServer::answer(const httplib::Request& parsed, httplib::Response& response) {
    const CloudRequest request = read_request(parsed, served.stream->request_bytes());
    const Fault fault = cloud_.faults.of_request(request.host, request.path(), served.number);
    CloudAnswer answer{fault.status, fault.body};
    if (fault.kind == Fault::Kind::kReset) served.stream->end_with(TlsStream::Ending::kReset);
    if (fault.kind == Fault::Kind::kClose) served.stream->end_with(TlsStream::Ending::kCut);
    if (fault.kind != Fault::Kind::kAnswer && fault.kind != Fault::Kind::kReset)
        answer = answer_request(cloud_.hosts.service_of(request.host), request, cloud_.state, cloud_.credentials,
                                time(nullptr));
    cloud_.records.add(served.number, request, answer.status);
    if (fault.delay_s > 0) cloud_.pause(fault.delay_s);
    response.status = answer.status;
    response.set_header("Date", http_date(time(nullptr) + static_cast<time_t>(fault.date_skew_s)));
    if (answer.status >= 300 && answer.status < 400) response.set_header("Location", "https://elsewhere.example/");
    response.set_content(answer.body, "application/json");
}

}  // namespace appliance
