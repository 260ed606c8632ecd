#include "shell/cl_history.h"

std::vector<std::string> ClHistory::entries() const { return {}; }
ClHistory cl_read(const char*, const char*) { return {}; }
int cl_save(const ClHistory&, const char*, const char*) { return -1; }
void cl_add(ClHistory&, std::string_view) {}
const char* cl_get(const ClHistory&, int) { return nullptr; }
void cl_destroy(ClHistory&) {}
const char* cl_is_web_address(const char*) { return nullptr; }
const char* cl_find_pattern(const ClHistory&, const char*) { return nullptr; }
void init_read_cboxs(ClBoxes&, const char*) {}
void init_save_cboxs(const ClBoxes&, const char*) {}
void init_destroy_cboxs(ClBoxes&) {}
