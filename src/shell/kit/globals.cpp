#include "shell/kit/globals.h"

#include "shell/kit/init_config.h"

ConfigRecord* gConfig = nullptr;
std::string gConfigPath;
std::string gStartPath;
uint32_t gOptions = cfg::kReaderInitialOptions;
int base_window_closed = 0;
QMainWindow* gBase = nullptr;
