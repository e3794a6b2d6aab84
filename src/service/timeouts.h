// Whether the control channel and the tunnel have been down for too long. The daemon's own.
#pragma once

#include <bsvc.h>

#include <cstdint>

namespace harbex::service {

// Judges one report of a link at `now_s` and moves its reference time; both in seconds since the epoch. True: the
// link's failure counts as a time-out. Bad reports count when 61 to 120 seconds have passed since the reference;
// older references start over.
bool judge_report(bool good, int64_t now_s, int64_t& reference_s);

// Bus method: reads {"mqtt_status": bool, "vpn_status": bool}, true for good; what is missing counts as bad. Answers
// {"is_mqtt_timeout": bool, "is_ipsec_timeout": bool}.
int Update_and_check_timeout(bs_io* io);
// Bus method: reads nothing. Sets both reference times to 0.
int Flush_timeout(bs_io* io);

}  // namespace harbex::service
