// An HTTPS peer on a loopback port with a certificate of its own, which nobody trusts yet.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "support/files.h"
#include "support/run_program.h"

namespace harbex::test {

class TlsPeer {
public:
    // The certificate is good for `days`; with -1 it has expired.
    explicit TlsPeer(const std::string& name, int days = 1) : path_("/tmp/" + name) {
        make_certificate(days);
        std::array<int, 2> output{};
        if (pipe(output.data()) != 0) throw std::runtime_error("no pipe");
        server_ = start_program({"/usr/bin/openssl", "s_server", "-www", "-accept", "127.0.0.1:0", "-cert",
                                 path_ + ".crt", "-key", path_ + ".key", "-naccept", "1000"},
                                output[1], output[1]);
        close(output[1]);
        FILE* const words = fdopen(output[0], "r");
        std::array<char, 256> line{};
        int port = 0;
        while (port == 0 && fgets(line.data(), line.size(), words) != nullptr)
            (void)sscanf(line.data(), "ACCEPT 127.0.0.1:%d", &port);  // NOLINT(cert-err34-c)
        words_ = words;
        if (port == 0) throw std::runtime_error("no TLS server");
        url_ = "https://127.0.0.1:" + std::to_string(port) + "/";
    }
    ~TlsPeer() {
        kill(server_, SIGKILL);
        (void)wait_for(server_);
        fclose(words_);
    }
    TlsPeer(const TlsPeer&) = delete;
    void operator=(const TlsPeer&) = delete;

    const std::string& url() const { return url_; }
    std::string certificate() const { return read_text(path_ + ".crt"); }

private:
    void make_certificate(int days) const {
        write_text(path_ + ".ext", "subjectAltName=IP:127.0.0.1\n");
        run_program({"/usr/bin/openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                     "-nodes", "-keyout", path_ + ".key", "-subj", "/CN=peer", "-out", path_ + ".csr"});
        run_program({"/usr/bin/openssl", "x509", "-req", "-in", path_ + ".csr", "-signkey", path_ + ".key", "-days",
                     std::to_string(days), "-extfile", path_ + ".ext", "-out", path_ + ".crt"});
    }

    const std::string path_;
    pid_t server_ = -1;
    FILE* words_ = nullptr;
    std::string url_;
};

}  // namespace harbex::test
