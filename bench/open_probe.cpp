// open_probe PROGRAM [ARG...]: starts the program and prints, in milliseconds since
// its start, when its window is first drawn and when it went idle (its
// CPU time stopped growing for 0.5 s; the time of the last growth), then its peak
// resident size in kB: "paint idle peak". One process that polls every 10 ms with a
// few system calls and a sample of the window's rows of pixels, so that measuring
// takes next to nothing from the program measured on a machine of two cores.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace {

using clock_type = std::chrono::steady_clock;

long long cpu_ticks(pid_t pid)
{
    std::ifstream f("/proc/" + std::to_string(pid) + "/stat");
    std::string s((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    const auto close = s.rfind(')');
    if (close == std::string::npos)
        return -1;
    // Fields after the command's name start at the third: utime is the 14th, stime the 15th.
    long long utime = 0, stime = 0;
    if (std::sscanf(s.c_str() + close + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lld %lld", &utime,
                    &stime) != 2)
        return -1;
    return utime + stime;
}

long peak_kb(pid_t pid)
{
    std::ifstream f("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(f, line);)
        if (line.rfind("VmHWM:", 0) == 0)
            return std::atol(line.c_str() + 6);
    return -1;
}

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    xcb_intern_atom_reply_t* r =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
    const xcb_atom_t a = r ? r->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(r);
    return a;
}

bool owned_by(xcb_connection_t* c, xcb_window_t w, xcb_atom_t pid_atom, pid_t pid)
{
    xcb_get_property_reply_t* r =
        xcb_get_property_reply(c, xcb_get_property(c, 0, w, pid_atom, XCB_ATOM_CARDINAL, 0, 1), nullptr);
    const bool yes = r && xcb_get_property_value_length(r) == 4 &&
                     *static_cast<uint32_t*>(xcb_get_property_value(r)) == static_cast<uint32_t>(pid);
    std::free(r);
    return yes;
}

// The program's big viewable window among the root's children and theirs (a
// window manager's frames); 0 while there is none.
xcb_window_t find_window(xcb_connection_t* c, xcb_window_t root, xcb_atom_t pid_atom, pid_t pid, int depth = 0)
{
    xcb_query_tree_reply_t* tree = xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr);
    if (!tree)
        return 0;
    xcb_window_t found = 0;
    const xcb_window_t* kids = xcb_query_tree_children(tree);
    for (int i = 0, n = xcb_query_tree_children_length(tree); i < n && !found; ++i) {
        xcb_get_window_attributes_reply_t* a =
            xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, kids[i]), nullptr);
        const bool viewable = a && a->map_state == XCB_MAP_STATE_VIEWABLE;
        std::free(a);
        if (!viewable)
            continue;
        if (owned_by(c, kids[i], pid_atom, pid)) {
            xcb_get_geometry_reply_t* g = xcb_get_geometry_reply(c, xcb_get_geometry(c, kids[i]), nullptr);
            if (g && g->width > 200 && g->height > 200)
                found = kids[i];
            std::free(g);
        } else if (depth == 0) {
            found = find_window(c, kids[i], pid_atom, pid, 1);
        }
    }
    std::free(tree);
    return found;
}

// One row of pixels in every 16 shows many colours once the window is drawn (its
// icons, its smoothed text); before, it is one colour, or the two of what lies
// behind it.
bool painted(xcb_connection_t* c, xcb_window_t w)
{
    xcb_get_geometry_reply_t* g = xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr);
    if (!g)
        return false;
    const uint16_t width = g->width, height = g->height;
    std::free(g);
    std::vector<xcb_get_image_cookie_t> rows;
    for (int y = 8; y < height; y += 16)
        rows.push_back(xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, w, 0, static_cast<int16_t>(y), width, 1, ~0u));
    std::set<uint32_t> colours;
    for (xcb_get_image_cookie_t row : rows) {
        xcb_get_image_reply_t* img = xcb_get_image_reply(c, row, nullptr);
        if (!img)
            continue;
        const auto* px = reinterpret_cast<const uint32_t*>(xcb_get_image_data(img));
        for (int i = 0, n = xcb_get_image_data_length(img) / 4; i < n && colours.size() < 32; ++i)
            colours.insert(px[i] & 0xFFFFFF);
        std::free(img);
    }
    return colours.size() >= 32;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: open_probe PROGRAM [ARG...]\n", stderr);
        return 2;
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fputs("open_probe: no display\n", stderr);
        return 2;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const xcb_atom_t pid_atom = atom(c, "_NET_WM_PID");

    // A window not drawn yet shows what the screen held, maybe the last run's window:
    // the screen is cleared to one colour first.
    const uint32_t black = xcb_setup_roots_iterator(xcb_get_setup(c)).data->black_pixel;
    xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXEL, &black);
    xcb_clear_area(c, 0, root, 0, 0, 0, 0);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));

    const auto t0 = clock_type::now();
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execvp(argv[1], argv + 1);
        std::perror(argv[1]);
        ::_exit(127);
    }
    auto ms = [&](clock_type::time_point t) {
        return static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(t - t0).count());
    };
    xcb_window_t win = 0;
    long long paint = -1, last_cpu = -1;
    clock_type::time_point changed = t0;
    for (;;) {
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid) {
            std::fprintf(stderr, "open_probe: %s exited with status %d\n", argv[1],
                         WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
            return 1;
        }
        const auto now = clock_type::now();
        if (const long long cpu = cpu_ticks(pid); cpu != last_cpu) {
            last_cpu = cpu;
            changed = now;
        }
        if (paint < 0) {
            if (!win)
                win = find_window(c, root, pid_atom, pid);
            if (win && painted(c, win))
                paint = ms(clock_type::now());
        } else if (now - changed >= std::chrono::milliseconds(500)) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::printf("%lld %lld %ld\n", paint, ms(changed), peak_kb(pid));
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
    xcb_disconnect(c);
    return 0;
}
