// Console diagnostics. Each message is written under the stdout lock so that
// lines from concurrent threads do not interleave.
#include "dm_diag.h"

#include <cstdarg>
#include <cstdio>

std::atomic<int> dm_fc_lib_dbg{DM_FC_LIB_DBG_END};

static void dm_diag_vprint(const char *prefix_fmt, const char *func, int line, const char *fmt,
                           va_list ap)
{
    flockfile(stdout);
    std::printf(prefix_fmt, lib_name, func, line);
    std::vprintf(fmt, ap);
    funlockfile(stdout);
}

void dm_diag_print(const char *func, int line, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    dm_diag_vprint("#%s <%s, %d>:", func, line, fmt, ap);
    va_end(ap);
}

void dm_fc_diag_print(const char *func, int line, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    dm_diag_vprint("[FC %s: %s, %d] ", func, line, fmt, ap);
    va_end(ap);
}
