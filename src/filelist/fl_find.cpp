#include "filelist/fl_find.h"

int x_find(const DirListing&, const char*, int, int, const std::function<void(int)>&) { return -2; }
int fl_select_index(DirListing&, int index) { return index; }
void fl_unselect_index(DirListing&, int) {}
void fl_invert_index(DirListing&, int) {}
void fl_invert_all(DirListing&) {}
void fl_select_all(DirListing&) {}
void fl_unselect_all(DirListing&) {}
int fl_select(DirListing&, const char*, int) { return -2; }
int fl_unselect(DirListing&, const char*, int) { return -2; }
void NavHistory::push(std::string_view) {}
std::optional<std::string> NavHistory::pop() { return std::nullopt; }
void fl_history_entered(NavHistory&, NavHistory&, std::string_view) {}
std::optional<std::string> fl_back_target(NavHistory&, NavHistory&, std::string_view) { return std::nullopt; }
std::optional<std::string> fl_forward_target(NavHistory&, NavHistory&, std::string_view) { return std::nullopt; }
std::optional<UpTarget> fl_up_target(std::string_view) { return std::nullopt; }
