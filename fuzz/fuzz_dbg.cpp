// Fuzz target: the debug-option parser the host calls with an option string.
// The input becomes the string (cut at its first NUL). Only an option that
// starts with "fcdbg " may change the port-conversion level, to the number
// that follows; show command 12 then prints that level plus one, modulo 5.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_common.h"

namespace {

// Runs show command 12 with standard output captured, and returns the level
// it printed.
int shown_level()
{
    char out[64] = {};
    FILE *mem = fmemopen(out, sizeof out - 1, "w");
    if (mem == nullptr) {
        dmfuzz::fail("fmemopen");
    }
    FILE *saved = stdout;
    stdout = mem;
    dm_host_show(12);
    std::fflush(mem);
    stdout = saved;
    std::fclose(mem);
    int level = -100;
    if (std::sscanf(out, "dm_fc_lib_dbg=%d", &level) != 1) {
        dmfuzz::fail("show 12 printed no level");
    }
    return level;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    dmfuzz::start();
    const std::string option(reinterpret_cast<const char *>(data),
                             strnlen(reinterpret_cast<const char *>(data), size));
    dm_host_run_dbg_init("fcdbg 2");
    dm_host_run_dbg_init(option.c_str());
    const int shown = shown_level();
    if (option.compare(0, 6, "fcdbg ") != 0) {
        DM_FUZZ_CHECK(shown == 3, shown);
        return 0;
    }
    const long long level = std::atoi(option.c_str() + 6);
    if (level >= 0) {
        DM_FUZZ_CHECK(shown == (level + 1) % 5, shown, level);
    } else {
        DM_FUZZ_CHECK(shown > -5 && shown < 5, shown, level);
    }
    dm_host_run_dbg_init(nullptr);
    return 0;
}
