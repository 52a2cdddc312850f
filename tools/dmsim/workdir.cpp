// The scratch working directory that holds the kernel device file.
#include "workdir.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace dmsim {

namespace {

std::string g_start_dir;
std::string g_scratch;

constexpr char kDevDir[] = "tmp";
constexpr char kDevFile[] = "tmp/dm_dev";

std::string errno_text(const std::string &what) { return what + ": " + std::strerror(errno); }

// The scratch paths, absolute, for a signal handler to remove.
char g_dev_abs[4200];
char g_tmp_abs[4200];
char g_scratch_abs[4200];

// A signal that ends dmsim (an interrupt, a closed pipe) still removes the
// scratch directory; unlink and rmdir may be called from a handler.
void on_ending_signal(int sig)
{
    unlink(g_dev_abs);
    rmdir(g_tmp_abs);
    rmdir(g_scratch_abs);
    signal(sig, SIG_DFL);
    raise(sig);
}

void clean_up_on_signals()
{
    std::snprintf(g_dev_abs, sizeof g_dev_abs, "%s/%s", g_scratch.c_str(), kDevFile);
    std::snprintf(g_tmp_abs, sizeof g_tmp_abs, "%s/%s", g_scratch.c_str(), kDevDir);
    std::snprintf(g_scratch_abs, sizeof g_scratch_abs, "%s", g_scratch.c_str());
    struct sigaction sa = {};
    sa.sa_handler = on_ending_signal;
    sigemptyset(&sa.sa_mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        sigaction(sig, &sa, nullptr);
    }
}

}  // namespace

bool workdir_enter(std::string *err)
{
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) == nullptr) {
        *err = errno_text("getcwd");
        return false;
    }
    g_start_dir = cwd;
    const char *tmp = std::getenv("TMPDIR");
    std::string templ =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/dmsim.XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) {
        *err = errno_text("mkdtemp " + templ);
        return false;
    }
    g_scratch = templ;
    if (chdir(g_scratch.c_str()) != 0 || mkdir(kDevDir, 0700) != 0) {
        *err = errno_text("scratch directory " + g_scratch);
        workdir_leave();
        return false;
    }
    clean_up_on_signals();
    return workdir_set_dev_file(true, err);
}

void workdir_leave()
{
    if (g_scratch.empty()) {
        return;
    }
    if (chdir(g_scratch.c_str()) == 0) {
        unlink(kDevFile);
        rmdir(kDevDir);
    }
    if (chdir(g_start_dir.c_str()) != 0) {
        // Nothing to do about it at exit; the scratch directory is still removed.
    }
    rmdir(g_scratch.c_str());
    g_scratch.clear();
}

bool workdir_set_dev_file(bool present, std::string *err)
{
    if (!present) {
        if (unlink(kDevFile) != 0 && errno != ENOENT) {
            *err = errno_text(kDevFile);
            return false;
        }
        return true;
    }
    int fd = open(kDevFile, O_WRONLY | O_CREAT, 0600);
    if (fd < 0) {
        *err = errno_text(kDevFile);
        return false;
    }
    close(fd);
    return true;
}

bool workdir_dev_file() { return access(kDevFile, F_OK) == 0; }

std::string user_path(const std::string &path)
{
    if (path.empty() || path[0] == '/' || g_start_dir.empty()) {
        return path;
    }
    return g_start_dir + "/" + path;
}

}  // namespace dmsim
