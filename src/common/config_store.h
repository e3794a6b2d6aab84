// Settings and the small file operations that go with them. All names are published; they stand in the three headers.
#pragma once

#include "common/files.h"
#include "common/settings_tools.h"
#include "common/url_decoding.h"
