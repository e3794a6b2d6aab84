// What people, tests and the NAS's scripts can tell the simulated cloud, over the bus service "cloud".
#pragma once

#include "cloud/server.h"

namespace appliance {

// Serves until SIGTERM or SIGINT. False when the name is taken.
bool serve_control(Cloud& cloud);

}  // namespace appliance
