#include <curl/curl.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "common/trace_lock.h"
#include "common/trace_log.h"
#include "service/logger.h"
#include "service/memory.h"
#include "service/service_host.h"

namespace {

// The starter's dispositions say nothing about us: a caller that hangs up must not end the daemon, and children are
// waited for.
void set_signal_dispositions() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGCHLD, SIG_DFL);
}

// A starter that left one of descriptors 0 to 2 closed would have the log opened there, and detaching would close it.
void fill_standard_descriptors() {
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= 2)
        fd = open("/dev/null", O_RDWR);
    if (fd >= 0) close(fd);
}

void stay_in_foreground() {
    puts("harbex_network_service in foreground mode.");
    fflush(stdout);
}

// Neither library may set itself up from two threads at once. A failure shows where they are used.
void prepare_libraries() {
    (void)OPENSSL_init_crypto(0, nullptr);
    (void)curl_global_init(CURL_GLOBAL_DEFAULT);
}

}  // namespace

int main(int argc, char**) {
    using namespace harbex::service;
    prepare_memory();
    fill_standard_descriptors();
    set_signal_dispositions();
    init_logger();
    harbex::system::make_trace_lock_file();
    harbex::system::set_log_file_wrapper();
    if (check_previous_process(kPidFile) != 0) return 1;
    if (argc > 1) {
        stay_in_foreground();
    } else {
        detach();
    }
    prepare_libraries();
    write_pid();
    return serve();
}
