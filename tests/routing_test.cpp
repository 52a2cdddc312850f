// The message vocabulary end to end: every data-message identifier reaches
// its own handler (in table order) or is reported as unsupported, every show
// parameter runs its own show or nothing, the request-reply table answers
// only the port-validity request. (Each device event is checked where it is
// raised: chip-ID, port-conversion and pre-installed tests.)
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

TEST(Routing, EveryDataMessageReachesItsOwnHandler)
{
    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    dm_host_run_dbg_init("fcdbg 0");
    // identifier -> (row of the table, a trace only that handler prints)
    const std::map<int, std::pair<int, std::string>> routes = {
        {0, {0, "dp_lib_add_port phyid = 0x0!"}},
        {1, {1, "phyid = 0x0 , ifx = 0x0!"}},
        {2, {2, "dp_lib_rmv_port phyid = 0!"}},
        {3, {3, "get card cfg type = 0!"}},
        {4, {4, "get chip cfg type = 0."}},
        {5, {5, "Dm set my lport success!"}},
        {7, {6, "dev_id = 0, ifx = 0!"}},
        {8, {7, "dm_fc_lib_start_cfg_begin"}},
        {9, {8, "dm_fc_lib_start_cfg,"}},
        {10, {9, "dm_fc_lib_start_cfg_over"}},
        {11, {10, "dm_fc_lib_save_cfg_begin"}},
        {12, {11, "dm_fc_lib_save_cfg,"}},
        {13, {12, "dm_fc_lib_save_cfg_over"}},
        {15, {13, "per inst card"}},  // checked in the log below
    };
    // Long enough for every handler; all counts inside read as 0.
    const std::vector<uint8_t> zeroed(sizeof(dp_lib_card_type_info_t), 0);
    for (int msgid = 0; msgid < DP_LIB_PD_MSG_MAX; ++msgid) {
        const std::string out = dmtest::capture_stdout([&] { dmtest::send_bytes(msgid, zeroed); });
        const auto it = routes.find(msgid);
        if (it == routes.end()) {
            continue;  // the refusal's text is checked with the other bad input
        }
        EXPECT_NE(out.find(">>>>i = " + std::to_string(it->second.first) + "\r\n"),
                  std::string::npos)
            << msgid << ": " << out;
        if (msgid != DP_LIB_MSG_PORT_PRE_INST_DONE) {
            EXPECT_NE(out.find(it->second.second), std::string::npos) << msgid << ": " << out;
        }
    }
    const auto log = dmtest::log_lines();
    ASSERT_FALSE(log.empty());
    EXPECT_NE(log.back().find("notify DEV_MSG_PRE_INST_PORT_SYNC_DONE"), std::string::npos);
}

TEST(Routing, EveryShowParameterRunsItsOwnShowOrNothing)
{
    const std::map<int, std::string> shows = {
        {DP_LIB_DBG_SHOW_ALL_PORT, "All ports in dm_ifx_root:"},
        {DP_LIB_DBG_SHOW_MGMT, "test dm_lib_test_phy_mgmt_ifx_intf result : pass."},
        {DP_LIB_DBG_SHOW_FC_START_CFG, "dm_get_fc_startup_cfg succ."},
        {DP_LIB_DBG_SHOW_FC_SAVE_CFG, "dm_get_fc_save_cfg succ."},
        {DP_LIB_FC_DBG_LEVEL, "dm_fc_lib_dbg=0"},
    };
    for (int para = 0; para <= DP_LIB_SHOW_PARAM_MAX; ++para) {
        const std::string out = dmtest::capture_stdout([&] { dm_host_show(para); });
        const auto it = shows.find(para);
        if (it == shows.end()) {
            EXPECT_EQ(out, "") << para;
        } else {
            EXPECT_NE(out.find(it->second), std::string::npos) << para << ": " << out;
        }
    }
}

TEST(Routing, OnlyThePortValidityRequestIsAnswered)
{
    dmtest::start_app();
    for (int msgid = 0; msgid < DP_LIB_PD_MSG_MAX; ++msgid) {
        std::vector<uint8_t> buf(16 + 128, 0);
        const dp_lib_msg_h_t head = {1, msgid, DP_LIB_MOD_PD, 12};
        std::memcpy(buf.data(), &head, sizeof head);
        int ack_len = -7;
        dm_host_send_rpc(buf.data(), static_cast<int>(buf.size()), &ack_len);
        EXPECT_EQ(ack_len, msgid == DP_LIB_MSG_PORT_VALID ? 4 : -7) << msgid;
    }
}

}  // namespace
