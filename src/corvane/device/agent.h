// The cloud agent's files, the init scripts of the SD-WAN edge, and small probes of the NAS. Published; the functions
// stand in the headers included here.
#pragma once

#include "corvane/device/agent_configuration.h"
#include "corvane/device/edge_scripts.h"
#include "corvane/device/nas_probe.h"
