// What a test needs to play the application and the host around the library:
// an application that registers event and RPC handlers and records what it
// receives, message builders, stdout capture and a scratch working directory.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "dm_host_ctl.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_types.h>

namespace dmtest {

// One device event as the application received it.
struct Event {
    int msg_id;
    std::vector<uint8_t> data;
};

// Registers the application's handlers (once per process) and initialises
// the library through the host, so events flow on the library's thread.
// Call first in every test that needs events or the RPC. The library must be
// loaded already (linked, or dlopen'ed with RTLD_GLOBAL).
void start_app();

// Events received so far, in delivery order.
std::vector<Event> events();
// Waits until at least n events have arrived (or timeout_ms passes); returns
// the events received by then.
std::vector<Event> wait_events(size_t n, int timeout_ms = 2000);
void clear_events();

// What the application's RPC handler answers next: its result and reply bytes
// (default: 0 and none). A non-zero result is returned without a reply. A
// reply longer than the room the library gives is cut to that room in the
// copy, but its whole length is reported in *ret_len.
void set_rpc_reply(int result, std::vector<uint8_t> reply);
// The port-validity requests the RPC handler received (msg_id, data).
std::vector<Event> rpc_requests();

// Sends one data message with module DP_LIB_MOD_PD.
template <class T>
void send(int msgid, const T &payload)
{
    dm_host_send_msg(msgid, &payload, static_cast<int>(sizeof payload));
}
inline void send_bytes(int msgid, const std::vector<uint8_t> &payload)
{
    dm_host_send_msg(msgid, payload.data(), static_cast<int>(payload.size()));
}

// This card's local port list (data message 5) announcing `count` records
// (any count, negative ones included), or as many as `recs` holds.
void send_lports(const std::vector<dp_lib_lport_t> &recs, int32_t count);
inline void send_lports(const std::vector<dp_lib_lport_t> &recs)
{
    send_lports(recs, static_cast<int32_t>(recs.size()));
}

// A port record of device `dev`, slot `slot`: chip `unit`, chip port
// `cport`, local port `lport`, with its dm_phyid, slot_lport_phyid and node;
// every other field 0.
dp_lib_port_t port_record(int dev, int slot, int unit, int cport, int lport);

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
