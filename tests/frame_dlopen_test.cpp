// The library as a switch daemon sees it: loaded with dlopen into a process
// that has the host library, it registers itself, starts its named event
// thread when initialised, and checks and routes every message it is given.
#include <dirent.h>
#include <dlfcn.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dm_test_env.h"
#include "dp_pd_common.h"

namespace {

void *load_library()
{
    void *lib = dlopen(DM_LIB_PATH, RTLD_NOW | RTLD_GLOBAL);
    EXPECT_NE(lib, nullptr) << dlerror();
    return lib;
}

bool has_thread(const std::string &name)
{
    bool found = false;
    DIR *d = opendir("/proc/self/task");
    while (dirent *e = d ? readdir(d) : nullptr) {
        std::ifstream comm(std::string("/proc/self/task/") + e->d_name + "/comm");
        std::string line;
        found |= e->d_name[0] != '.' && std::getline(comm, line) && line == name;
    }
    if (d) {
        closedir(d);
    }
    return found;
}

TEST(Frame, LoadRegistersAndInitStartsTheNamedEventThread)
{
    dm_host_set_lib_name("abcdef");
    EXPECT_FALSE(dm_host_lib_registered());
    load_library();
    EXPECT_TRUE(dm_host_lib_registered());
    // No thread before the host initialises; its name is cut to 15 characters.
    EXPECT_FALSE(has_thread("lib_eventpd_abc"));
    dmtest::start_app();
    for (int i = 0; i < 100 && !has_thread("lib_eventpd_abc"); ++i) {
        usleep(10000);
    }
    EXPECT_TRUE(has_thread("lib_eventpd_abc"));
}

TEST(Frame, HandlersRegisterOnce)
{
    void *lib = load_library();
    using reg_fn = int (*)(void *);
    auto reg_event = reinterpret_cast<reg_fn>(dlsym(lib, "dm_reg_dev_event_handler_pd"));
    auto reg_rpc = reinterpret_cast<reg_fn>(dlsym(lib, "dm_reg_dev_rpc_handler_pd"));
    ASSERT_TRUE(reg_event && reg_rpc);
    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    std::string out = dmtest::capture_stdout([&] { EXPECT_EQ(reg_event(nullptr), -1); });
    EXPECT_NE(out.find("msg deal fun not registered\r\n"), std::string::npos);
    dmtest::start_app();  // registers both
    out = dmtest::capture_stdout([&] {
        EXPECT_EQ(reg_event(reinterpret_cast<void *>(&has_thread)), -1);
        EXPECT_EQ(reg_rpc(reinterpret_cast<void *>(&has_thread)), -1);
    });
    EXPECT_NE(out.find("msg deal fun have registered\r\n"), std::string::npos);
}

// The library's own step, the chip-ID allocation events of every valid slot,
// sits between the host's ready notice and its pre-insert notice.
TEST(Frame, BatchEndCallsTheHostStepsInOrder)
{
    load_library();
    dmtest::start_app();
    dmtest::alloc_chipids(dm_get_gslot_from_lslot(1, 3, 0), {40, 41});
    dm_host_batch_steps_clear();
    dm_host_batch_steps_log_events(true);
    dm_host_batch(SYNC_BATCH_BEGIN);
    char buf[1024];
    EXPECT_EQ(dm_host_batch_steps(buf, sizeof buf), 0);
    dm_host_batch(SYNC_BATCH_OVER);
    dm_host_batch_steps_log_events(false);
    EXPECT_EQ(dm_host_batch_steps(buf, sizeof buf), 12);
    EXPECT_STREQ(buf,
                 "dp_lib_role_batch_local\nhotplug_lib_batch_local\ndtm_lib_batch_over_handle\n"
                 "hotplug_lib_batch_install\naddr_lib_notity_dcm_ready\n"
                 "dm_dev_event_notify\ndm_dev_event_notify\n"
                 "dm_card_sub_pre_insert_noti_batch\ndp_lib_role_batch_global\n"
                 "hotplug_lib_batch_global\nhotplug_lib_batch_dp_complete\n"
                 "dm_check_ldp_probe_noti_batch\n");
}

TEST(Frame, EventsWithoutAHandlerAreDropped)
{
    load_library();
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out =
        dmtest::capture_stdout([] { dm_host_send_msg(DP_LIB_MSG_FC_START_CFG_OVER, nullptr, 0); });
    EXPECT_NE(out.find("event deal function not register\r\n"), std::string::npos);
    dm_host_run_init();
    usleep(50000);
    EXPECT_EQ(dm_host_events_delivered(), 0u);
}

struct RpcReply {
    int ack_len = -7;
    std::vector<uint8_t> buf;
};

RpcReply port_valid(int node, int lport, uint8_t valid, int module = DP_LIB_MOD_PD)
{
    RpcReply r;
    r.buf =
        dmstandin::dp_message(DP_LIB_MSG_PORT_VALID, module,
                              dmstandin::bytes_of(dm_port_valid_t{node, lport, valid, {0, 0, 0}}));
    // The request is 28 bytes; the buffer has the host's room for the reply.
    const int req_len = static_cast<int>(r.buf.size());
    r.buf.resize(DM_HOST_RPC_REPLY_ROOM);
    dm_host_send_rpc(r.buf.data(), req_len, &r.ack_len);
    return r;
}

int32_t reply_result(const RpcReply &r)
{
    int32_t v;
    std::memcpy(&v, r.buf.data(), sizeof v);
    return v;
}

TEST(Frame, PortValidityTravelsToTheApplicationAndBack)
{
    load_library();
    dmtest::start_app();
    dmtest::set_rpc_reply(0, {0xAA, 0xBB, 0xCC});
    // The module is not checked on the request-reply path.
    RpcReply r = port_valid(0x01003000, 5, 1, DP_LIB_MOD_PI);
    ASSERT_EQ(r.ack_len, 7);
    EXPECT_EQ(reply_result(r), 0);
    EXPECT_EQ(r.buf[4], 0xAA);
    EXPECT_EQ(r.buf[6], 0xCC);
    const auto reqs = dmtest::rpc_requests();
    ASSERT_EQ(reqs.size(), 1u);
    EXPECT_EQ(reqs[0].msg_id, DEV_MSG_PORT_VALID);
    ASSERT_EQ(reqs[0].data.size(), 12u);
    dm_port_valid_t seen;
    std::memcpy(&seen, reqs[0].data.data(), sizeof seen);
    EXPECT_EQ(seen.node, 0x01003000);
    EXPECT_EQ(seen.lport, 5);
    EXPECT_EQ(seen.valid, 1);

    // The application's failure is passed back alone.
    dmtest::set_rpc_reply(-5, {1, 2});
    r = port_valid(0x01003000, 5, 0);
    EXPECT_EQ(r.ack_len, 4);
    EXPECT_EQ(reply_result(r), -5);

    // A reply of the whole 124 bytes of room comes back whole over the
    // 28-byte request.
    std::vector<uint8_t> full(124);
    for (size_t i = 0; i < full.size(); ++i) {
        full[i] = static_cast<uint8_t>(i + 1);
    }
    dmtest::set_rpc_reply(0, full);
    r = port_valid(0x01003000, 5, 0);
    ASSERT_EQ(r.ack_len, 128);
    EXPECT_EQ(reply_result(r), 0);
    EXPECT_EQ(std::vector<uint8_t>(r.buf.begin() + 4, r.buf.begin() + 128), full);

    // One byte more than the room is refused, not copied: the requester gets -1 alone.
    dmtest::set_rpc_reply(0, std::vector<uint8_t>(125, 0x11));
    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    const std::string out = dmtest::capture_stdout([&] { r = port_valid(0x01003000, 5, 0); });
    EXPECT_TRUE(dmtest::has(out, "rpc reply length 125 out of range!\n")) << out;
    EXPECT_EQ(r.ack_len, 4);
    EXPECT_EQ(reply_result(r), -1);
}

TEST(Frame, PortValidityWithoutAnRpcHandlerIsRefused)
{
    load_library();
    RpcReply r = port_valid(0x01003000, 1, 1);
    EXPECT_EQ(r.ack_len, 4);
    EXPECT_EQ(reply_result(r), -1);
}

TEST(Frame, ShowCommandsAndTheDebugOption)
{
    load_library();
    dm_host_set_dbg_level(LIB_DBG_DETAIL);
    // The port-conversion level: show 12 prints the next value of the cycle.
    auto next_level = [] {
        const std::string s = dmtest::capture_stdout([] { dm_host_show(DP_LIB_FC_DBG_LEVEL); });
        const auto at = s.find("dm_fc_lib_dbg=");
        return at == std::string::npos ? -1 : std::atoi(s.c_str() + at + 14);
    };
    EXPECT_EQ(next_level(), 0);  // 4 -> 0
    dm_host_run_dbg_init("fcdbg 12abc");
    EXPECT_EQ(next_level(), 3);  // 12 -> 13 mod 5
    dm_host_run_dbg_init("FCDBG 1");
    dm_host_run_dbg_init("fcdbg4");
    EXPECT_EQ(next_level(), 4);  // unchanged at 3
    dm_host_run_dbg_init("fcdbg ");
    EXPECT_EQ(next_level(), 1);  // nothing after the blank reads as 0
    dm_host_run_dbg_init("fcdbg 2147483647");
    EXPECT_EQ(next_level(), 3);  // the largest level still cycles: 2^31 mod 5
    dm_host_run_dbg_init("fcdbg -7");
    EXPECT_EQ(next_level(), -1);  // a negative level stays negative: -6 rem 5
}

// The library is never unloaded: after the host's dlclose its event thread
// still runs and the handlers the host holds still work, until the process
// exits. (No symbol is looked up here: a lookup from the program would itself
// pin the library.)
TEST(Frame, DlcloseLeavesTheLibraryInPlace)
{
    void *lib = load_library();
    ASSERT_EQ(dm_host_run_init(), 0);
    for (int i = 0; i < 100 && !has_thread("lib_eventpd_dm"); ++i) {
        usleep(10000);
    }
    ASSERT_EQ(dlclose(lib), 0);

    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    const std::string out = dmtest::capture_stdout([] {
        dmtest::send(DP_LIB_MSG_PORT_PRE_INST_DONE, dp_lib_per_inst_info_t{});  // raises an event
        dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT);
    });
    EXPECT_NE(out.find("get msg to dp id = 15!\n"), std::string::npos) << out;
    RpcReply r = port_valid(0x01003000, 5, 1);  // no application handler: refused
    EXPECT_EQ(r.ack_len, 4);
    EXPECT_EQ(reply_result(r), -1);
    usleep(20000);  // the event thread takes the event
    EXPECT_TRUE(has_thread("lib_eventpd_dm"));
    EXPECT_NE(dlopen(DM_LIB_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);  // still mapped
}

}  // namespace
