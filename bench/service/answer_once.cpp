// What the start of the daemon is measured against: the same libraries, two runs of getcfg, one answer.
#include "exchange.h"
#include "measure.h"

int main() {
    for (int i = 0; i < 2; ++i)
        bench::run_program({"/sbin/getcfg", "Harbex", "Install_Path", "-f", "/etc/config/bpkg.conf"});
    bench::serve_bare_once();
}
