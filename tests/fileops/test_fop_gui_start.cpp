// Starting an operation from the GUI: a slot per start, the request bound to the
// slot's buttons, the flags asked for with the right item count, and a failed
// start that reports and leaves its empty slot.
#include <QPushButton>
#include <filesystem>
#include <fstream>

#include "test_slot_support.h"
#include "tmpdir.h"
#include "ui_pict_db.h"

using FopGuiStart = SlotTest;

namespace {
struct EngineCalls {
    int kind = -1;
    std::string srcdir, dest;
    std::vector<std::string> names;
    uint32_t flags = 0;
    void* slot = nullptr;
    FopUi* ui = nullptr;
    bool single = false;
    int flag_kind = -1;
};
}  // namespace

TEST_F(FopGuiStart, StartBindsTheRequestToItsSlot)
{
    TmpDir dir;
    std::ofstream(dir / "file") << "x";
    EngineCalls calls;
    FopRequest made;
    fop_gui_set_engine(
        [&](int kind, const std::string& srcdir, const std::vector<std::string>& names,
            const std::string& dest, uint32_t flags, void* slot,
            std::function<void(const std::string&, const std::string&)>, FopUi* ui) {
            calls = {kind, srcdir, dest, names, flags, slot, ui, calls.single, calls.flag_kind};
            made.slot = slot;
            return &made;
        },
        [&](uint32_t, int kind, bool single) {
            calls.single = single;
            calls.flag_kind = kind;
            return FOPF_DELETE_ALL;
        });
    ASSERT_EQ(fop_start_cmd(FOP_DELETE, dir.path(), {"file"}, ""), 0);
    EXPECT_EQ(calls.kind, FOP_DELETE);
    EXPECT_EQ(calls.srcdir, dir.path());
    EXPECT_EQ(calls.names, std::vector<std::string>({"file"}));
    EXPECT_EQ(calls.flags, FOPF_DELETE_ALL);
    EXPECT_EQ(calls.flag_kind, FOP_DELETE);
    EXPECT_TRUE(calls.single);
    EXPECT_EQ(calls.ui, fop_gui_ui());
    SlotPanel* p = slot_at(0);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(calls.slot, p);
    EXPECT_EQ(p->request(), &made);
    EXPECT_EQ(slot_button_request(p->ui->slot_pause), &made);
    EXPECT_EQ(slot_button_request(p->ui->cancel_button), &made);
    p->ui->slot_pause->click();
    EXPECT_EQ(made.pause.load(), 1);

    // A directory, or more than one name, is not a single plain file.
    std::filesystem::create_directory(dir / "sub");
    fop_start_cmd(FOP_DELETE, dir.path(), {"sub"}, "");
    EXPECT_FALSE(calls.single);
    fop_start_cmd(FOP_COPY, dir.path(), {"file", "sub"}, "/tmp");
    EXPECT_FALSE(calls.single);
    EXPECT_EQ(slot_count(), 3);
    for (int i = 0; i < 3; ++i)
        slot_set_request(slot_at(i), nullptr);
    fop_gui_set_engine({}, {});
}

TEST_F(FopGuiStart, FailedStartReportsAndLeavesAnEmptySlot)
{
    fop_gui_set_engine(
        [](int, const std::string&, const std::vector<std::string>&, const std::string&, uint32_t,
           void*, std::function<void(const std::string&, const std::string&)>, FopUi*) -> FopRequest* {
            errno = EINVAL;
            return nullptr;
        },
        {});
    testing::internal::CaptureStderr();
    EXPECT_EQ(fop_start_cmd(FOP_COPY, "/tmp", {"a"}, "/nowhere"), -1);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("failed to start operation!: Invalid argument\n"), std::string::npos) << err;
    ASSERT_EQ(slot_count(), 1);
    EXPECT_EQ(slot_at(0)->request(), nullptr);
    slot_at(0)->ui->cancel_button->click();  // no request: no question either
    fop_gui_set_engine({}, {});
}

TEST_F(FopGuiStart, NoStartWithoutASlot)
{
    int started = 0;
    fop_gui_set_engine(
        [&](int, const std::string&, const std::vector<std::string>&, const std::string&, uint32_t,
            void*, std::function<void(const std::string&, const std::string&)>, FopUi*) -> FopRequest* {
            ++started;
            errno = EINVAL;
            return nullptr;
        },
        {});
    for (int i = 0; i < kMaxSlots; ++i)
        slot_add();
    EXPECT_EQ(fop_start_cmd(FOP_COPY, "/tmp", {"a"}, "/x"), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(started, 0);
    fop_gui_set_engine({}, {});
}
