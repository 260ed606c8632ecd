// Worker-side services: path join, panel texts, throttling, the time left, and
// the request flags computed from the settings.
#include "fop_fixture.h"
#include "fileops/fop_info.h"
#include "shell/init_config.h"

#include <cerrno>
#include <climits>
