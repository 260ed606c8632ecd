#include "shell/interp.h"

void interp_reset(InterpState&) {}
int interp_key(InterpState&, InterpList&, const KeyEvent&) { return 0; }
std::string interp_echo(const InterpState&) { return {}; }
