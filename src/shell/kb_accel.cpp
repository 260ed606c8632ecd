#include "shell/kb_accel.h"

KbAction* x_add_action(KbTable&, std::string_view) { return nullptr; }
KbAction* x_get_action(const KbTable&, std::string_view) { return nullptr; }
KbSection* x_add_section(KbTable&, std::string_view) { return nullptr; }
KbSection* x_get_section(const KbTable&, std::string_view) { return nullptr; }
int ac_register(KbTable&, std::string_view, AcHandler) { return 0; }
int ac_link_widget(KbTable&, const void*, std::string_view) { return 0; }
void ac_unlink_widget(KbTable&, const void*) {}
int kb_attach(KbTable&, std::string_view, std::string_view, uint32_t, uint32_t) { return 0; }
int kb_set_default(KbTable&, std::string_view, std::string_view, uint32_t, uint32_t) { return -1; }
const char* kb_get_accel_text(const KbTable&, std::string_view, std::string_view, const char*)
{
    return nullptr;
}
int kb_process(const KbTable&, const void*, void*, const KeyEvent&) { return 0; }
int kb_load(KbTable&, const char*, const char*) { return -1; }
int kb_save(const KbTable&, const char*, const char*) { return -1; }
