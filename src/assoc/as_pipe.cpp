// The private pipe routine.
#include "assoc/as_pipe.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct PipeNode {
    std::FILE* stream;
    pid_t pid;
    PipeNode* next;
};

pthread_mutex_t sLock;
PipeNode* sHead = nullptr;
pthread_once_t sOnce = PTHREAD_ONCE_INIT;
std::string sShell;

void before_fork()
{
    pthread_mutex_lock(&sLock);
}
void after_fork_parent()
{
    pthread_mutex_unlock(&sLock);
}
void after_fork_child()
{
    // The thread that held the lock does not exist in the child.
    pthread_mutex_init(&sLock, nullptr);
}

void set_up()
{
    pthread_mutex_init(&sLock, nullptr);
    pthread_atfork(before_fork, after_fork_parent, after_fork_child);
    sShell = "/bin/sh";
    std::size_t n = confstr(_CS_PATH, nullptr, 0);
    if (n == 0)
        return;
    std::string path(n, '\0');
    confstr(_CS_PATH, path.data(), n);
    path.resize(n - 1);
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t colon = path.find(':', start);
        std::string dir = path.substr(start, colon == std::string::npos ? std::string::npos
                                                                        : colon - start);
        std::string cand = (dir.empty() ? std::string(".") : dir) + "/sh";
        if (access(cand.c_str(), X_OK) == 0) {
            sShell = cand;
            return;
        }
        if (colon == std::string::npos)
            break;
        start = colon + 1;
    }
}

std::FILE* open_child(const char* file, const char* const* argv, const char* mode)
{
    if (!mode || (mode[0] != 'r' && mode[0] != 'w')) {
        errno = EINVAL;
        return nullptr;
    }
    pthread_once(&sOnce, set_up);
    const bool reading = mode[0] == 'r';
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return nullptr;
    const int mine = reading ? fds[0] : fds[1];
    const int theirs = reading ? fds[1] : fds[0];
    auto* node = new (std::nothrow) PipeNode{nullptr, -1, nullptr};
    if (!node) {
        close(fds[0]);
        close(fds[1]);
        errno = ENOMEM;
        return nullptr;
    }
    // posix_spawn, not fork: in a process with threads the child of a fork may
    // only make async-signal-safe calls, and the search along PATH allocates.
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attr;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attr);
    // The program ignores SIGCHLD, and an ignored signal stays ignored across exec.
    sigset_t def;
    sigemptyset(&def);
    sigaddset(&def, SIGCHLD);
    posix_spawnattr_setsigdefault(&attr, &def);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF);
    // A dup2 onto itself clears close-on-exec.
    posix_spawn_file_actions_adddup2(&actions, theirs, reading ? STDOUT_FILENO : STDIN_FILENO);
    pid_t pid = -1;
    char* const* args = const_cast<char* const*>(argv);
    int err = std::strchr(file, '/') ? posix_spawn(&pid, file, &actions, &attr, args, environ)
                                     : posix_spawnp(&pid, file, &actions, &attr, args, environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    close(theirs);
    if (err != 0) {
        close(mine);
        delete node;
        errno = err;
        return nullptr;
    }
    std::FILE* f = fdopen(mine, reading ? "r" : "w");
    if (!f) {
        close(mine);
        delete node;
        waitpid(pid, nullptr, 0);
        return nullptr;
    }
    node->stream = f;
    node->pid = pid;
    pthread_mutex_lock(&sLock);
    node->next = sHead;
    sHead = node;
    pthread_mutex_unlock(&sLock);
    return f;
}

}  // namespace

std::FILE* as_popen(const char* command, const char* mode)
{
    pthread_once(&sOnce, set_up);
    const char* argv[] = {"sh", "-c", command ? command : "", nullptr};
    return open_child(sShell.c_str(), argv, mode);
}

std::FILE* as_popenv(const char* const* argv, const char* mode)
{
    if (!argv || !argv[0]) {
        errno = EINVAL;
        return nullptr;
    }
    return open_child(argv[0], argv, mode);
}

int as_pclose(std::FILE* stream)
{
    pthread_once(&sOnce, set_up);
    pthread_mutex_lock(&sLock);
    PipeNode** link = &sHead;
    while (*link && (*link)->stream != stream)
        link = &(*link)->next;
    PipeNode* node = *link;
    if (node)
        *link = node->next;
    pthread_mutex_unlock(&sLock);
    if (!node) {
        errno = EINVAL;
        return -1;
    }
    const pid_t pid = node->pid;
    delete node;
    std::fclose(stream);
    int status = 0;
    pid_t r;
    do {
        r = waitpid(pid, &status, 0);
    } while (r < 0 && errno == EINTR);
    return r < 0 ? -1 : status;
}
