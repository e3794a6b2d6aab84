// Loaded before harbexctl: the clock of a NAS that nobody has set yet.
#include <time.h>

time_t time(time_t* now) noexcept {
    if (now != nullptr) *now = 10;
    return 10;
}
