// The reference front end's bridge, inside the simulated NAS: a page, bus calls as POST requests, new log lines as
// server-sent events. It listens on the NAS's own loopback; who may come there is decided by key, Host and Origin.
//   console PORT KEY PAGE     PORT is the one the browser sees
#include <bsvc.h>
#include <httplib.h>
#include <jansson.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "commands.h"
#include "log_stream.h"

namespace {

using httplib::Request;
using httplib::Response;

constexpr int kListenPort = 8080;
constexpr size_t kMostBody = 1024 * 1024;
constexpr int kTimeout_s = 20;
constexpr auto kLogPause = std::chrono::milliseconds(250);
constexpr char kJson[] = "application/json";
const struct {
    const char *name, *path;
} kLogs[] = {
    {"service", "/opt/harbex/var/log/harbex_network_service.log"},
    {"trace", "/opt/harbex/var/log/Harbex.log"},
};

struct FreeIo {
    void operator()(bs_io* io) const { bs_io_free(io); }
};
struct FreeJson {
    void operator()(json_t* json) const { json_decref(json); }
};
struct FreeText {
    void operator()(char* text) const { free(text); }
};

std::string text_of(json_t* json) {
    const std::unique_ptr<json_t, FreeJson> owner(json);
    const std::unique_ptr<char, FreeText> text(json_dumps(json, 0));
    return text ? text.get() : "{}";
}

void refuse(Response& response, int status, const std::string& reason) {
    response.status = status;
    response.set_content(text_of(json_pack("{s:s}", "reason", reason.c_str())), kJson);
}

std::string random_word() {
    std::random_device source;
    char word[33];
    (void)std::snprintf(word, sizeof word, "%08x%08x%08x%08x", source(), source(), source(), source());
    return word;
}

// The key is asked for once; the browser keeps it as a cookie that no other site can make it send.
class Gate {
public:
    Gate(const std::string& port, std::string key) : port_(port), key_(std::move(key)) {}

    bool admits(const Request& request, Response& response) const {
        const std::string host = request.get_header_value("Host");
        const bool known = host == "127.0.0.1:" + port_ || host == "localhost:" + port_;
        const std::string origin = request.get_header_value("Origin");
        if (!known || (request.method == "POST" && origin != "http://" + host)) {
            refuse(response, 403, "this page is for a browser on the same machine");
            return false;
        }
        if (request.method == "GET" && request.path == "/" && request.get_param_value("key") == key_) {
            response.set_header("Set-Cookie", cookie() + "; Path=/; HttpOnly; SameSite=Strict");
            response.set_redirect("/");
            return false;
        }
        if (has_cookie(request.get_header_value("Cookie"))) return true;
        refuse(response, 403, "the address that ./run --web printed has the key");
        return false;
    }

private:
    // Cookies know no ports: one for each, so that two pages do not sign each other out.
    std::string cookie() const { return "console" + port_ + "=" + key_; }
    bool has_cookie(const std::string& cookies) const {
        return (" " + cookies + ";").find(" " + cookie() + ";") != std::string::npos;
    }

    std::string port_, key_;
};

void call_bus(const Request& request, Response& response) {
    const std::string service = request.matches[1], method = request.matches[2];
    const std::unique_ptr<bs_io, FreeIo> io(bs_io_create());
    if (!io || bs_io_write(io.get(), request.body.data(), request.body.size()) < 0) {
        return refuse(response, 500, "no memory");
    }
    const int result = bs_call(service.c_str(), method.c_str(), io.get(), kTimeout_s, -1);
    size_t length = 0;
    const char* reply = bs_io_read(io.get(), &length);
    switch (result) {
        case BS_CALL_OK:
            return response.set_content(reply == nullptr ? "" : reply, length, kJson);
        case BS_CALL_TIMEOUT:
            return refuse(response, 504, "no reply from " + service + " within " + std::to_string(kTimeout_s) + " s");
        case BS_CALL_NO_SERVICE:
        case BS_CALL_REFUSED:
            return refuse(response, 502, service + " is not running");
        case BS_CALL_CLOSED:
            return refuse(response, 502, service + " ended the call without a reply");
        default:
            return refuse(response, 502, service + " cannot be called");
    }
}

void act(const Request& request, Response& response) {
    const std::unique_ptr<json_t, FreeJson> body(
        json_loadb(request.body.data(), request.body.size(), JSON_REJECT_DUPLICATES, nullptr));
    std::vector<std::string> words;
    for (size_t i = 0; i < json_array_size(body.get()); i++) {
        const char* word = json_string_value(json_array_get(body.get(), i));
        if (word == nullptr) return refuse(response, 400, "the body is an array of texts");
        words.emplace_back(word);
    }
    std::string document;
    if (!console::run_action(request.matches[1], words, document))
        return refuse(response, 404, "there is no such action");
    response.set_content(document, kJson);
}

void stream_logs(const Request&, Response& response) {
    auto followers = std::make_shared<std::vector<console::LogFollower>>();
    for (const auto& log : kLogs)
        followers->emplace_back(log.path);
    response.set_header("Cache-Control", "no-store");
    response.set_chunked_content_provider("text/event-stream", [followers](size_t, httplib::DataSink& sink) {
        std::string events = ": alive\n\n";
        for (size_t i = 0; i < followers->size(); i++) {
            for (const std::string& line : followers->at(i).new_lines()) {
                events += "data: " +
                          text_of(json_pack("{s:s, s:s%}", "log", kLogs[i].name, "line", line.data(), line.size())) +
                          "\n\n";
            }
        }
        std::this_thread::sleep_for(kLogPause);
        return sink.write(events.data(), events.size());
    });
}

void show_page(const std::string& path, Response& response) {
    std::ifstream file(path);
    std::string page((std::istreambuf_iterator<char>(file)), {});
    // Its script and style are the only ones that run: they carry this answer's word.
    const std::string nonce = random_word();
    for (size_t at = 0; (at = page.find("@NONCE@")) != std::string::npos;)
        page.replace(at, 7, nonce);
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'nonce-" + nonce + "'; style-src 'nonce-" + nonce +
                            "'; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    response.set_header("Cache-Control", "no-store");
    response.set_content(page, "text/html; charset=utf-8");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: console PORT KEY PAGE\n", stderr);
        return 64;
    }
    const Gate gate(argv[1], argv[2]);
    const std::string page = argv[3];
    httplib::Server server;
    server.set_payload_max_length(kMostBody);
    server.set_default_headers({{"X-Content-Type-Options", "nosniff"}, {"Referrer-Policy", "no-referrer"}});
    server.set_pre_routing_handler([&gate](const Request& request, Response& response) {
        return gate.admits(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                              : httplib::Server::HandlerResponse::Handled;
    });
    server.set_error_handler([](const Request&, Response& response) {
        if (!response.body.empty()) return;
        refuse(response, response.status,
               response.status == 413 ? "a body holds at most 1 MiB" : "there is nothing here");
    });
    server.Get("/", [&page](const Request&, Response& response) { show_page(page, response); });
    server.Get("/logs", stream_logs);
    server.Post(R"(/bus/(\w+)\.([\w.]+))", call_bus);
    server.Post(R"(/do/([\w-]+))", act);
    if (server.listen("127.0.0.1", kListenPort)) return 0;
    std::perror("console: cannot listen");
    return 70;
}
