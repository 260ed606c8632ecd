// Process-wide state of the program, set up by init() and the main window. Owned by
// the GUI thread; the core never reads these, it is handed what it needs.
#pragma once
#include <cstdint>
#include <string>

class ConfigRecord;
class QMainWindow;

extern ConfigRecord* gConfig;      // never freed
extern std::string gConfigPath;    // empty: no configuration directory, nothing is saved
extern std::string gStartPath;
extern uint32_t gOptions;          // the directory reader's option word
extern int base_window_closed;     // set once the main window is closed or hidden for exit
extern QMainWindow* gBase;         // the main window `base`, null before it exists
