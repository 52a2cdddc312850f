// What a test needs around the library beyond the stand-in (dm_standin.h):
// the application started with checks, stdout capture, the log reader and a
// scratch working directory.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "dm_host_ctl.h"
#include "dm_standin.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_types.h>

namespace dmtest {

// The stand-in's messages and application (dm_standin.h), under the names
// the tests use.
using Event = dmstandin::Message;
using dmstandin::port_record;
using dmstandin::send;
using dmstandin::send_bytes;

// Registers the application's handlers (once per process) and initialises
// the library through the host, so events flow on the library's thread.
// Call first in every test that needs events or the RPC. The library must be
// loaded already (linked, or dlopen'ed with RTLD_GLOBAL).
void start_app();

// Events received so far, in delivery order; wait_events first waits until
// at least n have arrived (or timeout_ms passes).
inline std::vector<Event> events() { return dmstandin::app_events(); }
inline std::vector<Event> wait_events(size_t n, int timeout_ms = 2000)
{
    return dmstandin::app_wait_events(n, timeout_ms);
}

// What the application's RPC handler answers next: its result and reply bytes
// (default: 0 and none). A reply longer than the room the library gives is
// cut to that room in the copy, but its whole length is reported in *ret_len.
inline void set_rpc_reply(int result, std::vector<uint8_t> reply)
{
    const int len = static_cast<int>(reply.size());
    dmstandin::app_set_rpc_reply({result, std::move(reply), len});
}
// The port-validity requests the RPC handler received.
inline std::vector<dmstandin::Request> rpc_requests() { return dmstandin::app_requests(); }

// This card's local port list (data message 5) announcing `count` records
// (any count, negative ones included), or as many as `recs` holds.
inline void send_lports(const std::vector<dp_lib_lport_t> &recs, int32_t count)
{
    send_bytes(DP_LIB_MSG_MY_LPORT_CFG, dmstandin::lport_payload(recs, count));
}
inline void send_lports(const std::vector<dp_lib_lport_t> &recs)
{
    send_lports(recs, static_cast<int32_t>(recs.size()));
}

// The address manager's initial synchronisation of one slot: chip IDs `ids`
// (per_unit of them per chip) allocated to `gslot`.
void alloc_chipids(int gslot, const std::vector<int> &ids, int per_unit = 1, int card_type = 0);

// How often `part` occurs in `text`, and whether it does.
size_t count(const std::string &text, const std::string &part);
inline bool has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// Runs fn and returns what it printed to standard output.
template <class Fn>
std::string capture_stdout(Fn fn);

// Log-file lines written so far, and how many of them contain `text`.
std::vector<std::string> log_lines();
int logged(const std::string &text);

// Changes into a fresh temporary directory for the object's life (the
// kernel channel opens "tmp/dm_dev" relative to the working directory).
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    const std::string &path() const { return path_; }
    // Creates tmp/dm_dev here (an empty file).
    void make_dev_file();

private:
    std::string old_;
    std::string path_;
};

}  // namespace dmtest

#include <gtest/gtest.h>

template <class Fn>
std::string dmtest::capture_stdout(Fn fn)
{
    fflush(stdout);
    testing::internal::CaptureStdout();
    fn();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}
