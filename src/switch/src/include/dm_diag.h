// Diagnostics of the library: the prefixed, levelled console messages, the
// port-conversion messages with their own level, and the host's log file.
#pragma once

#include <atomic>
#include <cstring>

#include "dm_host.h"

// Prints "#<lib_name> <func, line>:" and the message to standard output.
void dm_diag_print(const char *func, int line, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));
// Prints "[FC <lib_name>: func, line] " and the message to standard output.
void dm_fc_diag_print(const char *func, int line, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

// True when a message of `level` passes the host's debug switch. The level
// is read without formatting anything, so a silenced message costs one load.
inline bool dm_diag_on(int level)
{
    // The host's switch is a plain int of the host contract (dm_host.h).
    return std::atomic_ref<int>(g_lib_dbg_level).load(std::memory_order_relaxed) <= level;
}

// The port-conversion messages' own switch ("fcdbg N" sets it, show 12
// cycles it); defined in dm_diag.cpp.
extern std::atomic<int> dm_fc_lib_dbg;
inline bool dm_fc_diag_on(int level)
{
    return dm_fc_lib_dbg.load(std::memory_order_relaxed) <= level;
}

// Where a message is said to come from. A helper shared by several queries
// prints under its caller's name and line, which the caller hands it as
// DM_HERE, so each query's messages read as they would from its own body.
struct dm_site {
    const char *func;
    int line;
};
#define DM_HERE (dm_site{__func__, __LINE__})

#define DM_DIAG_AT(at, level, ...)                            \
    do {                                                      \
        if (dm_diag_on(level))                                \
            dm_diag_print((at).func, (at).line, __VA_ARGS__); \
    } while (0)
#define DM_DIAG(level, ...) DM_DIAG_AT(DM_HERE, level, __VA_ARGS__)
#define DM_VERBOSE(...) DM_DIAG(LIB_DBG_VERBOSE, __VA_ARGS__)
#define DM_DETAIL(...) DM_DIAG(LIB_DBG_DETAIL, __VA_ARGS__)
#define DM_WARN(...) DM_DIAG(LIB_DBG_WARN, __VA_ARGS__)
#define DM_ERROR(...) DM_DIAG(LIB_DBG_ERROR, __VA_ARGS__)

// True when any of a query's out-parameters is missing.
template <class... Out>
bool dm_any_null(const Out *...out)
{
    return ((out == nullptr) || ...);
}

// A query's argument check: true, after "param error!" at warning level
// under the caller's name, when `bad` is.
inline bool dm_bad_param(dm_site at, bool bad)
{
    if (bad) {
        DM_DIAG_AT(at, LIB_DBG_WARN, "param error!\n");
    }
    return bad;
}
#define DM_BAD_PARAM(bad) dm_bad_param(DM_HERE, (bad))

// A data message handler's check of its payload: true, after "invalid data!"
// at error level under the handler's name, when there is none.
inline bool dm_no_data(dm_site at, const void *data)
{
    if (data == nullptr) {
        DM_DIAG_AT(at, LIB_DBG_ERROR, "invalid data!\r\n");
    }
    return data == nullptr;
}
#define DM_NO_DATA(data) dm_no_data(DM_HERE, (data))

// A data message handler's copy of its fixed-size payload (which may be
// unaligned) into `msg`: false, after the dm_no_data message under the
// handler's name, when there is none.
template <class Msg>
bool dm_take_msg(dm_site at, const void *data, Msg *msg)
{
    if (dm_no_data(at, data)) {
        return false;
    }
    std::memcpy(msg, data, sizeof *msg);
    return true;
}
#define DM_TAKE_MSG(data, msg) dm_take_msg(DM_HERE, (data), (msg))

// Levels of the port-conversion messages.
enum {
    DM_FC_LIB_DBG_VERBOSE = 0,
    DM_FC_LIB_DBG_DETAIL = 1,
    DM_FC_LIB_DBG_WARN = 2,
    DM_FC_LIB_DBG_ERROR = 3,
    DM_FC_LIB_DBG_END = 4,
};
#define DM_FC_DIAG(level, ...)                                 \
    do {                                                       \
        if (dm_fc_diag_on(level))                              \
            dm_fc_diag_print(__func__, __LINE__, __VA_ARGS__); \
    } while (0)

// One line in the host's log file, "<func, line>:" and the text, whatever
// the debug level.
#define DM_LOGFILE(fmt, ...) \
    dm_logfile_write_log(logfile_info, "<%s, %d>:" fmt, __func__, __LINE__, ##__VA_ARGS__)
