// The phases of an operation, run by its worker thread (fop_thread) on the
// request it owns. Per-item functions return 0 done, 1 skipped, -1 abort.
// Exposed for tests, which may also run them on a thread of their own.
#pragma once
#include "fop_request.h"

#include <string>
#include <string_view>

// dir and name with one "/" between them; the root is special-cased and a
// trailing "/" dropped ("/" + "x" = "/x", "/a/" + "b" = "/a/b", "/a" + "" = "/a").
std::string& _build_path(std::string& out, std::string_view dir, std::string_view name);
std::string fop_path(std::string_view dir, std::string_view name);
// Where a source path lands: the destination joined with the source path less
// its first prefix_len characters.
std::string fop_dest_path(const FopRequest& r, const std::string& src);

int fop_check_dst(FopRequest& r);
int fop_build_filelist(FopRequest& r);
int fop_move_files(FopRequest& r);
// name null: the final pass that gives a copied directory its attributes.
int fop_copy_file(FopRequest& r, const std::string& dir, const std::string* name,
                  const std::string& dest);
int fop_delete_files(FopRequest& r, bool interactive);
int fop_delete_file(FopRequest& r, const std::string& dir, const std::string& name,
                    unsigned char dtype = 0);

// Runs the whole operation and returns; does not free the request nor call
// ui->finished. The thread entry wraps it.
void fop_run(FopRequest& r);
// The pause after "Done" before the panel goes; tests set it to 0.
void fop_set_done_delay_ms(int ms);
