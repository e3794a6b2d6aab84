// The daemon's life: one instance, in the background, registered, served until a signal. The daemon's own.
#pragma once

namespace harbex::service {

inline constexpr const char* kPidFile = "/var/run/network/harbex_network_service.pid";

// 0: no other instance runs, and a stale PID file is gone. -E_SERVICE_EXIST: one does, or may.
[[nodiscard]] int check_previous_process(const char* pid_file);

// Goes into the background: own session, "/" as directory, descriptors 0 to 2 on /dev/null. The calling process ends
// here, with status 0, or 1 when it cannot fork; only its child returns.
void detach();

// Writes the PID file; ends the process with status 1 when that fails. Called before there are threads.
void write_pid();

// Registers on the bus and serves until SIGINT or SIGTERM. Returns the process's exit status.
[[nodiscard]] int serve();

}  // namespace harbex::service
