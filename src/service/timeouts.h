#pragma once

#include <bsvc.h>

#include <cstdint>

namespace harbex::service {

// Judges one report of a link at `now_s` and moves its reference time; both in seconds since the epoch. True: the
// link's failure counts as a time-out. Bad reports count when 61 to 120 seconds have passed since the reference;
// older references start over.
bool judge_report(bool good, int64_t now_s, int64_t& reference_s);

// Bus methods. The first reads {"mqtt_status": bool, "vpn_status": bool}, the other nothing.
int Update_and_check_timeout(bs_io* io);
int Flush_timeout(bs_io* io);

}  // namespace harbex::service
