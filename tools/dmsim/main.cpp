// dmsim: runs libdm_lib_pd outside a switch. It is the host process: the
// host stand-in is linked in, the library is loaded with dlopen, and a
// command language (scripts, or an interactive shell on a terminal)
// describes the chassis, sends messages, calls any exported function and
// checks the answers.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <dm_host_ctl.h>

#include "calls.h"
#include "interp.h"
#include "json_out.h"
#include "loader.h"
#include "shell.h"
#include "workdir.h"

#ifndef DMSIM_DEFAULT_LIB
#define DMSIM_DEFAULT_LIB "libdm_lib_pd.so"
#endif
#ifndef DMSIM_VERSION
#define DMSIM_VERSION "unknown"
#endif
#ifndef DMSIM_DEMO
#define DMSIM_DEMO "examples/demo.dms"
#endif

namespace {

const char kUsage[] =
    "usage: dmsim [--lib PATH] [-k] [--json] [SCRIPT...]  run scripts ('-' reads standard\n"
    "                                        input); -k: go on after a failed command;\n"
    "                                        --json: one JSON object per command\n"
    "       dmsim [--lib PATH]               interactive on a terminal, else the demo\n"
    "       dmsim --calls                    list the functions 'call' knows\n"
    "       dmsim [--lib PATH] --version     dmsim's version and the library's\n"
    "       dmsim --help\n"
    "Exit status: 0 all went well, 1 a command failed or an expectation did not\n"
    "hold, 2 dmsim could not start. The library by default: " DMSIM_DEFAULT_LIB "\n\n";

struct Options {
    std::string lib = DMSIM_DEFAULT_LIB;
    std::vector<std::string> scripts;
    bool help = false;
    bool calls = false;
    bool keep_going = false;
    bool json = false;
    bool version = false;
};

bool parse_options(int argc, char **argv, Options *o)
{
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            o->help = true;
        } else if (a == "--calls") {
            o->calls = true;
        } else if (a == "--json") {
            o->json = true;
        } else if (a == "--version") {
            o->version = true;
        } else if (a == "--keep-going" || a == "-k") {
            o->keep_going = true;
        } else if (a == "--lib" && i + 1 < argc) {
            o->lib = argv[++i];
        } else if (a.rfind("--lib=", 0) == 0) {
            o->lib = a.substr(6);
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "dmsim: unknown option %s\n%s", a.c_str(), kUsage);
            return false;
        } else {
            o->scripts.push_back(a);
        }
    }
    return true;
}

int exit_status(dmsim::Status st) { return st == dmsim::Status::Ok ? 0 : 1; }

int run(dmsim::Session &s, const Options &o)
{
    if (o.scripts.empty()) {
        if (isatty(STDIN_FILENO)) {
            return dmsim::run_shell(s);
        }
        return exit_status(dmsim::run_script(s, DMSIM_DEMO));
    }
    int rc = 0;
    for (const std::string &path : o.scripts) {
        dmsim::Status st =
            path == "-" ? dmsim::run_stream(s, std::cin, "<stdin>") : dmsim::run_script(s, path);
        rc = rc != 0 ? rc : exit_status(st);
        if ((st == dmsim::Status::Error && !s.keep_going) || s.quit) {
            break;
        }
    }
    return rc;
}

}  // namespace

// Under ThreadSanitizer: the library's event thread lives as long as the
// process (the library neither joins nor detaches it), so finding it
// unjoined at exit is no leak of dmsim's.
extern "C" const char *__tsan_default_options() { return "report_thread_leaks=0"; }

int main(int argc, char **argv)
{
    Options o;
    if (!parse_options(argc, argv, &o)) {
        return 2;
    }
    if (o.help) {
        std::string text;
        dmsim::help_text("", &text);
        std::printf("%s%s", kUsage, text.c_str());
        return 0;
    }
    if (o.calls) {
        for (const dmsim::CallEntry &e : dmsim::call_table()) {
            std::printf("%s\n", e.name);
        }
        return 0;
    }
    std::string err;
    if (!dmsim::workdir_enter(&err)) {
        std::fprintf(stderr, "dmsim: %s\n", err.c_str());
        return 2;
    }
    // A bare name is left to the dynamic loader's search.
    std::string lib = o.lib.find('/') != std::string::npos ? dmsim::user_path(o.lib) : o.lib;
    if (!dmsim::load_library(lib, &err)) {
        std::fprintf(stderr, "dmsim: %s\n", err.c_str());
        dmsim::workdir_leave();
        return 2;
    }
    if (o.version) {
        std::printf("dmsim %s\nlibrary %s: %s\n", DMSIM_VERSION, lib.c_str(),
                    dmsim::library_version().c_str());
        dmsim::stop_library();
        dmsim::workdir_leave();
        return 0;
    }
    if (o.json && !dmsim::json_start(&err)) {
        std::fprintf(stderr, "dmsim: %s\n", err.c_str());
        dmsim::stop_library();
        dmsim::workdir_leave();
        return 2;
    }
    // The kernel-device stand-in answers from the start; 'kdev detach' lets
    // the library's requests reach the real ioctl (which refuses them).
    dm_host_kdev_attach(true);
    dmsim::Session s;
    s.keep_going = o.keep_going;
    int rc = run(s, o);
    dmsim::json_stop();
    std::fflush(stdout);
    dmsim::stop_library();
    dmsim::workdir_leave();
    return rc;
}
