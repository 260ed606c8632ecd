// Undo of this instance's last change to the file system: a rename, a move, a
// copy, a new file, folder or link, or a move to the Trash. Only the last one is
// kept; any thread may note one (an operation's worker does at its end).
//
// Undoing is itself an operation: undo_request() builds the request that reverses
// the step, with the checks that refuse it when the file system changed since
// (the item is no longer what the step made, or something is now where it would
// go back). The worker makes those checks, so nothing here touches the disk.
#pragma once
#include "fop_request.h"

#include <memory>
#include <string>
#include <vector>

enum class UndoKind { Rename, Move, Copy, Create, Trash };

struct UndoStep {
    UndoKind kind = UndoKind::Rename;
    std::vector<FopMade> items;  // for Create, `from` is empty
};

// Replaces the last step. An empty step is ignored.
void undo_note(UndoStep step);
// Notes a step of one item that became `to` (from `from`, empty for a new item),
// with the identity of what is at `to` now.
void undo_note_item(UndoKind kind, const std::string& from, const std::string& to);
// Notes what a finished operation did with its selection (nothing when it did
// nothing or was not undoable). Called by the worker.
void undo_note_request(const FopRequest& r);
// Whether there is a step, and the menu text for it ("&Undo Rename", …).
bool undo_available();
std::string undo_label();
// Takes the step out; false when there is none.
bool undo_take(UndoStep& step);
void undo_clear();

// The operation that reverses a step: a move back, a move of copies and new
// items to the Trash, or a restore. Never null for a non-empty step.
std::unique_ptr<FopRequest> undo_request(const UndoStep& step);

// Fills m's identity from what is at path now (not following a link); false
// when nothing is there.
bool fop_identify(const std::string& path, FopMade& m);

// What path holds now, its whole tree for a directory (links not followed).
// Worker threads: a tree is walked.
FopMade::Content fop_content_of(const std::string& path);

// Whether every check of the request holds; else the message that refuses it.
bool fop_expectations_hold(const FopRequest& r, std::string& why);
// Worker: asks about each item the undo would move to the Trash whose content
// changed since the step ("Skip" leaves it out of the request). False when the
// user cancelled the undo.
bool fop_confirm_changed(FopRequest& r);
