// Loading and starting the library.
#include "loader.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include <dm_host_ctl.h>
#include <dm_lib_pd/dm_event.h>

#include "app.h"
#include "calls.h"

namespace dmsim {

namespace {

void *g_handle = nullptr;

void *lookup(const char *name, void *handle) { return dlsym(handle, name); }

void warn(const std::string &text) { std::fprintf(stderr, "dmsim: %s\n", text.c_str()); }

// Registers one of the application's handlers through the library's own
// registration function, found by name as an application would.
template <class Reg, class Handler>
void register_handler(const char *name, Handler handler)
{
    auto reg = reinterpret_cast<Reg>(dlsym(g_handle, name));
    if (reg == nullptr) {
        warn(std::string("the library does not export ") + name);
    } else if (reg(handler) != 0) {
        warn(std::string(name) + " refused the application's handler");
    }
}

}  // namespace

bool load_library(const std::string &path, std::string *err)
{
    // Quiet by default (the debug command changes it), and a short name for
    // the diagnostics' prefix and the event thread.
    dm_host_set_dbg_level(LIB_DBG_END);
    dm_host_set_lib_name("dmsim");
    g_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (g_handle == nullptr) {
        const char *e = dlerror();
        *err = "cannot load " + path + ": " + (e != nullptr ? e : "unknown error");
        return false;
    }
    if (!dm_host_lib_registered()) {
        warn("the library did not register its message handlers with the host");
    }
    std::vector<std::string> missing = resolve_calls(lookup, g_handle);
    if (!missing.empty()) {
        warn(std::to_string(missing.size()) +
             " exported functions are missing from the library, first " + missing.front());
    }
    set_call_handlers(reinterpret_cast<void *>(app_event_handler),
                      reinterpret_cast<void *>(app_rpc_handler));
    register_handler<decltype(&dm_reg_dev_event_handler_pd)>("dm_reg_dev_event_handler_pd",
                                                             app_event_handler);
    register_handler<decltype(&dm_reg_dev_rpc_handler_pd)>("dm_reg_dev_rpc_handler_pd",
                                                           app_rpc_handler);
    int rc = dm_host_run_init();
    if (rc != 0) {
        warn("the library's initialiser failed (" + std::to_string(rc) +
             "): no events will be delivered");
    }
    return true;
}

std::string library_version()
{
    link_map *map = nullptr;
    if (g_handle == nullptr || dlinfo(g_handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) {
        return "not loaded";
    }
    // The dynamic section as the loader relocated it: the string table's
    // address and the SONAME's offset in it.
    const char *strtab = nullptr;
    long soname_at = -1;
    for (const ElfW(Dyn) *d = map->l_ld; d->d_tag != DT_NULL; ++d) {
        if (d->d_tag == DT_STRTAB) {
            strtab = reinterpret_cast<const char *>(d->d_un.d_ptr);
        } else if (d->d_tag == DT_SONAME) {
            soname_at = static_cast<long>(d->d_un.d_val);
        }
    }
    std::string soname = strtab != nullptr && soname_at >= 0 ? strtab + soname_at : "";
    std::string version = "unknown";
    char real[PATH_MAX];
    if (realpath(map->l_name, real) != nullptr) {
        std::string file = real;
        file = file.substr(file.rfind('/') + 1);
        size_t so = file.find(".so.");
        if (so != std::string::npos) {
            version = file.substr(so + 4);
        }
    }
    return "soname " + (soname.empty() ? std::string("none") : soname) + ", version " + version;
}

void stop_library() { dm_host_event_stop(); }

}  // namespace dmsim
